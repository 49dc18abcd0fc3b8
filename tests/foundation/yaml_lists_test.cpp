// Mappings and sequences.
#include <thread>

#include "tests/foundation/yaml_test.h"

namespace {

using namespace ProcMgr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class YamlMapping : public YamlTest {};
class YamlSequence : public YamlTest {};
class YamlNode : public YamlTest {};

TEST_F(YamlMapping, GivesAValueWithItsKey)
{
    KvsTypeYaml value;

    EXPECT_TRUE(Load("a: 1\nb: 2\n").GetSubKvs("b", value));

    EXPECT_EQ(value.GetKey(), "b");
    EXPECT_EQ(value.GetInt(), 2);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlMapping, GivesTheFirstValueOfADuplicateKey)
{
    EXPECT_EQ(LoadValue("a: 1\na: 2\n", "a").GetInt(), 1);
}

TEST_F(YamlMapping, LeavesTheOutputAloneWithoutTheKey)
{
    const KvsTypeYaml root = Load("a: 1\nb: 2\n");
    KvsTypeYaml value;
    ASSERT_TRUE(root.GetSubKvs("a", value));

    EXPECT_FALSE(root.GetSubKvs("c", value));

    EXPECT_EQ(value.GetKey(), "a");
    EXPECT_EQ(value.GetInt(), 1);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlMapping, ComparesWholeKeys)
{
    const KvsTypeYaml root = Load("abc: 1\n\"k\\0x\": 2\n");
    KvsTypeYaml value;

    EXPECT_FALSE(root.GetSubKvs("ab", value));
    EXPECT_FALSE(root.GetSubKvs("abcd", value));
    EXPECT_FALSE(root.GetSubKvs("ABC", value));
    EXPECT_FALSE(root.GetSubKvs("", value));
    EXPECT_TRUE(root.GetSubKvs("k", value));  // up to its zero byte
    EXPECT_EQ(value.GetInt(), 2);
}

TEST_F(YamlMapping, TakesNoOtherNodeForOne)
{
    for (const char* const document : {"text", "[a]"}) {
        const KvsTypeYaml root = Load(document);
        KvsTypeYaml value = LoadValue("old: 1", "old");

        EXPECT_FALSE(root.GetSubKvs("a", value));

        EXPECT_EQ(value.GetKey(), "old");
        EXPECT_THAT(platform::Records(),
                    ElementsAre(YamlMessage(LOG_WARNING, "GetSubKvs",
                                            "Get sub yaml of a, the type is not map")));
        platform::ClearHistory();
    }
}

TEST_F(YamlMapping, IsMissingInANewNode)
{
    KvsTypeYaml value;
    std::vector<KvsTypeYaml> values;

    EXPECT_FALSE(KvsTypeYaml().GetSubKvs("a", value));
    EXPECT_FALSE(KvsTypeYaml().GetArray(values));

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(YamlMessage(LOG_WARNING, "GetSubKvs", "Get sub yaml of a, the type is not map"),
                    YamlMessage(LOG_WARNING, "GetArray", "Get yaml array, the type is not map")));
}

// A value is looked for before its key: 0 and 1 for the first pair, 2 and 3 for the second.
class YamlMappingLacking : public YamlTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(YamlMappingLacking, ANodeFindsNothing)
{
    const KvsTypeYaml root = Load("a: 1\nb: 2\n");
    KvsTypeYaml value = LoadValue("old: 1", "old");
    LackNodeAfter(GetParam());

    EXPECT_FALSE(root.GetSubKvs("b", value));

    EXPECT_EQ(value.GetKey(), "old");
    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "GetSubKvs",
                                        "Get sub yaml of b failed, node ptr is nullptr")));
}

TEST_P(YamlMappingLacking, ANodeKeepsTheValuesBeforeIt)
{
    const KvsTypeYaml root = Load("a: 1\nb: 2\n");
    std::vector<KvsTypeYaml> values;
    LackNodeAfter(GetParam());

    EXPECT_FALSE(root.GetArray(values));

    EXPECT_EQ(values.size(), GetParam() / 2);
    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "GetArray",
                                        "Get yaml array failed, the node ptr is nullptr")));
}

