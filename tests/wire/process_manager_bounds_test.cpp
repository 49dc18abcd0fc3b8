// What the master's unpackers do at and beyond their bounds, in restart requests as well, and what
// they leave as it was.
#include <sstream>

#include "tests/wire/process_manager_test.h"

namespace {

using namespace ProcMgr::Message;
using namespace ProcMgr::Serialization;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

std::string Repeated(const std::string& field, int times)
{
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += field;
    }
    return text;
}

// Both kinds of request that list applications to run.
template <typename Info>
class AppListBounds : public ProcessManagerTest {
protected:
    static constexpr bool kIsStart = std::is_same_v<Info, StartAppInfo>;

    void Read(const std::string& payload, const std::string& sender = "datamaster")
    {
        const RequestMsg msg = RecordWith(payload);
        if constexpr (kIsStart) {
            ProcMgrUnpackStartRequest(&msg, apps, sender);
        } else {
            ProcMgrUnpackRestartRequest(&msg, apps, sender);
        }
    }

    static RecordMatcher TooManyApps(const std::string& count)
    {
        return SyslogError(kIsStart ? "ProcMgr : ProcMgrMaster UnpackStartRequest err: big "
                                      "startAppListSize=" +
                                          count
                                    : "ProcMgr : ProcMgrMaster UnpackRestartRequest err: big "
                                      "restartAppListSize=" +
                                          count);
    }

    static RecordMatcher TooManyArgs(const std::string& count)
    {
        return SyslogError(
            kIsStart ? "ProcMgr : ProcMgrMaster : UnpackStartRequest err, argvSize=" + count
                     : "ProcMgr : ProcMgrMaster : UnpackRestartRequest err, argvSize=" + count);
    }

    static RecordMatcher Invalid(const std::string& what)
    {
        return SyslogError("ProcMgr : ProcMgrMaster unpack request failed, " + what + " invalid");
    }

    std::vector<Info> apps;
};

using BothRequests = ::testing::Types<StartAppInfo, RestartAppInfo>;
TYPED_TEST_SUITE(AppListBounds, BothRequests);

TYPED_TEST(AppListBounds, RefuseANegativeCountAndLeaveTheListUntouched)
{
    this->apps.push_back({"kept", {"x"}, {{0, {"v"}}}});

    this->Read("-1#a#0#0#");

    ASSERT_THAT(this->apps, SizeIs(1));
    EXPECT_EQ(this->apps[0].appName, "kept");
    EXPECT_THAT(this->apps[0].args, ElementsAre("x"));
    EXPECT_THAT(platform::Records(), ElementsAre(this->TooManyApps("4294967295")));
}

TYPED_TEST(AppListBounds, RefuseACountBeyond32Bits)
{
    this->Read("4294967297#a#0#0#");

    EXPECT_THAT(this->apps, IsEmpty());
    EXPECT_THAT(platform::Records(), ElementsAre(this->TooManyApps("4294967295")));
}

