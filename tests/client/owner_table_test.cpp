// The table of owners and the file that fills it.
#include <ownerlink/enum_text.h>

#include <cerrno>
#include <thread>

#include "tests/client/client_test.h"

namespace {

using platform::Fails;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kMissing[] = "file=/etc/tnv/ownerlink_vfs_cfg.yaml doesn't exist";

class OwnerTable : public ClientTest {
protected:
    // The table as its records show it.
    std::vector<std::string> Entries() const
    {
        std::vector<std::string> entries;
        for (const auto& record : ClientRecords(HasSubstr("secvfsFromCfg_: "))) {
            entries.push_back(record.text.substr(std::string("secvfsFromCfg_: ").size()));
        }
        return entries;
    }
};

TEST_F(OwnerTable, IsReadWithTheseStepsInThisOrder)
{
    platform::SetConfig(ConfigOf({{0, 2, kAppMgr}, {0, 0, kDataMaster}, {0, 1, kIam}}));

    EXPECT_TRUE(client.LoadSecvfsCfg());

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("log(54,2) read secvfs firstly !!!",
                    "access(/etc/tnv/ownerlink_vfs_cfg.yaml,F_OK)=0",
                    "log(54,1) file=/etc/tnv/ownerlink_vfs_cfg.yaml exist",
                    "realpath(/etc/tnv/ownerlink_vfs_cfg.yaml)=/etc/tnv/ownerlink_vfs_cfg.yaml",
                    "fopen(/etc/tnv/ownerlink_vfs_cfg.yaml,rb)=stream",
                    "log(54,1) secvfsFromCfg_: key=0 0, value=dp:/res/dm",
                    "log(54,1) secvfsFromCfg_: key=0 1, value=dp:/res/iam",
                    "log(54,1) secvfsFromCfg_: key=0 2, value=dp:/res/app"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning(HasSubstr("firstly")), Info(HasSubstr("exist")),
                            Info(HasSubstr("key=0 0")), Info(HasSubstr("key=0 1")),
                            Info(HasSubstr("key=0 2"))));
}

TEST_F(OwnerTable, IsReadOnce)
{
    client.LoadSecvfsCfg();
    platform::ClearHistory();
    platform::SetConfig(ConfigOf({{0, 0, "dp:/res/other"}}));

    EXPECT_TRUE(client.LoadSecvfsCfg());

    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::Records(), ElementsAre(Warning("Secvfs has been read before !!!")));
    EXPECT_EQ(client.GetResFileName(DP, DATAMASTER), kDataMaster);
}

TEST_F(OwnerTable, MissingFileFailsTheLoadUntilItIsThere)
{
    platform::RemoveConfig();

    EXPECT_FALSE(client.LoadSecvfsCfg());
    EXPECT_FALSE(client.LoadSecvfsCfg());

    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("read secvfs firstly !!!"), Error(kMissing),
                            Warning("read secvfs firstly !!!"), Error(kMissing)));
    EXPECT_THAT(platform::Calls(), Each("access(/etc/tnv/ownerlink_vfs_cfg.yaml,F_OK)=-1 ENOENT"));
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    EXPECT_TRUE(client.LoadSecvfsCfg());
    EXPECT_EQ(client.GetResFileName(DP, DATAMASTER), kDataMaster);
}

struct BadFile {
    std::string name;
    std::string text;
    std::string syslogText;
};

void PrintTo(const BadFile& file, std::ostream* out)
{
    *out << file.name;
}

class OwnerTableFromBadFile : public OwnerTable, public ::testing::WithParamInterface<BadFile> {};

TEST_P(OwnerTableFromBadFile, IsAFailedLoadThatIsTriedAgain)
{
    platform::SetConfig(GetParam().text);

    EXPECT_FALSE(client.LoadSecvfsCfg());

    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("read secvfs firstly !!!"),
                            Info("file=/etc/tnv/ownerlink_vfs_cfg.yaml exist"),
                            SyslogRecord(LOG_ERR, HasSubstr(GetParam().syslogText)),
                            Warning("Load file=/etc/tnv/ownerlink_vfs_cfg.yaml failed, "
                                    "init yaml node failed")));
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    EXPECT_EQ(client.GetResFileName(DP, DATAMASTER), kDataMaster);
}

INSTANTIATE_TEST_SUITE_P(Files, OwnerTableFromBadFile,
                         ::testing::Values(BadFile{"Empty", "", "root node is nullptr"},
                                           BadFile{"Malformed", "a: [1, 2\nb: }", "paser failed"}),
                         [](const auto& test) { return test.param.name; });

TEST_F(OwnerTable, FileThatCannotBeOpenedIsAFailedLoadThatIsTriedAgain)
{
    platform::SetUnreadableConfig();

    EXPECT_FALSE(client.LoadSecvfsCfg());

    EXPECT_THAT(platform::Warnings(),
                ElementsAre("read secvfs firstly !!!",
                            "Load file=/etc/tnv/ownerlink_vfs_cfg.yaml failed, "
                            "init yaml node failed"));
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    EXPECT_TRUE(client.LoadSecvfsCfg());
}

