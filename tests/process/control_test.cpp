// Query, list, reload, dump and stop-all over three owner processes.

#include "tests/process/owners_test.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

using Names = std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>>;

constexpr uint32_t kStopFailed = 0xF10304;
constexpr uint32_t kListFailed = 0xF10305;
constexpr uint32_t kDumpFailed = 0xF10306;
constexpr uint32_t kReloadFailed = 0xF10307;

class Control : public OwnersTest {
protected:
    struct Answers {
        uint32_t code = 0;
        std::vector<std::string> texts;  // "NAME STATUS PID"
    };

    static Answers Query(const std::vector<std::string>& names, int type)
    {
        std::vector<AppStatus> found;
        Answers answers;
        answers.code =
            OwnerlinkClient::GetInstance().QueryAppState(names, found, kLongTimeOut, type);
        for (const AppStatus& status : found) {
            answers.texts.push_back(status.appName + ' ' + std::to_string(status.status) + ' ' +
                                    std::to_string(status.pid));
        }
        return answers;
    }

    std::string Answer(const std::string& name, GroupOwner group)
    {
        return name + " 1 " + std::to_string(Owner(group).Process());
    }

    static OwnerlinkClient& Client() { return OwnerlinkClient::GetInstance(); }
};

TEST_F(Control, AQueryOfTypeZeroAsksDatamasterAlone)
{
    StartAll();

    const Answers answers = Query({"a", "", "b"}, 0);

    EXPECT_EQ(answers.code, kOk);
    EXPECT_THAT(answers.texts, ElementsAre(Answer("a", DATAMASTER), Answer("", DATAMASTER),
                                           Answer("b", DATAMASTER)));
    EXPECT_THAT(Owner(DATAMASTER).Reports(), ElementsAre("query 0 60000 a  b"));
    EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
}

TEST_F(Control, AQueryOfAnyOtherTypeAsksEveryOwnerWithThatType)
{
    StartAll();

    const Answers answers = Query({"a"}, 5);

    EXPECT_EQ(answers.code, kOk);
    EXPECT_THAT(answers.texts, ElementsAre(Answer("a", APPMGR), Answer("a", DATAMASTER),
                                           Answer("a", IAM)));  // by resource name
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), ElementsAre("query 5 60000 a"));
    }
}

TEST_F(Control, AQueryThatAnOwnerRefusesFailsWithThatOwnersEntriesInTheResult)
{
    StartAll();
    ASSERT_TRUE(Owner(IAM).Tell("always query refuse"));

    const Answers answers = Query({"a"}, 1);

    EXPECT_EQ(answers.code, kQueryFailed);
    EXPECT_THAT(answers.texts,
                ElementsAre(Answer("a", APPMGR), Answer("a", DATAMASTER), Answer("a", IAM)));
}

TEST_F(Control, AQueryOfADeadOwnerFailsWithTheOthersEntries)
{
    StartAll();
    Owner(DATAMASTER).Kill();

    const Answers answers = Query({"a"}, 1);

    EXPECT_EQ(answers.code, kQueryFailed);
    EXPECT_THAT(answers.texts, ElementsAre(Answer("a", APPMGR), Answer("a", IAM)));
}

TEST_F(Control, AListHoldsEveryOwnerIamIncludedButThoseWithoutApplications)
{
    StartAll();
    ASSERT_TRUE(Owner(IAM).Tell("apps login badge"));
    ASSERT_TRUE(Owner(APPMGR).Tell("apps camera"));
    Names names;

    const uint32_t code = Client().QueryAppList(names);

    EXPECT_EQ(code, kOk);
    EXPECT_THAT(names, ElementsAre(Pair(0, ElementsAre(Pair(IAM, ElementsAre("login", "badge")),
                                                       Pair(APPMGR, ElementsAre("camera"))))));
    EXPECT_THAT(Owner(DATAMASTER).Reports(), ElementsAre("list"));
}

TEST_F(Control, AListThatAnOwnerRefusesFailsWithTheOthersNames)
{
    StartAll();
    for (const GroupOwner group : kGroups) {
        ASSERT_TRUE(Owner(group).Tell("apps a"));
    }
    ASSERT_TRUE(Owner(IAM).Tell("always list refuse"));
    Names names;

    const uint32_t code = Client().QueryAppList(names);

    EXPECT_EQ(code, kListFailed);
    EXPECT_THAT(names, ElementsAre(Pair(0, ElementsAre(Pair(DATAMASTER, ElementsAre("a")),
                                                       Pair(APPMGR, ElementsAre("a"))))));
}

// 3888 bytes of text are the most that a record carries: "1#" and one name with its "#".
TEST_F(Control, AListOf3888BytesArrivesAndLongerOnesFail)
{
    Start(APPMGR);
    WriteConfig(
        ConfigEntry("appmgr", "OsType: 0, GroupOwner: 2, SecVfs: \"" + ResourceOf(APPMGR) + '"'));
    for (const size_t size : {3888U, 3889U, 3892U, 3893U, 5000U}) {
        const std::string name(size - 3, 'n');
        ASSERT_TRUE(Owner(APPMGR).Tell("apps " + name));
        Names names;

        const uint32_t code = Client().QueryAppList(names);

        EXPECT_EQ(code, size == 3888 ? kOk : kListFailed) << size;
        EXPECT_EQ(names.empty(), size != 3888) << size;
    }
}

TEST_F(Control, ReloadDumpAndStopAllReachEveryOwnerButIam)
{
    StartAll();

    EXPECT_EQ(Client().UpdateCfg(), kOk);
    EXPECT_EQ(Client().DumpApp(), kOk);
    EXPECT_EQ(Client().StopAllApp(), kOk);

    EXPECT_THAT(Owner(DATAMASTER).Reports(), ElementsAre("reload", "dump", "stop-all"));
    EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("reload", "dump", "stop-all"));
}

TEST_F(Control, ARefusalFailsEachCommandWithItsCodeAndStopsNobody)
{
    StartAll();
    for (const char* kind : {"reload", "dump", "stop-all"}) {
        ASSERT_TRUE(Owner(DATAMASTER).Tell("always " + std::string(kind) + " refuse"));
    }

    EXPECT_EQ(Client().UpdateCfg(), kReloadFailed);
    EXPECT_EQ(Client().DumpApp(), kDumpFailed);
    EXPECT_EQ(Client().StopAllApp(), kStopFailed);

    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("reload", "dump", "stop-all"));
}

TEST_F(Control, ADeadOwnerFailsACommandAndTheOneBehindItIsAsked)
{
    StartAll();
    Owner(DATAMASTER).Kill();

    EXPECT_EQ(Client().UpdateCfg(), kReloadFailed);

    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("reload"));
}

TEST_F(Control, TheInnerClientReachesIamByHand)
{
    StartAll();
    OwnerlinkClientInner& inner = OwnerlinkClientInner::GetInstance();

    EXPECT_TRUE(inner.UpdateGrpCfg(DP, IAM));
    EXPECT_TRUE(inner.DumpGrp(DP, IAM));
    EXPECT_TRUE(inner.StopGrpApp(DP, IAM));
    ASSERT_TRUE(Owner(IAM).Tell("always dump refuse"));
    EXPECT_FALSE(inner.DumpGrp(DP, IAM));
    EXPECT_FALSE(inner.DumpGrp(SD, IAM));

    EXPECT_THAT(Owner(IAM).Reports(), ElementsAre("reload", "dump", "stop-all", "dump"));
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
}

}  // namespace
