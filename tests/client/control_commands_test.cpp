// The commands without a payload, to one owner and to all but IAM.
#include <cerrno>
#include <functional>

#include "tests/client/client_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Client = Ownerlink::OwnerlinkClientImpl;

struct Command {
    std::string name;
    std::function<bool(Client&, SsOperSysType, GroupOwner)> toOne;
    std::function<uint32_t(Client&)> toAll;
    unsigned type;
    uint32_t failureCode;
    std::string invalidRecord;
    std::string prefix;  // of the records of a failure
};

void PrintTo(const Command& command, std::ostream* out)
{
    *out << command.name;
}

class ControlCommand : public ClientTest, public ::testing::WithParamInterface<Command> {
protected:
    ControlCommand() { platform::AnswerAll(Replies("1")); }

    bool ToOne(GroupOwner owner, SsOperSysType os = DP)
    {
        return GetParam().toOne(client, os, owner);
    }
    uint32_t ToAll() { return GetParam().toAll(client); }
    std::string Sent(const std::string& resFileName) const
    {
        return resFileName + " " + std::to_string(GetParam().type);
    }
};

TEST_P(ControlCommand, IsAnEmptyRecordOfItsType)
{
    EXPECT_TRUE(ToOne(APPMGR));

    ASSERT_THAT(Commands(), ElementsAre(Sent(kAppMgr)));
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("", 5000));
    EXPECT_THAT(ExchangeCalls(),
                ElementsAre("open(dp:/res/app,O_RDWR)=7", "IAMResetFileConfig(7,5000)=0",
                            "ioctl(7," + std::to_string(GetParam().type) + ")=0", "close(7)=0"));
    EXPECT_THAT(platform::Errors(), IsEmpty());
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), IsEmpty());
}

TEST_P(ControlCommand, GoesUnderTheTimeOutThatStands)
{
    client.SetTimedOut(200);

    ToOne(DATAMASTER);

    EXPECT_EQ(platform::Exchanges()[0].timeoutMs, 200);
    EXPECT_EQ(TimeoutOf(platform::Exchanges()[0]), 5000);
}

TEST_P(ControlCommand, ReachesIamWhenCalledByHand)
{
    EXPECT_TRUE(ToOne(IAM));

    EXPECT_THAT(Commands(), ElementsAre(Sent(kIam)));
}

TEST_P(ControlCommand, FailsWithoutAnOwner)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));

    EXPECT_FALSE(ToOne(APPMGR));

    EXPECT_THAT(
        platform::Errors(),
        ElementsAre("GetResFileName failed, cannot find secVfs, (DP-0,SD)=0, GroupOwner=2(APPMGR)",
                    GetParam().invalidRecord));
    EXPECT_THAT(ClientRecords(GetParam().invalidRecord),
                ElementsAre(Error(GetParam().invalidRecord)));
    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

TEST_P(ControlCommand, FailsWithoutAnOwnerInTheOtherDomain)
{
    EXPECT_FALSE(ToOne(APPMGR, SD));

    EXPECT_THAT(platform::Errors(),
                ElementsAre(HasSubstr("(DP-0,SD)=1"), GetParam().invalidRecord));
}

TEST_P(ControlCommand, FailsWithItsExchange)
{
    platform::AnswerAll(FailsWith(EPIPE));

    EXPECT_FALSE(ToOne(DATAMASTER));

    const std::string record =
        GetParam().prefix + " SendRequestToOwnerByVfs failed. resFileName=dp:/res/dm";
    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("ioctl failed"), record));
    EXPECT_THAT(ClientRecords(record), ElementsAre(Error(record)));
}

TEST_P(ControlCommand, FailsWhenTheOwnerRefuses)
{
    platform::AnswerAll(Replies("0"));

    EXPECT_FALSE(ToOne(DATAMASTER));

    const std::string record =
        GetParam().prefix + " GetResultFromResponse failed. resFileName=dp:/res/dm";
    EXPECT_THAT(platform::Errors(), ElementsAre(record));
    EXPECT_THAT(ClientRecords(record), ElementsAre(Error(record)));
}

TEST_P(ControlCommand, FailsWhenTheAnswerIsEmpty)
{
    platform::AnswerAll(Replies(""));

    EXPECT_FALSE(ToOne(DATAMASTER));

    EXPECT_THAT(
        platform::Errors(),
        ElementsAre("GetResultFromResponse resp size=0 bytes",
                    GetParam().prefix + " GetResultFromResponse failed. resFileName=dp:/res/dm"));
}

