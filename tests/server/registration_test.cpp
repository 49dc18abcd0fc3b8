// The eleven registrations: what they store, what they publish, and what they say when they fail.
#include <cstdlib>
#include <future>
#include <memory>

#include "tests/server/server_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Calls = std::shared_ptr<int>;

// A callback that counts for itself and shows its count; an empty one without a place for it.
template <typename CallBack>
CallBack Counting(const Calls& calls)
{
    if (!calls) {
        return {};
    }
    return [calls, count = 0](auto&&...) mutable {
        *calls = ++count;
        return true;
    };
}

template <typename CallBack>
int StoreBy(int (OwnerlinkServer::*operation)(CallBack, const std::string&),
            OwnerlinkServer& server, const Calls& calls, const std::string& resFileName)
{
    return (server.*operation)(Counting<CallBack>(calls), resFileName);
}

template <auto operation>
int Store(OwnerlinkServer& server, const Calls& calls, const std::string& resFileName)
{
    return StoreBy(operation, server, calls, resFileName);
}

struct Row {
    const char* name;
    int (*store)(OwnerlinkServer& server, const Calls& calls, const std::string& resFileName);
    unsigned int command;  // reaches the callback
    std::string payload;
    const char* failure;
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

class Registration : public ServerTest, public ::testing::WithParamInterface<Row> {
protected:
    int Register(const Calls& callCount, const std::string& resFileName = kResFile)
    {
        return GetParam().store(server, callCount, resFileName);
    }

    // Sends the request that the callback serves. A cancel needs a suspend that it takes back.
    static void Request()
    {
        Send(ProcMgr::SET_SYSTEM_STATE, "258#");
        Send(GetParam().command, GetParam().payload);
    }

    Calls calls = std::make_shared<int>(0);
};

TEST_P(Registration, StoresItsCallbackAndPublishesTheFile)
{
    EXPECT_EQ(Register(calls), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMRegisterService(dp:/res/app)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("RegisterVfsService begin. serviceName=dp:/res/app")));
    Request();
    EXPECT_GE(*calls, 1);
}

TEST_P(Registration, WithASecondNameStoresAndPublishesNothing)
{
    EXPECT_EQ(server.RegReloadCallBackImpl({}, kResFile), 0);
    platform::ClearHistory();

    EXPECT_EQ(Register(calls, "dp:/res/other"), 0);

    EXPECT_THAT(platform::Timeline(), IsEmpty());
    ASSERT_EQ(platform::Services().size(), 1u);
    EXPECT_EQ(platform::Services()[0].name, kResFile);
    Request();
    EXPECT_GE(*calls, 1);
}

TEST_P(Registration, FailureIsLoggedInItsOwnWords)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(-7)});

    EXPECT_EQ(Register(calls), kNotRegistered);

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(Warning("RegisterVfsService begin. serviceName=dp:/res/app"),
                    Error("RegisterVfsService failed. ret=-7 serviceName=dp:/res/app"),
                    Error(std::string(GetParam().failure) + " failed, resFileName=dp:/res/app")));
}

TEST_P(Registration, FailureIsLoggedInTheSameWordsToSyslog)
{
    server.EnableSyslog();
    platform::SetNext("IAMRegisterService", {platform::Gives(-1)});

    Register(calls, "x");

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            SyslogRecord(LOG_WARNING, "RegisterVfsService begin. serviceName=x"),
            SyslogRecord(LOG_ERR, "RegisterVfsService failed. ret=-1 serviceName=x"),
            SyslogRecord(LOG_ERR, std::string(GetParam().failure) + " failed, resFileName=x")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_P(Registration, CallbackStaysThoughTheServiceFailed)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(-1)});

    EXPECT_EQ(Register(calls), kNotRegistered);

    Request();
    EXPECT_GE(*calls, 1);
}

TEST_P(Registration, AfterAFailedOneTriesAgain)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(-1)}, "bad");
    server.RegDumpCallBackImpl({}, "bad");

    EXPECT_EQ(Register(calls, "good"), 0);

    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMRegisterService(bad)=-1", "IAMRegisterService(good)=0"));
    ASSERT_EQ(platform::Services().size(), 1u);
    EXPECT_EQ(platform::Services()[0].name, "good");
}