class OwnerTableFromOtherRoot : public OwnerTable,
                                public ::testing::WithParamInterface<const char*> {};

TEST_P(OwnerTableFromOtherRoot, IsEmptyAndIsNeverReadAgain)
{
    platform::SetConfig(GetParam());

    EXPECT_TRUE(client.LoadSecvfsCfg());

    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("read secvfs firstly !!!"),
                            Info("file=/etc/tnv/ownerlink_vfs_cfg.yaml exist"),
                            SyslogRecord(LOG_WARNING, HasSubstr("the type is not map"))));
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    EXPECT_TRUE(client.LoadSecvfsCfg());
    EXPECT_EQ(client.GetResFileName(DP, DATAMASTER), "");
    EXPECT_EQ(client.SetSystemState(ProcMgr::SUSPEND, 100), 0u);
}

INSTANTIATE_TEST_SUITE_P(Roots, OwnerTableFromOtherRoot,
                         ::testing::Values("- OsType: 0\n  GroupOwner: 0\n  SecVfs: a\n", "text"));

TEST_F(OwnerTable, SkipsAnotherDomain)
{
    platform::SetConfig(ConfigOf({{1, 0, "sd:/res/dm"}, {-1, 0, "x"}, {0, 1, kIam}}));

    EXPECT_TRUE(client.LoadSecvfsCfg());

    EXPECT_THAT(
        ClientRecords(HasSubstr("single:")),
        ElementsAre(Warning("single:1, osTypeFromYAML:1"), Warning("single:1, osTypeFromYAML:-1")));
    EXPECT_THAT(Entries(), ElementsAre("key=0 1, value=dp:/res/iam"));
}

TEST_F(OwnerTable, SkipsGroupsThatDoNotExist)
{
    platform::SetConfig(ConfigOf({{0, 3, "a"}, {0, -1, "b"}, {0, 2, kAppMgr}}));

    EXPECT_TRUE(client.LoadSecvfsCfg());

    EXPECT_THAT(ClientRecords(HasSubstr("GroupOwner=")),
                ElementsAre(Error("GroupOwner=3 is bigger than 2"),
                            Error("GroupOwner=4294967295 is bigger than 2")));
    EXPECT_THAT(Entries(), ElementsAre("key=0 2, value=dp:/res/app"));
}

TEST_F(OwnerTable, LaterEntryOfADomainReplacesTheEarlier)
{
    platform::SetConfig(ConfigOf({{0, 1, "first"}, {0, 0, kDataMaster}, {0, 1, "second"}}));

    client.LoadSecvfsCfg();

    EXPECT_THAT(Entries(), ElementsAre("key=0 0, value=dp:/res/dm", "key=0 1, value=second"));
}

struct IncompleteEntry {
    std::string name;
    std::string text;
    std::string entry;
};

void PrintTo(const IncompleteEntry& entry, std::ostream* out)
{
    *out << entry.name;
}

class OwnerTableFromIncomplete : public OwnerTable,
                                 public ::testing::WithParamInterface<IncompleteEntry> {};

TEST_P(OwnerTableFromIncomplete, ReadsTheValueOfTheKeyBefore)
{
    platform::SetConfig(GetParam().text);

    EXPECT_TRUE(client.LoadSecvfsCfg());

    EXPECT_THAT(Entries(), ElementsAre(GetParam().entry));
    EXPECT_THAT(ClientRecords(), Each(Field(&platform::LogRecord::level, ::testing::Ne(3u))));
}

INSTANTIATE_TEST_SUITE_P(
    Entries, OwnerTableFromIncomplete,
    ::testing::Values(
        IncompleteEntry{"WithoutOsType", "a: {GroupOwner: 2, SecVfs: f}", "key=0 2, value=f"},
        IncompleteEntry{"WithoutGroupOwner", "a: {OsType: 0, SecVfs: f}", "key=0 0, value=f"},
        IncompleteEntry{"WithoutSecVfs", "a: {OsType: 0, GroupOwner: 2}", "key=0 2, value=2"},
        IncompleteEntry{"WithSecVfsAlone", "a: {SecVfs: f}", "key=0 0, value=f"},
        IncompleteEntry{"WithOsTypeAlone", "a: {OsType: 0}", "key=0 0, value=0"},
        IncompleteEntry{"WithNothing", "a: {Other: 1}", "key=0 0, value="},
        IncompleteEntry{"WithANodeThatIsNoMap", "a: text", "key=0 0, value="},
        IncompleteEntry{"WithTextForNumbers", "a: {OsType: x, GroupOwner: y, SecVfs: f}",
                        "key=0 0, value=f"},
        IncompleteEntry{"WithAListForTheFile", "a: {OsType: 0, GroupOwner: 1, SecVfs: [f]}",
                        "key=0 1, value="}),
    [](const auto& test) { return test.param.name; });

