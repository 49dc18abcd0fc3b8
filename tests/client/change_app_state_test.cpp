// A list of applications over several owners: what goes out, and what comes back.
#include <cerrno>
#include <set>

#include "tests/client/change_app_test.h"
#include "tests/client/client_internals.h"

namespace {

using Ownerlink::ClientInternals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

class ChangeApp : public ChangeAppTest {};

TEST_F(ChangeApp, TakesTheseStepsInThisOrder)
{
    platform::AnswerAll(Replies("2#1#a#0#"));
    AppInfo app = StartOf("a");
    app.args = {"x", "y"};

    EXPECT_EQ(Change({app}), 0u);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre(
            "log(16777270,1) " + BootTraced("ChangeAppState os=0 appName=a optionType=0(START) "
                                            "groupOwner=0(DATAMASTER) args=x y "),
            "log(54,2) Secvfs has been read before !!!", "prctl(PR_SET_NAME,CHANGE_APP)=0",
            "log(54,1) ChangeAppState fileName=dp:/res/dm,appList=a,",
            "log(16777270,1) ChangeAppState pack request app#(START-0,TERM,RESTART)#argSize#arg: "
            "a#0#2#x#y#0#",
            "open(dp:/res/dm,O_RDWR)=10",
            "log(54,1) SendRequestToOwnerByVfs, open succeed. (fd=10,resFileName=dp:/res/dm)",
            "IAMResetFileConfig(10,100)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl begins. (fd=10,resFileName=dp:/res/dm)",
            "ioctl(10,0)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl success. "
            "(fd=10,resFileName=dp:/res/dm,ret=0,timeout=100)",
            "log(54,1) SendRequestToOwnerByVfs success. "
            "(fd=10,resFileName=dp:/res/dm,size=8 bytes,timeout=100)",
            "close(10)=0",
            "log(16777270,1) " + BootTraced("ChangeAppState unpack response: 2#1#a#0#"),
            "log(16777270,1) " + BootTraced("ChangeAppState: secVfs=dp:/res/dm appName=a "
                                            "result=0(SUCCESS)"),
            "log(16777270,1) Ss verify with server, add to record. name=a type=0(START)",
            "DlogFlush()=0"));
}

TEST_F(ChangeApp, WritesItsOwnRecordsUnderItsOwnName)
{
    platform::AnswerAll(Replies("2#0#a#1#"));

    Change({StartOf("a")});

    EXPECT_THAT(
        ClientRecords(HasSubstr("ChangeAppState")),
        ElementsAre(Milestone(HasSubstr("os=0")), Info(HasSubstr("fileName")),
                    Error("ChangeAppState HandleResponse failed. resFileName=dp:/res/dm"),
                    Error("ChangeAppState send message to dp:/res/dm failed"),
                    Milestone(HasSubstr("result=1(TERM_FAILED)")), Error("ChangeAppState failed")));
}

TEST_F(ChangeApp, SendsTheRecordByteForByte)
{
    platform::AnswerAll(Replies("2#1#a#0#"));
    AppInfo app = StartOf("a");
    app.args = {"x", "y"};
    app.dynamicPara = {{1, {"v"}}};

    Change({app}, -1);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].command, 0u);
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("1#a#0#2#x#y#1#1#1#v#", -1));
}

TEST_F(ChangeApp, EmptyListIsASuccessThatSendsNothing)
{
    result.emplace_back("kept", PROCESSING);

    EXPECT_EQ(Change({}), 0u);

    EXPECT_THAT(Results(), ElementsAre(Pair("kept", PROCESSING)));
    EXPECT_THAT(platform::Timeline(), ElementsAre("DlogFlush()=0"));
}

TEST_F(ChangeApp, KeepsTheResultsThatStand)
{
    platform::AnswerAll(Replies("2#1#a#0#"));
    result.emplace_back("kept", TERM_FAILED);

    EXPECT_EQ(Change({StartOf("a")}), 0u);

    EXPECT_THAT(Results(), ElementsAre(Pair("kept", TERM_FAILED), Pair("a", SUCCESS)));
}

// As many moves as growth by doubling takes.
TEST_F(ChangeApp, VectorThatIsKeptOverManyCallsMovesSeldom)
{
    platform::AnswerAll(Replies("2#1#a#0#"));
    std::set<std::size_t> capacities;

    while (result.size() < 64) {
        ASSERT_EQ(Change({StartOf("a")}), 0u);
        capacities.insert(result.capacity());
    }

    EXPECT_LE(capacities.size(), 7u);
}

TEST_F(ChangeApp, DividesTheListByResourceFile)
{
    platform::Answer(kDataMaster, Replies("3#1#a#0#c#0#"));
    platform::Answer(kIam, Replies("2#1#b#0#"));

    EXPECT_EQ(Change({StartOf("c"), StartOf("b", IAM), StartOf("a")}), 0u);

    EXPECT_THAT(Payloads(kDataMaster), ElementsAre("2#a#0#0#0#c#0#0#0#"));
    EXPECT_THAT(Payloads(kIam), ElementsAre("1#b#0#0#0#"));
    EXPECT_THAT(Payloads(kAppMgr), IsEmpty());
    EXPECT_THAT(platform::Infos(), Contains("ChangeAppState fileName=dp:/res/dm,appList=c,a,"));
}

