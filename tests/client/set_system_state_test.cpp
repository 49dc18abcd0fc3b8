// One system state to all owners: what is sent, and what comes of the answers.
#include <ownerlink/enum_text.h>

#include <cerrno>

#include "tests/client/client_test.h"

namespace {

using ProcMgr::SUSPEND;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr uint32_t kFailed = 0xF10301;

class SystemState : public ClientTest {
protected:
    SystemState() { platform::AnswerAll(Replies("1#")); }

    // Leaves one owner, whose sender then is the only thread beside the caller, and the load
    // behind.
    void KeepOneOwner()
    {
        platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
        client.LoadSecvfsCfg();
        platform::ClearHistory();
    }
};

TEST_F(SystemState, TakesTheseStepsInThisOrder)
{
    KeepOneOwner();

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre(
            "log(54,2) Secvfs has been read before !!!", "prctl(PR_SET_NAME,SET_SYSTEM_STATE)=0",
            "log(54,1) SetSystemState begin. resFileName=dp:/res/dm, state=2(SUSPEND)",
            "log(54,1) PackSetSystemStateRequest state=2(SUSPEND) begin",
            "log(16777270,1) PackSetSystemStateRequest str=2#", "open(dp:/res/dm,O_RDWR)=7",
            "log(54,1) SendRequestToOwnerByVfs, open succeed. (fd=7,resFileName=dp:/res/dm)",
            "IAMResetFileConfig(7,100)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl begins. (fd=7,resFileName=dp:/res/dm)",
            "ioctl(7,2)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl success. "
            "(fd=7,resFileName=dp:/res/dm,ret=0,timeout=100)",
            "log(54,1) SendRequestToOwnerByVfs success. "
            "(fd=7,resFileName=dp:/res/dm,size=2 bytes,timeout=100)",
            "close(7)=0",
            "log(16777270,1) UnPackSetSystemStateResponse ssRespMsgStr=1# ret=1(SUCCESS)",
            "log(16777270,1) SetSystemState state=2(SUSPEND) success. resFileName=dp:/res/dm",
            "DlogFlush()=0"));
}

TEST_F(SystemState, WritesItsOwnRecordsUnderItsOwnName)
{
    KeepOneOwner();

    client.SetSystemState(SUSPEND, 100);

    EXPECT_THAT(ClientRecords(HasSubstr("SetSystemState")),
                ElementsAre(Info("SetSystemState begin. resFileName=dp:/res/dm, state=2(SUSPEND)"),
                            Milestone("SetSystemState state=2(SUSPEND) success. "
                                      "resFileName=dp:/res/dm")));
}

TEST_F(SystemState, SendsTheRecordByteForByte)
{
    KeepOneOwner();

    client.SetSystemState(ProcMgr::SUSPEND_PRE, 60000);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].command, 2u);
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("258#", 60000));
}

TEST_F(SystemState, LoadsTheTable)
{
    client.SetSystemState(SUSPEND, 100);

    EXPECT_THAT(platform::Warnings(), ElementsAre("read secvfs firstly !!!"));
}

TEST_F(SystemState, AsksEachOwnerOnce)
{
    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);

    EXPECT_THAT(Commands(), UnorderedElementsAre("dp:/res/app 2", "dp:/res/dm 2", "dp:/res/iam 2"));
    EXPECT_THAT(platform::Calls("prctl"), ElementsAre("prctl(PR_SET_NAME,SET_SYSTEM_STATE)=0",
                                                      "prctl(PR_SET_NAME,SET_SYSTEM_STATE)=0",
                                                      "prctl(PR_SET_NAME,SET_SYSTEM_STATE)=0"));
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(SystemState, TwoDomainsWithOneFileAreOneExchange)
{
    platform::SetConfig(ConfigOf({{0, 0, "shared"}, {0, 1, kIam}, {0, 2, "shared"}}));

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);

    EXPECT_THAT(Commands(), UnorderedElementsAre("dp:/res/iam 2", "shared 2"));
    EXPECT_EQ(platform::Calls("std::thread").size(), 2u);
}

TEST_F(SystemState, WithoutOwnersIsASuccess)
{
    platform::RemoveConfig();

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);

    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

TEST_F(SystemState, SendsAnyNumber)
{
    KeepOneOwner();

    EXPECT_EQ(client.SetSystemState(-5, 100), 0u);
    EXPECT_EQ(client.SetSystemState(0x100, 100), 0u);

    EXPECT_THAT(Payloads(kDataMaster), ElementsAre("-5#", "256#"));
    EXPECT_THAT(platform::Milestones(),
                Contains("SetSystemState state=-5() success. resFileName=dp:/res/dm"));
}

struct TimeOut {
    std::string name;
    int given;
    int taken;
    bool isLogged;
};

void PrintTo(const TimeOut& timeOut, std::ostream* out)
{
    *out << timeOut.name;
}

class SystemStateTimeOut : public SystemState, public ::testing::WithParamInterface<TimeOut> {};

