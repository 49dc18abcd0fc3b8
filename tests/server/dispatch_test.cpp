// The hooks that the platform calls: what they refuse, whom they ask, and what they leave in the
// client's buffer.
#include <cerrno>
#include <limits>
#include <stdexcept>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkServerImpl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A server whose callbacks write down that they ran.
class Dispatch : public ServerTest {
protected:
    Dispatch()
    {
        Register();
        platform::ClearHistory();
    }

    auto Noting(const char* name)
    {
        return [this, name](auto&&...) {
            ran.emplace_back(name);
            return true;
        };
    }

    void Register()
    {
        server.RegSsChangeAppCallBackImpl(Noting("change"), kResFile);
        server.RegReloadCallBackImpl(Noting("reload"), kResFile);
        server.RegDumpCallBackImpl(Noting("dump"), kResFile);
        server.RegQueryAppListCallBackImpl(Noting("list"), kResFile);
        server.RegStopAllAppCallBackImpl(Noting("stop"), kResFile);
        server.RegSetSystemStateCallBackImpl(Noting("state"), kResFile);
        server.RegSsCancelSuspendPreCallBackImpl(Noting("cancel"), kResFile);
        server.RegSsVerifyAppCallBackImpl(Noting("verify"), kResFile);
        server.RegSsQueryAppStateCallBackImpl(Noting("query"), kResFile);
    }

    std::vector<std::string> ran;
};

TEST_F(Dispatch, ReachesTheHandlerOfEachCommand)
{
    Send(0, "0#");
    Send(2, "258#");
    Send(3);
    Send(4);
    Send(5);
    Send(6);
    Send(8, "0#");
    Send(9, std::string(8, '\0'));
    Send(10);

    EXPECT_THAT(ran, ElementsAre("change", "state", "reload", "dump", "stop", "list", "verify",
                                 "query", "cancel"));
}

TEST_F(Dispatch, AnswersAnyOtherCommandWithAnEmptyResponse)
{
    for (const unsigned command : {1u, 7u, 11u, 4294967295u}) {
        platform::ClearHistory();

        const Answer answer = Send(command, "abc", 1234);

        EXPECT_EQ(answer.result, 8);
        EXPECT_EQ(answer.Size(), 0u);
        EXPECT_EQ(answer.Timeout(), 1234);
        EXPECT_EQ(answer.Bytes(12, 4), std::string("abc\0", 4));
        EXPECT_THAT(platform::Records(), ElementsAre(Error("OwnerlinkServer recvs invalid cmd=" +
                                                           std::to_string(command))));
        EXPECT_THAT(platform::Calls("memcpy_s"),
                    ElementsAre("memcpy_s(3904,8)=0", "memcpy_s(3892,0)=0"));
    }
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(Dispatch, LogsAnInvalidCommandToSyslogToo)
{
    server.EnableSyslog();

    Send(7);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_ERR, "OwnerlinkServer recvs invalid cmd=7")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(Dispatch, RefusesANullFile)
{
    OwnerlinkRequestMsg request;
    IAMIoctlArg arg{sizeof(request), &request};

    EXPECT_EQ(OwnerlinkServerImpl::MyIoctl(nullptr, 3, &arg), kBadArgument);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("MyIoctl failed. IAMMgrFile or IAMIoctlArg is NULL")));
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(Dispatch, RefusesANullArgument)
{
    EXPECT_EQ(OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), 3, nullptr), kBadArgument);
    EXPECT_EQ(OwnerlinkServerImpl::MyIoctl(nullptr, 3, nullptr), kBadArgument);

    const auto record = Error("MyIoctl failed. IAMMgrFile or IAMIoctlArg is NULL");
    EXPECT_THAT(platform::Records(), ElementsAre(record, record));
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(Dispatch, RefusesABufferThatIsNoRecord)
{
    for (const uint64_t size :
         {uint64_t{0}, uint64_t{3903}, uint64_t{3905}, std::numeric_limits<uint64_t>::max()}) {
        std::vector<char> buffer(3905, 'x');
        IAMIoctlArg arg{size, buffer.data()};
        platform::ClearHistory();

        EXPECT_EQ(OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), 3, &arg), kBadArgument);

        EXPECT_THAT(platform::Records(), ElementsAre(Error("OwnerlinkRequestMsg ioBuf invalid. "
                                                           "(expectSize=3904bytes,realSize=" +
                                                           std::to_string(size) + "bytes)")));
        EXPECT_THAT(platform::Calls("memcpy_s"), IsEmpty());
        EXPECT_EQ(buffer, std::vector<char>(3905, 'x'));
    }
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(Dispatch, RefusesANullBuffer)
{
    IAMIoctlArg arg{3904, nullptr};

    EXPECT_EQ(OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), 3, &arg), kBadArgument);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("OwnerlinkRequestMsg ioBuf invalid. "
                                  "(expectSize=3904bytes,realSize=3904bytes)")));
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(Dispatch, LogsRefusalsToSyslogToo)
{
    server.EnableSyslog();
    IAMIoctlArg arg{1, nullptr};

    OwnerlinkServerImpl::MyIoctl(nullptr, 3, &arg);
    OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), 3, &arg);

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(SyslogRecord(LOG_ERR, "MyIoctl failed. IAMMgrFile or IAMIoctlArg is NULL"),
                    SyslogRecord(LOG_ERR,
                                 "OwnerlinkRequestMsg ioBuf invalid. "
                                 "(expectSize=3904bytes,realSize=1bytes)")));
}

