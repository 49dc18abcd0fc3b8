#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/foundation/yaml_test.h"

namespace {

namespace fs = std::filesystem;
using namespace ProcMgr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class YamlFile : public YamlTest {
protected:
    YamlFile()
    {
        std::string pattern = fs::canonical(fs::temp_directory_path()) / "yaml_file_XXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~YamlFile() override { fs::remove_all(folder_); }

    std::string Write(const std::string& name, const std::string& text) const
    {
        const fs::path path = folder_ / name;
        std::ofstream(path) << text;
        return path;
    }

    static auto OpenFiles()
    {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    fs::path folder_;
    KvsTypeYaml node_;
};

std::vector<std::string> ParserCalls()
{
    return platform::Calls({"yaml_parser_initialize", "yaml_parser_load", "yaml_parser_delete",
                            "yaml_document_get_root_node", "yaml_document_delete"});
}

TEST_F(YamlFile, IsLoaded)
{
    const auto path = Write("a.yaml", "a: 1");

    EXPECT_TRUE(node_.InitYamlNode(path));

    KvsTypeYaml value;
    EXPECT_TRUE(node_.GetSubKvs("a", value));
    EXPECT_EQ(value.GetInt(), 1);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlFile, IsResolvedBeforeItIsOpened)
{
    const auto path = Write("a.yaml", "text");
    const std::string link = folder_ / "link";
    fs::create_symlink("a.yaml", link);

    EXPECT_TRUE(node_.InitYamlNode(link));

    EXPECT_THAT(platform::Calls({"realpath", "fopen"}),
                ElementsAre("realpath(" + link + ")=" + path, "fopen(" + path + ",rb)=stream"));
}

TEST_F(YamlFile, IsClosedAtOnce)
{
    const auto path = Write("a.yaml", "text");
    const auto openBefore = OpenFiles();

    EXPECT_TRUE(node_.InitYamlNode(path));

    EXPECT_EQ(OpenFiles(), openBefore);
    EXPECT_THAT(ParserCalls(),
                ElementsAre("yaml_parser_initialize()=1", "yaml_parser_load()=1",
                            "yaml_document_get_root_node()=node", "yaml_parser_delete()"));
}

TEST_F(YamlFile, ThatIsMissingIsInformation)
{
    EXPECT_FALSE(node_.InitYamlNode("/no/such/file"));

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_INFO, "InitYamlNode",
                                        "file not found, yamlPath=/no/such/file")));
    EXPECT_THAT(platform::Calls(), ElementsAre("realpath(/no/such/file)=null ENOENT"));
}

TEST_F(YamlFile, OfAnEmptyPathIsMissing)
{
    EXPECT_FALSE(node_.InitYamlNode(""));

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_INFO, "InitYamlNode", "file not found, yamlPath=")));
}

TEST_F(YamlFile, OfAnEndlessPathIsMissing)
{
    const std::string path = "/" + std::string(5000, 'a');

    EXPECT_FALSE(node_.InitYamlNode(path));

    EXPECT_THAT(platform::Records(), ElementsAre(YamlMessage(LOG_INFO, "InitYamlNode",
                                                             "file not found, yamlPath=" + path)));
}

TEST_F(YamlFile, ThatCannotBeOpenedIsAnError)
{
    const auto path = Write("a.yaml", "text");
    platform::SetNext("fopen", {platform::Fails(EACCES)});

    EXPECT_FALSE(node_.InitYamlNode(path));

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "InitYamlNode",
                                        "Load yaml=" + path + " failed, open failed")));
    EXPECT_THAT(ParserCalls(), IsEmpty());
}

TEST_F(YamlFile, ThatIsUnreadableForTheConfigurationIsAnError)
{
    platform::SetUnreadableConfig();

    EXPECT_FALSE(node_.InitYamlNode(platform::kConfigPath));

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(
                    LOG_ERR, "InitYamlNode",
                    std::string("Load yaml=") + platform::kConfigPath + " failed, open failed")));
}

TEST_F(YamlFile, ThatIsAFolderCannotBeParsed)
{
    const auto openBefore = OpenFiles();

    EXPECT_FALSE(node_.InitYamlNode(folder_));

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(
                    LOG_ERR, "InitYamlNode",
                    "Load yaml=" + folder_.string() + " failed, init yaml paser failed")));
    EXPECT_EQ(OpenFiles(), openBefore);
}

struct DocumentRow {
    const char* name;
    const char* text;
};