INSTANTIATE_TEST_SUITE_P(Nodes, YamlMappingLacking, ::testing::Values(0U, 1U, 2U, 3U));

TEST_F(YamlMapping, GivesAllValuesInTheOrderOfTheFile)
{
    std::vector<KvsTypeYaml> values;

    EXPECT_TRUE(Load("b: 2\na: 1\nb: 3\n").GetArray(values));

    EXPECT_THAT(Texts(values), ElementsAre("b=2", "a=1", "b=3"));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlMapping, AddsItsValuesToWhatIsThere)
{
    const KvsTypeYaml root = Load("a: 1\nb: 2\n");
    std::vector<KvsTypeYaml> values;

    EXPECT_TRUE(root.GetArray(values));
    EXPECT_TRUE(root.GetArray(values));

    EXPECT_THAT(Texts(values), ElementsAre("a=1", "b=2", "a=1", "b=2"));
}

TEST_F(YamlMapping, MayBeEmpty)
{
    const KvsTypeYaml root = Load("{}");
    std::vector<KvsTypeYaml> values;
    KvsTypeYaml value;

    EXPECT_TRUE(root.GetArray(values));
    EXPECT_FALSE(root.GetSubKvs("a", value));

    EXPECT_THAT(values, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlMapping, GivesValuesOfEveryType)
{
    std::vector<KvsTypeYaml> values;

    ASSERT_TRUE(Load("a: {x: 1}\nb: [5, 6]\n").GetArray(values));

    KvsTypeYaml nested;
    EXPECT_TRUE(values.at(0).GetSubKvs("x", nested));
    EXPECT_EQ(nested.GetInt(), 1);
    EXPECT_THAT(values.at(1).GetSequenceUint32(), ElementsAre(5U, 6U));
}

// A key of another type has no text, and must not be read as if it had one.
TEST_F(YamlMapping, TakesAKeyThatIsNoScalarForAnEmptyOne)
{
    std::vector<KvsTypeYaml> values;

    ASSERT_TRUE(Load("? [a, b]\n: 1\n? {c: d}\n: 2\n").GetArray(values));

    EXPECT_THAT(Texts(values), ElementsAre("=1", "=2"));
}

TEST_F(YamlMapping, MayAppendToTheListThatItLiesIn)
{
    std::vector<KvsTypeYaml> nodes = {Load("{a: 1, b: 2}")};
    nodes.shrink_to_fit();

    EXPECT_TRUE(nodes[0].GetArray(nodes));

    EXPECT_THAT(Texts(nodes), ElementsAre("=", "a=1", "b=2"));
}

TEST_F(YamlMapping, HasNoArrayForASequence)
{
    std::vector<KvsTypeYaml> values;

    EXPECT_FALSE(Load("[a, b]").GetArray(values));

    EXPECT_THAT(values, IsEmpty());
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(YamlMessage(LOG_WARNING, "GetArray", "Get yaml array, the type is not map")));
}