TEST_F(Dispatch, WritesSizeAndPayloadAndLeavesTheRest)
{
    server.RegQueryAppListCallBackImpl(
        [](std::vector<std::string>& names) {
            names = {"ab"};
            return true;
        },
        kResFile);
    const OwnerlinkRequestMsg request = RequestOf(std::string(3888, 'x'), 1234);

    const Answer answer = Send(6, request);

    EXPECT_EQ(answer.result, 13);
    EXPECT_EQ(answer.Bytes(0, 8), std::string("\5\0\0\0\0\0\0\0", 8));
    EXPECT_EQ(answer.Bytes(8, 4), std::string("\xd2\4\0\0", 4));
    EXPECT_EQ(answer.Bytes(12, 5), "1#ab#");
    EXPECT_EQ(answer.Bytes(17, 3883), std::string(3883, 'x'));
    EXPECT_EQ(answer.Bytes(3900, 4), std::string(4, '\0'));
    EXPECT_THAT(platform::Calls("memcpy_s"),
                ElementsAre("memcpy_s(3888,5)=0", "memcpy_s(3904,8)=0", "memcpy_s(3892,5)=0"));
}

TEST_F(Dispatch, KeepsTheRequestsTimeOutWhateverItIs)
{
    for (const int timeout : {-1, 0, 2147483647}) {
        EXPECT_EQ(Send(4, "", timeout).Timeout(), timeout);
    }
}

TEST_F(Dispatch, FailedCopyOfTheSizeLeavesTheBuffer)
{
    platform::FailCopies([](size_t count) { return count == 8; }, EINVAL);

    const Answer answer = Send(4, "abc");

    EXPECT_EQ(answer.result, kCopyFailed);
    EXPECT_EQ(answer.Size(), 3u);
    EXPECT_EQ(answer.Payload(), "abc");
    EXPECT_THAT(ran, ElementsAre("dump"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("DumpHandle callback end. ret=1"),
                            Error("OwnerlinkRequestMsg memcpy_s failed, errno=22,"
                                  "(size=3904 bytes,1 bytes)")));
}

TEST_F(Dispatch, FailedCopyOfThePayloadLeavesTheSizeWritten)
{
    platform::SetNext("memcpy_s", {platform::Usual(), platform::Usual(), platform::Fails(ERANGE)});

    const Answer answer = Send(4, "abc");

    EXPECT_EQ(answer.result, kCopyFailed);
    EXPECT_EQ(answer.Size(), 1u);
    EXPECT_EQ(answer.Bytes(12, 3), "abc");
    EXPECT_THAT(ran, ElementsAre("dump"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("DumpHandle callback end. ret=1"),
                            Error("OwnerlinkRequestMsg memcpy_s failed! errno=34,"
                                  "(size:3892 bytes,1 bytes)")));
}