TEST_F(ChangeApp, OrdersResultsByFileAndName)
{
    platform::Answer(kDataMaster, Replies("3#1#b#0#a#0#"));
    platform::Answer(kAppMgr, Replies("2#1#z#0#"));

    Change({StartOf("b"), StartOf("u2", static_cast<GroupOwner>(3)), StartOf("a"),
            StartOf("z", APPMGR), StartOf("u1", static_cast<GroupOwner>(4))});

    EXPECT_THAT(Results(), ElementsAre(Pair("u2", INIT), Pair("u1", INIT), Pair("z", SUCCESS),
                                       Pair("a", SUCCESS), Pair("b", SUCCESS)));
}

TEST_F(ChangeApp, ApplicationWithoutAnOwnerFailsTheCallAndNothingElse)
{
    platform::AnswerAll(Replies("2#1#a#0#"));
    AppInfo lost = StartOf("lost");
    lost.os = SD;
    lost.optionType = 2;

    EXPECT_EQ(Change({StartOf("a"), lost}), kChangeFailed);

    EXPECT_THAT(Results(), ElementsAre(Pair("lost", INIT), Pair("a", SUCCESS)));
    EXPECT_THAT(
        platform::Errors(),
        ElementsAre(
            "GetResFileName failed, cannot find secVfs, (DP-0,SD)=1, GroupOwner=0(DATAMASTER)",
            "Yaml has no config. os=1,groupOwner=0(DATAMASTER)", "ChangeAppState failed"));
    EXPECT_THAT(ClientRecords(HasSubstr("Yaml")),
                ElementsAre(Error("Yaml has no config. os=1,groupOwner=0(DATAMASTER)")));
    EXPECT_THAT(platform::Milestones(),
                Contains(BootTraced("ChangeAppState os=1 appName=lost optionType=2(RESTART) "
                                    "groupOwner=0(DATAMASTER) args=")));
}

TEST_F(ChangeApp, UnknownNumbersHaveNoTexts)
{
    AppInfo odd = StartOf("odd", static_cast<GroupOwner>(9));
    odd.optionType = 7;

    EXPECT_EQ(Change({odd}), kChangeFailed);

    EXPECT_THAT(platform::Milestones(),
                ElementsAre(BootTraced("ChangeAppState os=0 appName=odd optionType=7() "
                                       "groupOwner=9() args=")));
    EXPECT_THAT(platform::Errors(), Contains("Yaml has no config. os=0,groupOwner=9()"));
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
}

TEST_F(ChangeApp, FailedExchangeLeavesItsShareAtInit)
{
    platform::Answer(kDataMaster, FailsWith(ETIMEDOUT));
    platform::Answer(kIam, Replies("2#1#b#2#"));

    EXPECT_EQ(Change({StartOf("a"), StartOf("b", IAM), StartOf("c")}), kChangeFailed);

    EXPECT_THAT(Results(), ElementsAre(Pair("a", INIT), Pair("c", INIT), Pair("b", START_FAILED)));
    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("ioctl failed"),
                                                "ChangeAppState send message to dp:/res/dm failed",
                                                "ChangeAppState failed"));
}

// The verdict decides, and not the states.
TEST_F(ChangeApp, RefusalFailsTheCallWhateverTheStates)
{
    platform::AnswerAll(Replies("2#0#a#0#"));

    EXPECT_EQ(Change({StartOf("a")}), kChangeFailed);

    EXPECT_THAT(Results(), ElementsAre(Pair("a", SUCCESS)));
    EXPECT_THAT(platform::Timeline(),
                Contains("log(16777270,1) Ss verify with server, add to record. name=a "
                         "type=0(START)"));
    EXPECT_EQ(platform::Timeline().back(), "DlogFlush()=0");
    EXPECT_EQ(*(platform::Timeline().end() - 2), "log(54,3) ChangeAppState failed");
}

TEST_F(ChangeApp, GoodVerdictIsASuccessWhateverTheStates)
{
    platform::AnswerAll(Replies("2#1#a#2#"));

    EXPECT_EQ(Change({StartOf("a")}), 0u);

    EXPECT_THAT(Results(), ElementsAre(Pair("a", START_FAILED)));
}

TEST_F(ChangeApp, UnreadableAnswerIsARefusalWithoutStates)
{
    platform::AnswerAll(Replies("0#1#"));

    EXPECT_EQ(Change({StartOf("a")}), kChangeFailed);

    EXPECT_THAT(Results(), ElementsAre(Pair("a", INIT)));
    EXPECT_THAT(
        platform::Errors(),
        ElementsAre("ChangeAppState unpack response appSize=0, should at [1, 1024]",
                    "ChangeAppState UnPackChangeAppInfoResponseMsg failed, "
                    "(file=dp:/res/dm)",
                    "ChangeAppState HandleResponse failed. resFileName=dp:/res/dm",
                    "ChangeAppState send message to dp:/res/dm failed", "ChangeAppState failed"));
    EXPECT_THAT(ClientRecords(HasSubstr("UnPack")), ElementsAre(Error(HasSubstr("(file="))));
}