TYPED_TEST(AppListBounds, Accept1024Arguments)
{
    this->Read("1#a#1024#" + Repeated("x#", 1024) + "1#2#1#v#");

    ASSERT_THAT(this->apps, SizeIs(1));
    EXPECT_THAT(this->apps[0].args, SizeIs(1024));
    EXPECT_THAT(this->apps[0].dynamicPara, ElementsAre(Pair(2, ElementsAre("v"))));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TYPED_TEST(AppListBounds, GoOnAfterEachApplicationWithTooManyArguments)
{
    this->Read("4#a#1025#x#4294967295#y#-1#b#0#0#");

    ASSERT_THAT(this->apps, SizeIs(4));
    EXPECT_EQ(this->apps[0].appName, "a");
    EXPECT_EQ(this->apps[1].appName, "x");
    EXPECT_EQ(this->apps[2].appName, "y");
    EXPECT_EQ(this->apps[3].appName, "b");
    EXPECT_THAT(platform::Records(),
                ElementsAre(this->TooManyArgs("1025"), this->TooManyArgs("4294967295"),
                            this->TooManyArgs("4294967295")));
}

TYPED_TEST(AppListBounds, ReadNoDynamicSectionFromIammgr)
{
    this->Read("2#a#0#4#1#x#", "iammgr");

    ASSERT_THAT(this->apps, SizeIs(2));
    EXPECT_EQ(this->apps[0].appName, "a");
    EXPECT_EQ(this->apps[1].appName, "4");
    EXPECT_THAT(this->apps[1].args, ElementsAre("x"));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TYPED_TEST(AppListBounds, TakeTheSenderByItsWholeName)
{
    for (const std::string sender : {"", "iammg", "iammgr2", "IAMMGR", "datamaster"}) {
        platform::ClearHistory();

        this->Read("1#a#0#4#", sender);

        EXPECT_THAT(platform::Records(), ElementsAre(this->Invalid("dynamicParaSize=4"))) << sender;
    }
}

TYPED_TEST(AppListBounds, EndAtABadDynamicParameter)
{
    const std::pair<std::string, std::string> cases[] = {
        {"4#", "dynamicParaSize=4"},
        {"-1#", "dynamicParaSize=18446744073709551615"},
        {"1#3#1#v#", "dynamicPara index=3"},
        {"1#2147483648#1#v#", "dynamicPara index=2147483647"},
        {"1#2#1025#v#", "dynamicPara index=2, valueNum=1025"},
        {"1#-7#-1#v#", "dynamicPara index=-7, valueNum=18446744073709551615"},
    };
    for (const auto& [section, what] : cases) {
        platform::ClearHistory();
        this->apps.clear();

        this->Read("2#a#1#x#" + section + "b#0#0#");

        ASSERT_THAT(this->apps, SizeIs(2));
        EXPECT_THAT(this->apps[0].args, ElementsAre("x"));
        EXPECT_EQ(this->apps[1].appName, "") << section;
        EXPECT_THAT(platform::Records(), ElementsAre(this->Invalid(what)));
    }
}

TYPED_TEST(AppListBounds, PassANegativeIndex)
{
    this->Read("1#a#0#3#-1#1#u#-2147483648#1#v#2#1#w#");

    EXPECT_THAT(this->apps.at(0).dynamicPara,
                ElementsAre(Pair(INT32_MIN, ElementsAre("v")), Pair(-1, ElementsAre("u")),
                            Pair(2, ElementsAre("w"))));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(ProcessManagerTest, LeavesTheListOfARefusedTerminationUntouched)
{
    const RequestMsg msg = RecordWith("2000#a#b#");
    std::vector<TermAppInfo> apps = {{"kept"}};

    ProcMgrUnpackTermRequest(&msg, apps);

    ASSERT_THAT(apps, SizeIs(1));
    EXPECT_EQ(apps[0].appName, "kept");
}

TEST_F(ProcessManagerTest, CarriesABaseServiceStateThatNoTableKnows)
{
    const RequestMsg msg = RecordWith("1#4294967295#");
    BaseServiceStateInfo info;

    ProcMgrUnpackedBaseServiceStateRequest(&msg, info);

    EXPECT_EQ(static_cast<uint32_t>(info.state), 4294967295u);
}

TEST_F(ProcessManagerTest, KeepsTheValueOfAKeyThatTheCallerHas)
{
    const RequestMsg msg = RecordWith("1#p#2#k#new#l#w#");
    StartupCfgInfo info;
    info.matchData["k"] = "old";

    ProcMgrUnpackMatchDataAndPathRequest(&msg, info);

    EXPECT_THAT(info.matchData, ElementsAre(Pair("k", "old"), Pair("l", "w")));
}

TEST_F(ProcessManagerTest, ReadsNoPairsOfANegativeNumber)
{
    const RequestMsg msg = RecordWith("1#p#-1#k#v#");
    StartupCfgInfo info;

    ProcMgrUnpackMatchDataAndPathRequest(&msg, info);

    EXPECT_EQ(info.path, "p");
    EXPECT_THAT(info.matchData, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

class DynamicSection : public ProcessManagerTest {
protected:
    std::map<int, std::vector<std::string>> dynamicPara;
};

TEST_F(DynamicSection, LeavesWhatWasThereWhenItHasTooManyEntries)
{
    dynamicPara[2] = {"old"};
    std::istringstream stream("4#2#1#new#");

    EXPECT_FALSE(UnPackDynamicPara(stream, dynamicPara));

    EXPECT_THAT(dynamicPara, ElementsAre(Pair(2, ElementsAre("old"))));
}

TEST_F(DynamicSection, KeepsTheEntriesInFrontOfABadOne)
{
    dynamicPara[2] = {"old"};
    std::istringstream stream("2#1#1#v#3#1#w#");

    EXPECT_FALSE(UnPackDynamicPara(stream, dynamicPara));

    EXPECT_THAT(dynamicPara, ElementsAre(Pair(1, ElementsAre("v"))));
}

TEST_F(DynamicSection, CarriesNothingOverToTheEntriesBehindAnEarlyEnd)
{
    std::istringstream stream("3#1#2#a#");

    EXPECT_TRUE(UnPackDynamicPara(stream, dynamicPara));

    EXPECT_THAT(dynamicPara, ElementsAre(Pair(1, ElementsAre("a", ""))));
}

TEST_F(DynamicSection, IsTakenFromTheStreamAndNothingBehindIt)
{
    std::istringstream stream("1#0#1#v#behind");

    EXPECT_TRUE(UnPackDynamicPara(stream, dynamicPara));

    EXPECT_EQ(stream.str().substr(static_cast<size_t>(stream.tellg())), "behind");
}

}  // namespace