// memcpy_s need not set errno; what stands there is shown all the same.
TEST_F(Dispatch, FailedCopiesShowErrnoAndNotTheirResult)
{
    server.RegDumpCallBackImpl(
        [] {
            errno = 77;
            return true;
        },
        kResFile);
    platform::SetNext("memcpy_s", {platform::Usual(), platform::Gives(5)});
    Send(4);
    platform::SetNext("memcpy_s", {platform::Usual(), platform::Usual(), platform::Gives(5)});
    Send(4);

    EXPECT_THAT(platform::Errors(), ElementsAre("OwnerlinkRequestMsg memcpy_s failed, errno=77,"
                                                "(size=3904 bytes,1 bytes)",
                                                "OwnerlinkRequestMsg memcpy_s failed! errno=77,"
                                                "(size:3892 bytes,1 bytes)"));
}

TEST_F(Dispatch, LogsFailedCopiesToSyslogToo)
{
    server.EnableSyslog();
    platform::SetNext("memcpy_s", {platform::Usual(), platform::Fails(EINVAL)});
    Send(4);
    platform::SetNext("memcpy_s", {platform::Usual(), platform::Usual(), platform::Fails(EINVAL)});
    Send(4);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_WARNING, "DumpHandle callback end. ret=1"),
                            SyslogRecord(LOG_ERR,
                                         "OwnerlinkRequestMsg memcpy_s failed, errno=22,"
                                         "(size=3904 bytes,1 bytes)"),
                            SyslogRecord(LOG_WARNING, "DumpHandle callback end. ret=1"),
                            SyslogRecord(LOG_ERR,
                                         "OwnerlinkRequestMsg memcpy_s failed! errno=22,"
                                         "(size:3892 bytes,1 bytes)")));
}

TEST_F(Dispatch, ExceptionOfACallbackLeavesTheHook)
{
    const auto fail = [](auto&&...) -> bool {
        throw std::runtime_error("callback");
    };
    server.RegSsChangeAppCallBackImpl(fail, kResFile);
    server.RegReloadCallBackImpl(fail, kResFile);
    server.RegDumpCallBackImpl(fail, kResFile);
    server.RegQueryAppListCallBackImpl(fail, kResFile);
    server.RegStopAllAppCallBackImpl(fail, kResFile);
    server.RegSetSystemStateCallBackImpl(fail, kResFile);
    server.RegSsCancelSuspendPreCallBackImpl(fail, kResFile);
    server.RegSsVerifyAppCallBackImpl(fail, kResFile);
    server.RegSsQueryAppStateCallBackImpl(fail, kResFile);

    for (const unsigned command : {0u, 2u, 3u, 4u, 5u, 6u, 8u, 9u, 10u}) {
        const std::string payload = command == 2 ? "258#" : std::string(8, '\0');
        EXPECT_THROW(Send(command, payload), std::runtime_error) << command;
    }
    EXPECT_THAT(platform::Calls("memcpy_s"), IsEmpty());
    Register();
    EXPECT_EQ(Send(3).Payload(), "1");
}

TEST_F(Dispatch, OtherHooksLookAtTheFileAlone)
{
    char buffer[4] = {'a', 'b', 'c', 'd'};
    long out = 42;

    EXPECT_EQ(OwnerlinkServerImpl::MyOpen(platform::AnyFile()), 0);
    EXPECT_EQ(OwnerlinkServerImpl::MyRead(platform::AnyFile(), buffer, 4, &out), 0);
    EXPECT_EQ(OwnerlinkServerImpl::MyRead(platform::AnyFile(), nullptr, 4, nullptr), 0);
    EXPECT_EQ(OwnerlinkServerImpl::MyClose(platform::AnyFile()), 0);

    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_EQ(out, 42);
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(Dispatch, OtherHooksRefuseANullFileInSilence)
{
    char buffer[4] = {'a', 'b', 'c', 'd'};
    long out = 42;

    EXPECT_EQ(OwnerlinkServerImpl::MyOpen(nullptr), -1);
    EXPECT_EQ(OwnerlinkServerImpl::MyRead(nullptr, buffer, 4, &out), -1);
    EXPECT_EQ(OwnerlinkServerImpl::MyClose(nullptr), -1);

    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_EQ(out, 42);
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

}  // namespace
