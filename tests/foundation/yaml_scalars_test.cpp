#include <cstdint>
#include <limits>

#include "tests/foundation/yaml_test.h"
#include "tests/support/grouping_locale.h"

namespace {

using namespace ProcMgr;
using ::testing::IsEmpty;

class YamlScalars : public YamlTest {};

struct IntRow {
    const char* name;
    const char* document;
    int number;
};

void PrintTo(const IntRow& row, std::ostream* out)
{
    *out << row.document;
}

class YamlInts : public YamlTest, public ::testing::WithParamInterface<IntRow> {};

TEST_P(YamlInts, FollowTheRulesOfStreams)
{
    EXPECT_EQ(Load(GetParam().document).GetInt(), GetParam().number);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Documents, YamlInts,
    ::testing::Values(IntRow{"Number", "7", 7}, IntRow{"Negative", "-7", -7},
                      IntRow{"BlankInFront", "\" 7\"", 7}, IntRow{"LettersBehind", "12abc", 12},
                      IntRow{"Letters", "abc", 0}, IntRow{"Hexadecimal", "0x10", 0},
                      IntRow{"EmptyScalar", "\"\"", 0}, IntRow{"Mapping", "a: 7", 0},
                      IntRow{"Sequence", "[7]", 0}, IntRow{"ZeroByteBehind", "\"7\\08\"", 7},
                      IntRow{"BeyondMost", "2147483648", std::numeric_limits<int>::max()},
                      IntRow{"BeyondLeast", "-2147483649", std::numeric_limits<int>::min()}),
    [](const auto& row) { return row.param.name; });

TEST_F(YamlScalars, GiveUnsignedNumbersOf64Bits)
{
    EXPECT_EQ(Load("18446744073709551615").GetUint64(), UINT64_MAX);
    EXPECT_EQ(Load("18446744073709551616").GetUint64(), UINT64_MAX);
    EXPECT_EQ(Load("12abc").GetUint64(), 12U);
    EXPECT_EQ(Load("-1").GetUint64(), UINT64_MAX);
    EXPECT_EQ(Load("abc").GetUint64(), 0U);
    EXPECT_EQ(Load("\"\"").GetUint64(), 0U);
    EXPECT_EQ(Load("[7]").GetUint64(), 0U);
    EXPECT_EQ(Load("a: 7").GetUint64(), 0U);
}

TEST_F(YamlScalars, GiveTheSameNumbersInAHostThatGroupsDigits)
{
    const GroupingLocale locale;

    EXPECT_EQ(Load("1.234").GetInt(), 1);
    EXPECT_EQ(Load("1.234").GetUint64(), 1U);
    EXPECT_EQ(Load("1234567").GetInt(), 1234567);
    EXPECT_THAT(Load("[1.234]").GetSequenceUint32(), ::testing::ElementsAre(1U));
}

struct BoolRow {
    const char* name;
    const char* document;
    bool isTrue;
};

void PrintTo(const BoolRow& row, std::ostream* out)
{
    *out << row.document;
}

class YamlBools : public YamlTest, public ::testing::WithParamInterface<BoolRow> {};

TEST_P(YamlBools, SearchForTrueInAnyCase)
{
    EXPECT_EQ(Load(GetParam().document).GetBool(), GetParam().isTrue);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Documents, YamlBools,
    ::testing::Values(BoolRow{"True", "true", true}, BoolRow{"Capital", "True", true},
                      BoolRow{"Capitals", "TRUE", true}, BoolRow{"Mixed", "TrUe", true},
                      BoolRow{"Untrue", "untrue", true}, BoolRow{"Inside", "it is true.", true},
                      BoolRow{"False", "false", false}, BoolRow{"One", "1", false},
                      BoolRow{"Yes", "yes", false}, BoolRow{"On", "on", false},
                      BoolRow{"Cut", "tru", false}, BoolRow{"EmptyScalar", "\"\"", false},
                      BoolRow{"BehindAZeroByte", "\"x\\0true\"", false},
                      BoolRow{"Mapping", "true: true", false},
                      BoolRow{"Sequence", "[true]", false}),
    [](const auto& row) { return row.param.name; });

TEST_F(YamlScalars, GiveTheirText)
{
    EXPECT_EQ(Load("some text").GetString(), "some text");
    EXPECT_EQ(Load("\" quoted #\"").GetString(), " quoted #");
    EXPECT_EQ(Load("\"\"").GetString(), "");
}

TEST_F(YamlScalars, EndAtTheirFirstZeroByte)
{
    EXPECT_EQ(Load("\"ab\\0cd\"").GetString(), "ab");
    EXPECT_EQ(Load("\"\\0cd\"").GetString(), "");
}

TEST_F(YamlScalars, AreNullWithoutText)
{
    EXPECT_TRUE(LoadValue("a:", "a").GetIsNullOfScalarType());
    EXPECT_TRUE(Load("\"\"").GetIsNullOfScalarType());
    EXPECT_TRUE(Load("\"\\0x\"").GetIsNullOfScalarType());
    EXPECT_FALSE(Load("null").GetIsNullOfScalarType());
    EXPECT_FALSE(Load("0").GetIsNullOfScalarType());
}

TEST_F(YamlScalars, AreTheOnlyNodesWithATextOrANull)
{
    for (const char* const document : {"{}", "[]", "a: b", "[a]"}) {
        EXPECT_EQ(Load(document).GetString(), "") << document;
        EXPECT_FALSE(Load(document).GetIsNullOfScalarType()) << document;
    }
}

TEST_F(YamlScalars, HaveNoKeyAsARoot)
{
    EXPECT_EQ(Load("text").GetKey(), "");
}

TEST_F(YamlScalars, AreNoLists)
{
    const KvsTypeYaml scalar = Load("7");

    EXPECT_THAT(scalar.GetSequenceUint32(), IsEmpty());
    EXPECT_THAT(scalar.GetSequenceString(), IsEmpty());
    EXPECT_THAT(scalar.GetSequenceYamlNode(), IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlScalars, AreAllAbsentFromANewNode)
{
    const KvsTypeYaml node;

    EXPECT_EQ(node.GetKey(), "");
    EXPECT_EQ(node.GetString(), "");
    EXPECT_EQ(node.GetInt(), 0);
    EXPECT_EQ(node.GetUint64(), 0U);
    EXPECT_FALSE(node.GetBool());
    EXPECT_FALSE(node.GetIsNullOfScalarType());
    EXPECT_THAT(node.GetSequenceUint32(), IsEmpty());
    EXPECT_THAT(node.GetSequenceString(), IsEmpty());
    EXPECT_THAT(node.GetSequenceYamlNode(), IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(YamlScalars, HaveNoTextWithoutADocument)
{
    KvsTypeYaml scalar = Load("7true");
    TakeAway(scalar);

    EXPECT_EQ(scalar.GetString(), "");
    EXPECT_EQ(scalar.GetInt(), 0);
    EXPECT_EQ(scalar.GetUint64(), 0U);
    EXPECT_FALSE(scalar.GetBool());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

}  // namespace