TEST_P(Registration, EmptyFunctionEmptiesTheSlotAndPublishes)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(-1)});
    Register(calls);

    EXPECT_EQ(Register(nullptr), 0);

    EXPECT_EQ(platform::Services().size(), 1u);
    EXPECT_EQ(calls.use_count(), 1);
    Request();
    EXPECT_EQ(*calls, 0);
}

TEST_P(Registration, ReplacesAndDestroysTheFormerCallback)
{
    const Calls later = std::make_shared<int>(0);
    Register(calls);

    EXPECT_EQ(Register(later), 0);

    EXPECT_EQ(calls.use_count(), 1);
    Request();
    EXPECT_EQ(*calls, 0);
    EXPECT_GE(*later, 1);
}

TEST_P(Registration, DestroysTheFormerCallbackAheadOfTheService)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(-1)});
    Register(calls);
    platform::Hold("IAMRegisterService");

    auto later = std::async(std::launch::async, [this] { return Register(nullptr); });

    ASSERT_TRUE(platform::WaitForHeld("IAMRegisterService", 1));
    EXPECT_EQ(calls.use_count(), 1);
    platform::StopHolding("IAMRegisterService");
    EXPECT_EQ(later.get(), 0);
}

TEST_P(Registration, RunsTheStoredCallbackItselfForEachRequest)
{
    Register(calls);
    Request();
    const int once = *calls;
    ProcMgr::ServerInternals::Put(server, 0, false);  // no cancel that drops the next suspend

    Request();

    EXPECT_EQ(*calls, 2 * once);
}

INSTANTIATE_TEST_SUITE_P(
    OfEach, Registration,
    ::testing::Values(
        Row{"ChangeApp", Store<&OwnerlinkServer::RegSsChangeAppCallBackImpl>, 0, "0#",
            "RegSsChangeAppCallBackImpl"},
        Row{"ChangeAppTimeout", Store<&OwnerlinkServer::RegSsChangeAppTimeoutCallBackImpl>, 0, "0#",
            "RegSsChangeAppCallBackImpl(with timeout)"},
        Row{"Reload", Store<&OwnerlinkServer::RegReloadCallBackImpl>, 3, "",
            "RegReloadCallBackImpl"},
        Row{"Dump", Store<&OwnerlinkServer::RegDumpCallBackImpl>, 4, "", "RegDumpCallBackImpl"},
        Row{"QueryAppList", Store<&OwnerlinkServer::RegQueryAppListCallBackImpl>, 6, "",
            "RegQueryAppListCallBackImpl"},
        Row{"StopAllApp", Store<&OwnerlinkServer::RegStopAllAppCallBackImpl>, 5, "",
            "RegStopAllAppCallBackImpl"},
        Row{"SetSystemState", Store<&OwnerlinkServer::RegSetSystemStateCallBackImpl>, 2, "1#",
            "RegSetSystemStateCallBackImpl"},
        Row{"SetSystemStateTimeout", Store<&OwnerlinkServer::RegSetSystemStateTimeoutCallBackImpl>,
            2, "1#", "RegSetSystemStateCallBackImpl(with timeout)"},
        Row{"CancelSuspendPre", Store<&OwnerlinkServer::RegSsCancelSuspendPreCallBackImpl>, 10, "",
            "RegCancelSuspendCallBackImpl(with timeout)"},
        Row{"VerifyApp", Store<&OwnerlinkServer::RegSsVerifyAppCallBackImpl>, 8, "0#",
            "RegSsVerifyAppCallBackImpl"},
        Row{"QueryAppState", Store<&OwnerlinkServer::RegSsQueryAppStateCallBackImpl>, 9,
            std::string(8, '\0'), "RegSsQueryAppStateCallBackImpl"}),
    [](const auto& test) { return test.param.name; });

class ResService : public ServerTest {
protected:
    ~ResService() override { ::unsetenv("DATAMASTER_RUN_MODE"); }