TEST_P(SystemStateTimeOut, IsTakenInItsRangeAndElseReplaced)
{
    KeepOneOwner();

    EXPECT_EQ(client.SetSystemState(SUSPEND, GetParam().given), 0u);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(TimeoutOf(platform::Exchanges()[0]), GetParam().taken);
    EXPECT_EQ(platform::Exchanges()[0].timeoutMs, GetParam().taken);
    if (GetParam().isLogged) {
        EXPECT_THAT(ClientRecords(HasSubstr("should be")),
                    ElementsAre(Error("SetSystemState timeOut(" + std::to_string(GetParam().given) +
                                      "ms) should be -1 or at 100ms~60s, "
                                      "set default value:5000ms")));
    } else {
        EXPECT_THAT(platform::Errors(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Values, SystemStateTimeOut,
                         ::testing::Values(TimeOut{"JustTooShort", 99, 5000, true},
                                           TimeOut{"Shortest", 100, 100, false},
                                           TimeOut{"Longest", 60000, 60000, false},
                                           TimeOut{"JustTooLong", 60001, 5000, true},
                                           TimeOut{"Zero", 0, 5000, true},
                                           TimeOut{"TheServicesOwn", -1, -1, false},
                                           TimeOut{"BelowTheServicesOwn", -2, 5000, true}),
                         [](const auto& test) { return test.param.name; });

TEST_F(SystemState, SenderReadsTheTimeOutWhenItPacks)
{
    KeepOneOwner();
    platform::Hold("prctl");
    auto result = InBackground([this] { return client.SetSystemState(SUSPEND, 100); });
    ASSERT_TRUE(platform::WaitForHeld("prctl", 1));
    client.SetTimedOut(300);
    platform::StopHolding("prctl");

    EXPECT_EQ(result.get(), 0u);

    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("2#", 300));
}

struct Failure {
    std::string name;
    std::function<void()> arrange;
    std::vector<std::string> records;
};

void PrintTo(const Failure& failure, std::ostream* out)
{
    *out << failure.name;
}

class SystemStateFailure : public SystemState, public ::testing::WithParamInterface<Failure> {};

TEST_P(SystemStateFailure, OfTheOwnerIsTheResult)
{
    KeepOneOwner();
    GetParam().arrange();

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);

    EXPECT_EQ(platform::Errors(), GetParam().records);
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
    EXPECT_THAT(platform::Milestones(), ::testing::Not(Contains(HasSubstr("success."))));
}

constexpr char kVerdict[] =
    "SetSystemState state=2(SUSPEND) failed. because send to dp:/res/dm failed.";

INSTANTIATE_TEST_SUITE_P(
    Kinds, SystemStateFailure,
    ::testing::Values(
        Failure{"Refused",
                [] { platform::AnswerAll(Replies("0#")); },
                {"SetSystemState state=2(SUSPEND) failed. resFileName=dp:/res/dm", kVerdict}},
        Failure{"EmptyAnswer",
                [] { platform::AnswerAll(Replies("")); },
                {"UnPackSetSystemStateResponse failed resp size=0 bytes",
                 "SetSystemState UnPackSetSystemStateResponse failed. resFileName=dp:/res/dm, "
                 "state=2(SUSPEND)",
                 kVerdict}},
        Failure{"FailedExchange",
                [] { platform::AnswerAll(FailsWith(EPIPE)); },
                {"SendRequestToOwnerByVfs, ioctl failed. "
                 "(fd=7,resFileName=dp:/res/dm,ret=-1,err=32,timeout=100)",
                 "SetSystemState SendRequestToOwnerByVfs failed. resFileName=dp:/res/dm, "
                 "state=2(SUSPEND)",
                 kVerdict}},
        Failure{"FailedPacking",
                [] { platform::FailCopies([](std::size_t count) { return count == 2; }, ERANGE); },
                {"PackSetSystemStateRequest memcpy_s failed, err=34",
                 "SetSystemState PackSetSystemStateRequest failed. resFileName=dp:/res/dm, "
                 "state=2(SUSPEND)",
                 kVerdict}}),
    [](const auto& test) { return test.param.name; });

TEST_F(SystemState, FailedOwnersRecordsAreTheClients)
{
    KeepOneOwner();
    platform::AnswerAll(Replies("0#"));

    client.SetSystemState(SUSPEND, 100);

    EXPECT_THAT(ClientRecords(HasSubstr("failed")),
                ElementsAre(Error(HasSubstr("resFileName=dp:/res/dm")), Error(kVerdict)));
}

TEST_F(SystemState, RecordThatCannotBePackedIsNotSent)
{
    platform::FailCopies([](std::size_t count) { return count == 2; }, ERANGE);

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);

    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

TEST_F(SystemState, FirstFailedOwnerInTheOrderOfTheFilesIsNamed)
{
    platform::Answer(kDataMaster, Replies("0#"));
    platform::Answer(kIam, Replies("0#"));

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);

    EXPECT_THAT(ClientRecords(HasSubstr("because")), ElementsAre(Error(kVerdict)));
    EXPECT_THAT(Commands(), UnorderedElementsAre("dp:/res/app 2", "dp:/res/dm 2", "dp:/res/iam 2"));
}

TEST_F(SystemState, FailedOwnerDoesNotStopTheOthers)
{
    platform::SetStanding("open", platform::Fails(ENOENT), kAppMgr);

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);

    EXPECT_THAT(ClientRecords(HasSubstr("success. resFileName")),
                UnorderedElementsAre(
                    Milestone("SetSystemState state=2(SUSPEND) success. resFileName=dp:/res/dm"),
                    Milestone("SetSystemState state=2(SUSPEND) success. resFileName=dp:/res/iam")));
}

TEST_F(SystemState, NumberOtherThan0And1IsAGoodVerdict)
{
    platform::AnswerAll(Replies("7#"));

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);
}

TEST_F(SystemState, ResultDoesNotDependOnTheLog)
{
    platform::SetLogLevels(0);
    platform::Answer(kIam, Replies("0#"));

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);

    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

}  // namespace