TEST_F(YamlMapping, HasNoArrayWithoutADocument)
{
    KvsTypeYaml root = Load("a: 1");
    std::vector<KvsTypeYaml> values;
    TakeAway(root);

    EXPECT_FALSE(root.GetArray(values));

    EXPECT_THAT(values, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlSequence, GivesNumbersByTheRulesOfStreams)
{
    EXPECT_THAT(Load("[1, 12abc, abc, \"\", ' 7', 4294967296, -1]").GetSequenceUint32(),
                ElementsAre(1U, 12U, 0U, 0U, 7U, UINT32_MAX, UINT32_MAX));
}

TEST_F(YamlSequence, GivesTextsAndKeepsEmptyOnes)
{
    EXPECT_THAT(Load("- a\n- \"\"\n-\n- \"b\\0c\"\n").GetSequenceString(),
                ElementsAre("a", "", "", "b"));
}

TEST_F(YamlSequence, GivesNodesWithoutKeys)
{
    const auto nodes = Load("- text\n- x: 1\n- [5]\n").GetSequenceYamlNode();

    ASSERT_THAT(Texts(nodes), ElementsAre("=text", "=", "="));
    KvsTypeYaml nested;
    EXPECT_TRUE(nodes.at(1).GetSubKvs("x", nested));
    EXPECT_EQ(nested.GetInt(), 1);
    EXPECT_THAT(nodes.at(2).GetSequenceUint32(), ElementsAre(5U));
}

TEST_F(YamlSequence, ReadsItemsThatAreNoScalarsAsEmpty)
{
    const KvsTypeYaml root = Load("[[1], {a: 2}, 3]");

    EXPECT_THAT(root.GetSequenceUint32(), ElementsAre(0U, 0U, 3U));
    EXPECT_THAT(root.GetSequenceString(), ElementsAre("", "", "3"));
}

TEST_F(YamlSequence, IsNoMapping)
{
    const KvsTypeYaml mapping = Load("a: 1");

    EXPECT_THAT(mapping.GetSequenceUint32(), IsEmpty());
    EXPECT_THAT(mapping.GetSequenceString(), IsEmpty());
    EXPECT_THAT(mapping.GetSequenceYamlNode(), IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlSequence, IsEmptyWithoutADocument)
{
    KvsTypeYaml root = Load("[1, 2]");
    TakeAway(root);

    EXPECT_THAT(root.GetSequenceUint32(), IsEmpty());
    EXPECT_THAT(root.GetSequenceString(), IsEmpty());
    EXPECT_THAT(root.GetSequenceYamlNode(), IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

// Whichever item is lacking, those before it are dropped.
class YamlSequenceLacking : public YamlTest, public ::testing::WithParamInterface<std::size_t> {
protected:
    void SetUp() override
    {
        root_ = Load("[1, 2, 3]");
        LackNodeAfter(GetParam());
    }

    KvsTypeYaml root_;
};

TEST_P(YamlSequenceLacking, AnItemGivesNoNumbers)
{
    EXPECT_THAT(root_.GetSequenceUint32(), IsEmpty());

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "GetSequenceUint32",
                                        "Get uint32 sequence failed, the node ptr is nullptr, "
                                        "default as empty")));
}

TEST_P(YamlSequenceLacking, AnItemGivesNoTexts)
{
    EXPECT_THAT(root_.GetSequenceString(), IsEmpty());

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "GetSequenceString",
                                        "Get string sequence failed, the node ptr is nullptr, "
                                        "default as empty")));
}

TEST_P(YamlSequenceLacking, AnItemGivesNoNodes)
{
    EXPECT_THAT(root_.GetSequenceYamlNode(), IsEmpty());

    EXPECT_THAT(platform::Records(),
                ElementsAre(YamlMessage(LOG_ERR, "GetSequenceYamlNode",
                                        "Get yaml node sequence failed, the node ptr is nullptr, "
                                        "default as empty")));
}

INSTANTIATE_TEST_SUITE_P(Items, YamlSequenceLacking, ::testing::Values(0U, 1U, 2U));

TEST_F(YamlNode, OutlivesItsParent)
{
    KvsTypeYaml child;
    {
        const KvsTypeYaml root = Load("a: {b: [x, y]}");
        ASSERT_TRUE(root.GetSubKvs("a", child));
    }
    EXPECT_THAT(platform::Calls("yaml_document_delete"), IsEmpty());

    ASSERT_TRUE(child.GetSubKvs("b", child));

    EXPECT_THAT(child.GetSequenceString(), ElementsAre("x", "y"));
}

TEST_F(YamlNode, FreesTheDocumentWithTheLastOfItsHolders)
{
    {
        const KvsTypeYaml root = Load("[a]");
        const KvsTypeYaml copy = root;
        const auto items = root.GetSequenceYamlNode();
    }
    EXPECT_THAT(platform::Calls("yaml_document_delete"), ElementsAre("yaml_document_delete()"));
}

TEST_F(YamlNode, MayBeReadBesideOthersOfItsDocument)
{
    const KvsTypeYaml root = Load("a: [1, 2]\nb: text\n");
    const auto read = [](const KvsTypeYaml& node) {
        KvsTypeYaml list;
        EXPECT_TRUE(node.GetSubKvs("a", list));
        EXPECT_THAT(list.GetSequenceUint32(), ElementsAre(1U, 2U));
    };

    std::thread other(read, root);
    read(KvsTypeYaml(root));
    other.join();
}

}  // namespace