    static void SetRunMode(const char* value) { ::setenv("DATAMASTER_RUN_MODE", value, 1); }
};

TEST_F(ResService, HandsItsTableToThePlatform)
{
    using ProcMgr::OwnerlinkServerImpl;
    server.RegDumpCallBackImpl({}, kResFile);

    ASSERT_EQ(platform::Services().size(), 1u);
    const platform::Service service = platform::Services()[0];
    EXPECT_EQ(service.name, kResFile);
    EXPECT_EQ(service.ops.read, &OwnerlinkServerImpl::MyRead);
    EXPECT_EQ(service.ops.reserved1, nullptr);
    EXPECT_EQ(service.ops.ioctl, &OwnerlinkServerImpl::MyIoctl);
    EXPECT_EQ(service.ops.open, &OwnerlinkServerImpl::MyOpen);
    EXPECT_EQ(service.ops.close, &OwnerlinkServerImpl::MyClose);
    EXPECT_EQ(service.ops.reserved5, nullptr);
}

TEST_F(ResService, TakesAPositiveResultForSuccess)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(3)});

    EXPECT_EQ(server.RegDumpCallBackImpl({}, kResFile), 0);
    EXPECT_EQ(server.RegDumpCallBackImpl({}, kResFile), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMRegisterService(dp:/res/app)=3"));
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(ResService, RegistersDirectlyAsOften)
{
    EXPECT_EQ(server.RegisterResService("a"), 0);
    EXPECT_EQ(server.RegisterResService("b"), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMRegisterService(a)=0"));
}

TEST_F(ResService, OfAnEmptyNameIsThePlatformsToRefuse)
{
    EXPECT_EQ(server.RegDumpCallBackImpl({}, ""), kNotRegistered);

    EXPECT_THAT(platform::Errors(), ElementsAre("RegisterVfsService failed. ret=-22 serviceName=",
                                                "RegDumpCallBackImpl failed, resFileName="));
}

TEST_F(ResService, GivesRequestsFiveSecondsWithoutARunMode)
{
    server.RegDumpCallBackImpl({}, kResFile);

    EXPECT_EQ(platform::Services().at(0).timeoutMs, 5000u);
    EXPECT_EQ(server.GetVfsServiceTimeout(), 5000u);
    EXPECT_THAT(platform::Warnings(),
                ElementsAre("RegisterVfsService begin. serviceName=dp:/res/app"));
}

TEST_F(ResService, GivesRequestsHalfAnHourInRunMode1)
{
    SetRunMode("1");

    server.RegDumpCallBackImpl({}, kResFile);

    EXPECT_EQ(platform::Services().at(0).timeoutMs, 1800000u);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("DATAMASTER_RUN_MODE=1"),
                            Warning("RegisterVfsService begin. serviceName=dp:/res/app")));
}

TEST_F(ResService, GivesRequestsFiveSecondsInAnyOtherRunMode)
{
    for (const char* mode : {"", "2", "01", "1 ", " 1", "11", "true"}) {
        SetRunMode(mode);
        platform::ClearHistory();

        EXPECT_EQ(server.GetVfsServiceTimeout(), 5000u) << mode;

        EXPECT_THAT(platform::Records(),
                    ElementsAre(Warning(std::string("DATAMASTER_RUN_MODE=") + mode)));
    }
}

TEST_F(ResService, LogsTheRunModeToSyslogToo)
{
    SetRunMode("2");
    EXPECT_EQ(server.EnableSyslog(), 0);

    server.GetVfsServiceTimeout();

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_WARNING, "DATAMASTER_RUN_MODE=2")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(ResService, WritesNothingWithTheLogOff)
{
    platform::SetLogLevels(0);
    platform::SetNext("IAMRegisterService", {platform::Gives(-1)});

    EXPECT_EQ(server.RegDumpCallBackImpl({}, kResFile), kNotRegistered);

    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::LevelQueries(),
                ElementsAre(platform::LevelQuery{27, 2}, platform::LevelQuery{27, 3},
                            platform::LevelQuery{27, 3}));
}

}  // namespace