void PrintTo(const DocumentRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr auto rowName = [](const auto& row) {
    return row.param.name;
};

class YamlFileMalformed : public YamlFile, public ::testing::WithParamInterface<DocumentRow> {};

TEST_P(YamlFileMalformed, GivesThePaserMessage)
{
    const auto path = Write("a.yaml", GetParam().text);
    const auto openBefore = OpenFiles();

    EXPECT_FALSE(node_.InitYamlNode(path));

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "InitYamlNode",
                                        "Load yaml=" + path + " failed, init yaml paser failed")));
    EXPECT_THAT(ParserCalls(), ElementsAre("yaml_parser_initialize()=1", "yaml_parser_load()=0",
                                           "yaml_parser_delete()"));
    EXPECT_EQ(OpenFiles(), openBefore);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, YamlFileMalformed,
    ::testing::Values(DocumentRow{"OpenList", "a: [1, 2"}, DocumentRow{"NestedInLine", "a: b: c"},
                      DocumentRow{"Tab", "\tx: 1"}, DocumentRow{"UnknownAlias", "*unknown"},
                      DocumentRow{"ControlByte", "\x01"}, DocumentRow{"OpenQuotes", "\"open"},
                      DocumentRow{"BadIndent", "a: 1\n b: 2\n"}),
    rowName);

TEST_F(YamlFile, IsDroppedAfterAFailedLoad)
{
    platform::SetConfig("a: [");
    {
        KvsTypeYaml node;
        EXPECT_FALSE(node.InitYamlNode(platform::kConfigPath));
    }
    EXPECT_THAT(platform::Calls("yaml_document_delete"), IsEmpty());  // it was never loaded
}

TEST_F(YamlFile, MayFailToLoadWhereTheParserDidNotStart)
{
    platform::SetConfig("a: 1");
    platform::SetNext("yaml_parser_initialize", {platform::Fails(0)});
    platform::SetNext("yaml_parser_load", {platform::Fails(0)});

    EXPECT_FALSE(node_.InitYamlNode(platform::kConfigPath));

    EXPECT_THAT(ParserCalls(), ElementsAre("yaml_parser_initialize()=0", "yaml_parser_load()=0",
                                           "yaml_parser_delete()"));
}

class YamlFileWithoutRoot : public YamlFile, public ::testing::WithParamInterface<DocumentRow> {};

TEST_P(YamlFileWithoutRoot, GivesTheRootMessage)
{
    const auto path = Write("a.yaml", GetParam().text);
    const auto openBefore = OpenFiles();
    {
        KvsTypeYaml node;
        EXPECT_FALSE(node.InitYamlNode(path));
    }
    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "InitYamlNode",
                                        "Load yaml=" + path + " failed, root node is nullptr")));
    EXPECT_THAT(ParserCalls(), ElementsAre("yaml_parser_initialize()=1", "yaml_parser_load()=1",
                                           "yaml_document_get_root_node()=null",
                                           "yaml_parser_delete()", "yaml_document_delete()"));
    EXPECT_EQ(OpenFiles(), openBefore);
}

INSTANTIATE_TEST_SUITE_P(Documents, YamlFileWithoutRoot,
                         ::testing::Values(DocumentRow{"Empty", ""},
                                           DocumentRow{"EmptyLines", "\n\n"},
                                           DocumentRow{"Comment", "# nothing but this\n"}),
                         rowName);

TEST_F(YamlFile, GivesItsFirstDocumentAlone)
{
    EXPECT_EQ(Load("--- one\n--- two\n").GetString(), "one");
}

TEST_F(YamlFile, TakesThePlaceOfTheFormerOne)
{
    const auto first = Write("first.yaml", "one");
    const auto second = Write("second.yaml", "two");
    ASSERT_TRUE(node_.InitYamlNode(first));

    ASSERT_TRUE(node_.InitYamlNode(second));

    EXPECT_EQ(node_.GetString(), "two");
    EXPECT_THAT(platform::Calls("yaml_document_delete"), ElementsAre("yaml_document_delete()"));
}

TEST_F(YamlFile, LeavesTheKeyOfTheNodeItIsLoadedInto)
{
    KvsTypeYaml node = LoadValue("a: 1", "a");
    platform::SetConfig("two");

    ASSERT_TRUE(node.InitYamlNode(platform::kConfigPath));

    EXPECT_EQ(node.GetKey(), "a");
    EXPECT_EQ(node.GetString(), "two");
}

TEST_F(YamlFile, StaysWhenTheNextOneIsMissing)
{
    KvsTypeYaml node = Load("one");

    EXPECT_FALSE(node.InitYamlNode("/no/such/file"));
    platform::SetUnreadableConfig();
    EXPECT_FALSE(node.InitYamlNode(platform::kConfigPath));

    EXPECT_EQ(node.GetString(), "one");
}

// The old document has gone by then, and nothing may be read from it.
TEST_F(YamlFile, LeavesAnEmptyNodeWhenTheNextOneIsNoDocument)
{
    for (const char* const bad : {"a: [", ""}) {
        KvsTypeYaml node = Load("a: 1");
        KvsTypeYaml value;
        platform::SetConfig(bad);

        EXPECT_FALSE(node.InitYamlNode(platform::kConfigPath));

        EXPECT_FALSE(node.GetSubKvs("a", value)) << bad;
        EXPECT_EQ(node.GetString(), "") << bad;
    }
}

}  // namespace