TEST_F(ChangeApp, EmptyAnswerIsARefusal)
{
    platform::AnswerAll(Replies(""));

    EXPECT_EQ(Change({StartOf("a")}), kChangeFailed);

    EXPECT_THAT(platform::Errors(), Contains("response size=0 bytes is invalid"));
}

TEST_F(ChangeApp, AnswerMayNameOthersAndLeaveSomeOut)
{
    platform::AnswerAll(Replies("5#1#b#3#stranger#9##0#alien#2#"));

    EXPECT_EQ(Change({StartOf("a"), StartOf("b")}), 0u);

    EXPECT_THAT(Results(),
                ElementsAre(Pair("", SUCCESS), Pair("a", INIT), Pair("alien", START_FAILED),
                            Pair("b", RESTART_FAILED), Pair("stranger", INIT)));
}

TEST_F(ChangeApp, NameThatStandsTwiceIsSentTwiceAndAnsweredOnce)
{
    platform::AnswerAll(Replies("3#1#a#1#a#0#"));

    EXPECT_EQ(Change({StartOf("a"), StartOf("a")}), 0u);

    EXPECT_THAT(Payloads(kDataMaster), ElementsAre("2#a#0#0#0#a#0#0#0#"));
    EXPECT_THAT(Results(), ElementsAre(Pair("a", SUCCESS)));
    EXPECT_THAT(platform::Infos(), Contains("ChangeAppState fileName=dp:/res/dm,appList=a,a,"));
}

TEST_F(ChangeApp, ShareThatCannotBePackedIsNotSent)
{
    platform::Answer(kIam, Replies("2#1#b#0#"));
    AppInfo bad = StartOf("bad");
    bad.dynamicPara = {{3, {"v"}}};

    EXPECT_EQ(Change({StartOf("a"), bad, StartOf("b", IAM)}), kChangeFailed);

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/iam 0"));
    EXPECT_THAT(Results(), ElementsAre(Pair("a", INIT), Pair("bad", INIT), Pair("b", SUCCESS)));
    EXPECT_THAT(
        platform::Errors(),
        ElementsAre("ChangeAppState pack request failed, dynamicPara key=3",
                    "ChangeAppState PackChangeAppInfoRequest Failed! (file=dp:/res/dm)",
                    "ChangeAppState PrepareMsgForChangeApp failed (file=dp:/res/dm)",
                    "ChangeAppState send message to dp:/res/dm failed", "ChangeAppState failed"));
    EXPECT_THAT(
        ClientRecords(HasSubstr("(file=")),
        ElementsAre(Error(HasSubstr("PackChangeAppInfoRequest")), Error(HasSubstr("PrepareMsg"))));
}

TEST_F(ChangeApp, ApplicationThatFitsInNoRecordFailsItsShare)
{
    EXPECT_EQ(Change({StartOfLength("a", 3888)}), kChangeFailed);

    EXPECT_THAT(platform::Errors(),
                Contains("ChangeAppState pack request failed, size=3888 beyond 3888!!"));
    EXPECT_THAT(platform::Exchanges(), IsEmpty());
}

// The item passes, and the record made from it overflows: it goes out for the owner to refuse.
TEST_F(ChangeApp, LargestApplicationMakesARecordThatIsTooLong)
{
    platform::AnswerAll(Replies("1#0#"));

    EXPECT_EQ(Change({StartOfLength("a", 3887)}), kChangeFailed);

    EXPECT_THAT(platform::Errors(),
                Contains("ProcMgrCombineMsg failed memcpy_s failed: strSize=3889 bytes, ret=34"));
    ASSERT_EQ(platform::Exchanges().size(), 1u);
    std::vector<uint8_t> sent = RecordBytes("", 100);
    sent[0] = 0x31;
    sent[1] = 0x0f;
    EXPECT_EQ(platform::Exchanges()[0].request, sent);
}

TEST_F(ChangeApp, ShareWithoutAFileOrAnApplicationIsNotSent)
{
    EXPECT_FALSE(ClientInternals::SendShare(client, "", {StartOf("a")}));
    EXPECT_TRUE(ClientInternals::SendShare(client, kIam, {}));
    EXPECT_FALSE(ClientInternals::PrepareShare(client, kIam, {}));

    EXPECT_THAT(ClientRecords(),
                ElementsAre(Error("ChangeAppState resFileName is empty"),
                            Warning("ChangeAppState resFileName=dp:/res/iam appList is null."),
                            Error("ChangeAppState CombinePiecesMsg Failed! (file=dp:/res/iam)")));
    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

}  // namespace
