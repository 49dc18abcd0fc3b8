// The master's unpackers: bounds, the readings that go on after a fault, and payloads that end
// early.
#include <sstream>

#include "tests/wire/process_manager_test.h"

namespace {

using namespace ProcMgr::Message;
using namespace ProcMgr::Serialization;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class StartReader : public ProcessManagerTest {
protected:
    void Read(const std::string& payload, const std::string& sender = "datamaster")
    {
        const RequestMsg msg = RecordWith(payload);
        ProcMgrUnpackStartRequest(&msg, apps, sender);
    }

    std::vector<StartAppInfo> apps;
};

TEST_F(StartReader, ReadsNamesArgumentsAndDynamicParameters)
{
    Read("2#a#2#x#y#1#1#2#v#w#b#0#0#");

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_THAT(apps[0].args, ElementsAre("x", "y"));
    EXPECT_THAT(apps[0].dynamicPara, ElementsAre(Pair(1, ElementsAre("v", "w"))));
    EXPECT_EQ(apps[1].appName, "b");
    EXPECT_THAT(apps[1].args, IsEmpty());
    EXPECT_THAT(apps[1].dynamicPara, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(StartReader, Accepts1999Applications)
{
    Read("1999#");

    EXPECT_THAT(apps, SizeIs(1999));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(StartReader, Refuses2000ApplicationsAndLeavesTheListUntouched)
{
    apps.resize(1);
    apps[0].appName = "kept";

    Read("2000#a#0#0#");

    ASSERT_THAT(apps, SizeIs(1));
    EXPECT_EQ(apps[0].appName, "kept");
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgr : ProcMgrMaster UnpackStartRequest err: big startAppListSize=2000")));
}

TEST_F(StartReader, ReadsNoDynamicSectionFromIammgr)
{
    Read("2#a#0#b#1#x#", "iammgr");

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_EQ(apps[1].appName, "b");
    EXPECT_THAT(apps[1].args, ElementsAre("x"));
    EXPECT_THAT(apps[1].dynamicPara, IsEmpty());
}

TEST_F(StartReader, WantsADynamicSectionFromAnyOtherSender)
{
    Read("2#a#0#0#b#0#0#", "iammgr2");

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[1].appName, "b");
}

TEST_F(StartReader, Accepts1024Arguments)
{
    std::string payload = "1#a#1024#";
    for (int i = 0; i < 1024; ++i) {
        payload += "x#";
    }

    Read(payload + "0#");

    EXPECT_THAT(apps.at(0).args, SizeIs(1024));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(StartReader, GoesOnAfterTooManyArgumentsAndMisreadsTheRest)
{
    Read("3#a#1025#x#0#0#b#0#0#");

    ASSERT_THAT(apps, SizeIs(3));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_THAT(apps[0].args, IsEmpty());
    EXPECT_EQ(apps[1].appName, "x");
    EXPECT_EQ(apps[2].appName, "b");
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgr : ProcMgrMaster : UnpackStartRequest err, argvSize=1025")));
}

TEST_F(StartReader, EndsAtABadDynamicParameter)
{
    Read("2#a#0#4#b#0#0#");

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_EQ(apps[1].appName, "");
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgr : ProcMgrMaster unpack request failed, dynamicParaSize=4 invalid")));
}

TEST_F(StartReader, LeavesTheRestEmptyWhereThePayloadEndsEarly)
{
    Read("3#a#0#0#");

    ASSERT_THAT(apps, SizeIs(3));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_EQ(apps[1].appName, "");
    EXPECT_THAT(apps[2].args, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(StartReader, StopsAtTheEndOfTheRecordWhateverTheSizeSays)
{
    RequestMsg msg = RecordWith("1#");
    std::memset(msg.data + 2, 'n', sizeof(msg.data) - 2);
    msg.size = UINT64_MAX;

    ProcMgrUnpackStartRequest(&msg, apps, "datamaster");

    EXPECT_EQ(apps.at(0).appName, std::string(sizeof(msg.data) - 2, 'n'));
}

class RestartReader : public ProcessManagerTest {
protected:
    void Read(const std::string& payload, const std::string& sender = "datamaster")
    {
        const RequestMsg msg = RecordWith(payload);
        ProcMgrUnpackRestartRequest(&msg, apps, sender);
    }

    std::vector<RestartAppInfo> apps;
};

TEST_F(RestartReader, ReadsNamesArgumentsAndDynamicParameters)
{
    Read("1#a#1#x#1#2#1#v#");

    ASSERT_THAT(apps, SizeIs(1));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_THAT(apps[0].args, ElementsAre("x"));
    EXPECT_THAT(apps[0].dynamicPara, ElementsAre(Pair(2, ElementsAre("v"))));
}

TEST_F(RestartReader, Accepts1999ApplicationsAndRefuses2000InItsOwnWords)
{
    Read("1999#");
    EXPECT_THAT(apps, SizeIs(1999));

    Read("2000#");

    EXPECT_THAT(apps, SizeIs(1999));
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(SyslogError(
            "ProcMgr : ProcMgrMaster UnpackRestartRequest err: big restartAppListSize=2000")));
}

TEST_F(RestartReader, GoesOnAfterTooManyArgumentsInItsOwnWords)
{
    Read("2#a#1025#x#0#", "iammgr");

    EXPECT_EQ(apps.at(1).appName, "x");
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgr : ProcMgrMaster : UnpackRestartRequest err, argvSize=1025")));
}

TEST_F(ProcessManagerTest, ReadsTheApplicationsToTerminate)
{
    const RequestMsg msg = RecordWith("2#a#b#");
    std::vector<TermAppInfo> apps;

    ProcMgrUnpackTermRequest(&msg, apps);

    ASSERT_THAT(apps, SizeIs(2));
    EXPECT_EQ(apps[0].appName, "a");
    EXPECT_EQ(apps[1].appName, "b");
}

TEST_F(ProcessManagerTest, Refuses2000ApplicationsToTerminate)
{
    const RequestMsg most = RecordWith("1999#");
    const RequestMsg tooMany = RecordWith("2000#");
    std::vector<TermAppInfo> apps;

    ProcMgrUnpackTermRequest(&most, apps);
    ProcMgrUnpackTermRequest(&tooMany, apps);

    EXPECT_THAT(apps, SizeIs(1999));
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgr : ProcMgrMaster UnpackTermRequest err: big AppListSize=2000")));
}

TEST_F(ProcessManagerTest, ReadsAnExecutionStateAndDropsTheCount)
{
    const RequestMsg msg = RecordWith("7#a#1#2#1#");
    AppExecInfo info;

    ProcMgrUnpackedAppExecInfoRequest(&msg, info);

    EXPECT_EQ(info.appName, "a");
    EXPECT_EQ(info.value0, 1u);
    EXPECT_EQ(info.value1, 2u);
    EXPECT_EQ(info.execState, AppExecState::TERMINATED);
}

TEST_F(ProcessManagerTest, CarriesAnExecutionStateThatNoTableKnows)
{
    const RequestMsg msg = RecordWith("1#a#1#2#99#");
    AppExecInfo info;

    ProcMgrUnpackedAppExecInfoRequest(&msg, info);

    EXPECT_EQ(static_cast<uint32_t>(info.execState), 99u);
}

TEST_F(ProcessManagerTest, LeavesNumbersZeroWhereAnExecutionStateEndsEarly)
{
    const RequestMsg msg = RecordWith("1#a#5#");
    AppExecInfo info;
    info.value1 = 8;

    ProcMgrUnpackedAppExecInfoRequest(&msg, info);

    EXPECT_EQ(info.value0, 5u);
    EXPECT_EQ(info.value1, 0u);
    EXPECT_EQ(info.execState, AppExecState::RUNNING);
}

TEST_F(ProcessManagerTest, ReadsABaseServiceState)
{
    const RequestMsg msg = RecordWith("1#2#");
    BaseServiceStateInfo info;

    ProcMgrUnpackedBaseServiceStateRequest(&msg, info);

    EXPECT_EQ(info.state, BaseServiceState::RUNNING);
}

class StartupReader : public ProcessManagerTest {
protected:
    void Read(const std::string& payload)
    {
        const RequestMsg msg = RecordWith(payload);
        ProcMgrUnpackMatchDataAndPathRequest(&msg, info);
    }

    StartupCfgInfo info;
};

TEST_F(StartupReader, ReadsThePathAndThePairs)
{
    Read("1#/etc/start#2#k1#v1#k2#v2#");

    EXPECT_EQ(info.path, "/etc/start");
    EXPECT_THAT(info.matchData, ElementsAre(Pair("k1", "v1"), Pair("k2", "v2")));
}

TEST_F(StartupReader, KeepsTheFirstValueOfAKey)
{
    Read("1#p#2#k#first#k#second#");

    EXPECT_THAT(info.matchData, ElementsAre(Pair("k", "first")));
}

TEST_F(StartupReader, FillsThePathAloneForNoPairs)
{
    Read("1#p#0#k#v#");

    EXPECT_EQ(info.path, "p");
    EXPECT_THAT(info.matchData, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(StartupReader, Takes102399PairsAndReadsNoneOf102400)
{
    Read("1#p#102399#k#v#");
    EXPECT_THAT(info.matchData, ElementsAre(Pair("", ""), Pair("k", "v")));

    info.matchData.clear();
    Read("1#p#102400#k#v#");

    EXPECT_THAT(info.matchData, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

class DynamicParaReader : public ProcessManagerTest {
protected:
    bool Read(const std::string& text)
    {
        std::istringstream stream(text);
        return UnPackDynamicPara(stream, dynamicPara);
    }

    std::map<int, std::vector<std::string>> dynamicPara;
};

TEST_F(DynamicParaReader, ReplacesWhatWasThere)
{
    dynamicPara[0] = {"old"};

    EXPECT_TRUE(Read("1#2#1#v#"));

    EXPECT_THAT(dynamicPara, ElementsAre(Pair(2, ElementsAre("v"))));
}

TEST_F(DynamicParaReader, PassesANegativeIndex)
{
    EXPECT_TRUE(Read("1#-1#1#v#"));

    EXPECT_THAT(dynamicPara, ElementsAre(Pair(-1, ElementsAre("v"))));
}

TEST_F(DynamicParaReader, RefusesAnIndexAbove2)
{
    EXPECT_FALSE(Read("1#3#1#v#"));

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgr : ProcMgrMaster unpack request failed, dynamicPara index=3 invalid")));
}

TEST_F(DynamicParaReader, RefusesMoreThan1024Values)
{
    EXPECT_TRUE(Read("1#0#1024#"));
    EXPECT_THAT(dynamicPara[0], SizeIs(1024));

    EXPECT_FALSE(Read("1#0#1025#"));

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError("ProcMgr : ProcMgrMaster unpack request failed, "
                                        "dynamicPara index=0, valueNum=1025 invalid")));
}

TEST_F(DynamicParaReader, MergesEntriesOfOneIndexAndDropsEmptyOnes)
{
    EXPECT_TRUE(Read("3#1#1#a#0#0#1#1#b#"));

    EXPECT_THAT(dynamicPara, ElementsAre(Pair(1, ElementsAre("a", "b"))));
}

}  // namespace