TEST_P(ControlCommand, ToAllLeavesIamOut)
{
    EXPECT_EQ(ToAll(), 0u);

    EXPECT_THAT(Commands(), ElementsAre(Sent(kDataMaster), Sent(kAppMgr)));
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), IsEmpty());
}

TEST_P(ControlCommand, ToAllGoesOnBehindAFailure)
{
    platform::Answer(kDataMaster, Replies("0"));

    EXPECT_EQ(ToAll(), GetParam().failureCode);

    EXPECT_THAT(Commands(), ElementsAre(Sent(kDataMaster), Sent(kAppMgr)));
}

TEST_P(ControlCommand, ToAllFailsWithTheLastOwner)
{
    platform::Answer(kAppMgr, FailsWith(ETIMEDOUT));

    EXPECT_EQ(ToAll(), GetParam().failureCode);

    EXPECT_THAT(Commands(), ElementsAre(Sent(kDataMaster), Sent(kAppMgr)));
}

TEST_P(ControlCommand, ToNoneIsASuccess)
{
    platform::RemoveConfig();

    EXPECT_EQ(ToAll(), 0u);
}

TEST_P(ControlCommand, ToIamAloneIsASuccessWithoutAnExchange)
{
    platform::SetConfig(ConfigOf({{0, 1, kIam}}));

    EXPECT_EQ(ToAll(), 0u);

    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ControlCommand,
    ::testing::Values(
        Command{"UpdateCfg",
                [](Client& c, SsOperSysType os, GroupOwner g) { return c.UpdateGrpCfg(os, g); },
                [](Client& c) { return c.UpdateCfg(); }, 3, 0xF10307,
                "UpdateGrpCfg groupOwner is invalid.", "UpdateGrpCfg"},
        Command{"DumpApp",
                [](Client& c, SsOperSysType os, GroupOwner g) { return c.DumpGrp(os, g); },
                [](Client& c) { return c.DumpApp(); }, 4, 0xF10306,
                "DumpGrp groupOwner is invalid.", "DumpGrp"},
        Command{"StopAllApp",
                [](Client& c, SsOperSysType os, GroupOwner g) { return c.StopGrpApp(os, g); },
                [](Client& c) { return c.StopAllApp(); }, 5, 0xF10304,
                "StopAllApp owner=APPMGR is invalid.", "StopAllApp"}),
    [](const auto& test) { return test.param.name; });

class ControlRequest : public ClientTest {
protected:
    uint32_t Request(unsigned command)
    {
        return client.CtrlRequest(static_cast<Ownerlink::CTRL_CMD>(command));
    }
};

TEST_F(ControlRequest, NumbersItsCommands)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    platform::AnswerAll(Replies("1"));

    for (const unsigned command : {0u, 1u, 2u}) {
        EXPECT_EQ(Request(command), 0u);
    }

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/dm 3", "dp:/res/dm 5", "dp:/res/dm 4"));
}

TEST_F(ControlRequest, RefusesAnUnknownCommandWithoutAnExchange)
{
    EXPECT_EQ(Request(3), 0xF10309u);

    EXPECT_THAT(ExchangeCalls(), IsEmpty());
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(ControlRequest, FindsNothingWrongWithAnUnknownCommandWithoutOwners)
{
    platform::SetConfig(ConfigOf({{0, 1, kIam}}));
    EXPECT_EQ(Request(3), 0u);

    Ownerlink::OwnerlinkClientImpl other;
    platform::RemoveConfig();
    EXPECT_EQ(other.CtrlRequest(static_cast<Ownerlink::CTRL_CMD>(3)), 0u);
}

TEST_F(ControlRequest, OwnerWithoutAFileNameIsInvalid)
{
    platform::SetConfig("a: {OsType: 0, GroupOwner: 0, SecVfs: ''}");

    EXPECT_EQ(Request(0), 0xF10307u);

    EXPECT_THAT(platform::Errors(), ElementsAre("UpdateGrpCfg groupOwner is invalid."));
}

class OverridingClient : public Ownerlink::OwnerlinkClientImpl {
public:
    bool StopGrpApp(SsOperSysType, GroupOwner owner) override
    {
        stopped.push_back(owner);
        return owner == DATAMASTER;
    }

    std::vector<GroupOwner> stopped;
};

TEST_F(ControlRequest, CallsTheOperationsOfOneOwnerThroughTheInterface)
{
    OverridingClient overriding;

    EXPECT_EQ(overriding.StopAllApp(), 0xF10304u);

    EXPECT_THAT(overriding.stopped, ElementsAre(DATAMASTER, APPMGR));
    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

}  // namespace