TEST_F(OwnerTable, EntryReadsNothingOfTheEntryBefore)
{
    platform::SetConfig("a: {OsType: 0, GroupOwner: 2, SecVfs: f}\nb: {Other: 1}\n");

    client.LoadSecvfsCfg();

    EXPECT_THAT(Entries(), ElementsAre("key=0 0, value=", "key=0 2, value=f"));
}

TEST_F(OwnerTable, GivesTheFileOfADomain)
{
    EXPECT_EQ(client.GetResFileName(DP, DATAMASTER), kDataMaster);
    EXPECT_EQ(client.GetResFileName(DP, IAM), kIam);
    EXPECT_EQ(client.GetResFileName(DP, APPMGR), kAppMgr);

    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(OwnerTable, AbsentDomainHasNoFile)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    client.LoadSecvfsCfg();
    platform::ClearHistory();

    EXPECT_EQ(client.GetResFileName(DP, APPMGR), "");
    EXPECT_EQ(client.GetResFileName(SD, DATAMASTER), "");
    EXPECT_EQ(client.GetResFileName(DP, static_cast<GroupOwner>(3)), "");

    EXPECT_THAT(
        ClientRecords(HasSubstr("GetResFileName")),
        ElementsAre(
            Error("GetResFileName failed, cannot find secVfs, (DP-0,SD)=0, GroupOwner=2(APPMGR)"),
            Error("GetResFileName failed, cannot find secVfs, (DP-0,SD)=1, "
                  "GroupOwner=0(DATAMASTER)"),
            Error("GetResFileName failed, cannot find secVfs, (DP-0,SD)=0, GroupOwner=3()")));
}

TEST_F(OwnerTable, LookUpLoadsTheTable)
{
    platform::RemoveConfig();

    EXPECT_EQ(client.GetResFileName(DP, IAM), "");

    EXPECT_THAT(platform::Errors(),
                ElementsAre(kMissing,
                            "GetResFileName failed, cannot find secVfs, (DP-0,SD)=0, "
                            "GroupOwner=1(IAM)"));
}

struct Operation {
    std::string name;
    std::function<void(Ownerlink::OwnerlinkClientImpl&)> run;
};

void PrintTo(const Operation& operation, std::ostream* out)
{
    *out << operation.name;
}

class OperationWithoutFile : public OwnerTable, public ::testing::WithParamInterface<Operation> {};

TEST_P(OperationWithoutFile, TriesAgainEachTime)
{
    platform::RemoveConfig();

    GetParam().run(client);
    GetParam().run(client);

    EXPECT_THAT(ClientRecords(kMissing), AllOf(ElementsAre(Error(kMissing), Error(kMissing))));
    EXPECT_THAT(platform::Exchanges(), IsEmpty());
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
    platform::AnswerAll(Replies("1#"));
    GetParam().run(client);
    EXPECT_EQ(platform::Exchanges().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, OperationWithoutFile,
    ::testing::Values(
        Operation{"SetSystemState",
                  [](auto& client) {
                      client.SetSystemState(2, 100);
                  }},
        Operation{"QueryAppState",
                  [](auto& client) {
                      std::vector<AppStatus> answers;
                      client.QueryAppState({}, answers, 100, 1);
                  }},
        Operation{"UpdateCfg",
                  [](auto& client) {
                      client.UpdateCfg();
                  }},
        Operation{"DumpApp",
                  [](auto& client) {
                      client.DumpApp();
                  }},
        Operation{"StopAllApp",
                  [](auto& client) {
                      client.StopAllApp();
                  }},
        Operation{"QueryAppList",
                  [](auto& client) {
                      std::map<unsigned, std::map<unsigned, std::vector<std::string>>> names;
                      client.QueryAppList(names);
                  }},
        Operation{"StopGrpApp",
                  [](auto& client) {
                      client.StopGrpApp(DP, DATAMASTER);
                  }},
        Operation{"UpdateGrpCfg",
                  [](auto& client) {
                      client.UpdateGrpCfg(DP, DATAMASTER);
                  }},
        Operation{"DumpGrp",
                  [](auto& client) {
                      client.DumpGrp(DP, DATAMASTER);
                  }}),
    [](const auto& test) { return test.param.name; });

TEST_F(OwnerTable, OneOfManyThreadsReadsWhileTheOthersWait)
{
    platform::Hold("fopen");
    std::vector<std::string> names(8);
    std::vector<std::thread> threads;
    for (std::string& name : names) {
        threads.emplace_back([this, &name] { name = client.GetResFileName(DP, IAM); });
    }
    ASSERT_TRUE(platform::WaitForHeld("fopen", 1));
    platform::StopHolding("fopen");
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(names, Each(kIam));
    EXPECT_EQ(platform::Calls("fopen").size(), 1u);
    EXPECT_THAT(platform::Warnings(), Contains("read secvfs firstly !!!").Times(1));
    EXPECT_THAT(platform::Warnings(), Contains("Secvfs has been read before !!!").Times(7));
}

}  // namespace
