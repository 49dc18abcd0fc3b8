// Changes on the manager's side: from applications to items.
#include <climits>
#include <sstream>

#include "tests/wire/codec_test.h"

namespace {

using namespace Ownerlink::Serialization;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Item = std::pair<unsigned int, std::string>;
using Parameters = std::map<int, std::vector<std::string>>;

AppInfo App(const std::string& name, uint32_t optionType = 0,
            const std::vector<std::string>& args = {}, const Parameters& parameters = {})
{
    return {DP, DATAMASTER, name, optionType, args, parameters};
}

Item ItemOf(const std::string& text)
{
    return {static_cast<unsigned int>(text.size()), text};
}

struct ItemRow {
    const char* name;
    AppInfo app;
    std::string item;
};

void PrintTo(const ItemRow& row, std::ostream* out)
{
    *out << row.name;
}

class ChangeItems : public PlatformTest, public ::testing::WithParamInterface<ItemRow> {};

TEST_P(ChangeItems, HaveThisText)
{
    const ItemRow& row = GetParam();
    std::vector<Item> items;

    EXPECT_TRUE(PackChangeAppInfoRequest({row.app}, items));

    EXPECT_THAT(items, ElementsAre(ItemOf(row.item)));
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(ClientMilestone(
            "ChangeAppState pack request app#(START-0,TERM,RESTART)#argSize#arg: " + row.item)));
}

INSTANTIATE_TEST_SUITE_P(
    Applications, ChangeItems,
    ::testing::Values(
        ItemRow{"Full", App("a", 0, {"x", "y"}, {{1, {"v"}}}), "a#0#2#x#y#1#1#1#v#"},
        ItemRow{"Plain", App("a", 1), "a#1#0#0#"}, ItemRow{"NothingAtAll", App(""), "#0#0#0#"},
        ItemRow{"EmptyTexts", App("a", 2, {"", ""}, {{0, {""}}}), "a#2#2###1#0#1##"},
        ItemRow{"LargestOption", App("a", UINT32_MAX), "a#4294967295#0#0#"},
        ItemRow{"NoValues", App("a", 0, {}, {{1, {}}}), "a#0#0#1#1#0#"},
        ItemRow{"LastIndex", App("a", 0, {}, {{2, {"v"}}}), "a#0#0#1#2#1#v#"},
        ItemRow{"NegativeIndex", App("a", 0, {}, {{-1, {"v"}}}), "a#0#0#1#-1#1#v#"},
        ItemRow{"LeastIndex", App("a", 0, {}, {{INT_MIN, {}}}), "a#0#0#1#-2147483648#0#"},
        ItemRow{"IndicesInOrder", App("a", 0, {}, {{2, {"z"}}, {0, {"x", "y"}}, {1, {}}}),
                "a#0#0#3#0#2#x#y#1#0#2#1#z#"},
        ItemRow{"MoreEntriesThanAnOwnerTakes",
                App("a", 0, {}, {{-2, {}}, {-1, {}}, {0, {}}, {1, {}}}),
                "a#0#0#4#-2#0#-1#0#0#0#1#0#"},
        ItemRow{"SeparatorInTexts", App("a#b", 0, {"x#y"}), "a#b#0#1#x#y#0#"},
        ItemRow{"OtherBytes", App("\xc3\xa4 \n", 0), "\xc3\xa4 \n#0#0#0#"}),
    [](const auto& row) { return row.param.name; });

class ChangeWriter : public PlatformTest {
protected:
    bool Pack(const std::vector<AppInfo>& apps) { return PackChangeAppInfoRequest(apps, items_); }

    std::vector<Item> items_;
};

TEST_F(ChangeWriter, TakesAnEmptyList)
{
    EXPECT_TRUE(Pack({}));

    EXPECT_THAT(items_, IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(ChangeWriter, AppendsOneItemForEachApplicationInTheGivenOrder)
{
    items_.push_back(ItemOf("old#"));

    EXPECT_TRUE(Pack({App("long name", 0, {"x"}), App("b", 1), App("a", 2)}));

    EXPECT_THAT(items_, ElementsAre(ItemOf("old#"), ItemOf("long name#0#1#x#0#"),
                                    ItemOf("b#1#0#0#"), ItemOf("a#2#0#0#")));
}

TEST_F(ChangeWriter, LeavesTheOwnerOut)
{
    AppInfo app = App("a");
    app.os = SD;
    app.groupOwner = APPMGR;

    EXPECT_TRUE(Pack({app}));

    EXPECT_THAT(items_, ElementsAre(ItemOf("a#0#0#0#")));
}

TEST_F(ChangeWriter, TakesMoreTextsThanAnOwnerTakes)
{
    const std::vector<std::string> tooMany(1025, "");

    EXPECT_TRUE(Pack({App("a", 0, tooMany), App("a", 0, {}, {{0, tooMany}})}));

    const std::string texts(1025, '#');
    EXPECT_THAT(items_,
                ElementsAre(ItemOf("a#0#1025#" + texts + "0#"), ItemOf("a#0#0#1#0#1025#" + texts)));
}

TEST_F(ChangeWriter, RefusesAnIndexAbove2AndKeepsTheItemsBefore)
{
    for (const int index : {3, INT_MAX}) {
        EXPECT_FALSE(Pack({App("a"), App("b", 0, {}, {{0, {}}, {index, {"v"}}}), App("c")}));

        EXPECT_THAT(items_, ElementsAre(ItemOf("a#0#0#0#")));
        EXPECT_THAT(platform::Errors(),
                    ElementsAre("ChangeAppState pack request failed, dynamicPara key=" +
                                std::to_string(index)));
        items_.clear();
        platform::ClearHistory();
    }
}

TEST_F(ChangeWriter, TakesAnItemOf3887Bytes)
{
    const std::string name(3880, 'n');

    EXPECT_TRUE(Pack({App(name)}));

    EXPECT_THAT(items_, ElementsAre(ItemOf(name + "#0#0#0#")));
    EXPECT_EQ(items_[0].first, 3887U);
}

TEST_F(ChangeWriter, MakesARecordThatOverflowsOfAnItemOf3887Bytes)
{
    std::vector<ProcMgr::OwnerlinkRequestMsg> records;
    ASSERT_TRUE(Pack({App(std::string(3880, 'n'))}));

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(items_, records));

    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].size, 3889U);
}

TEST_F(ChangeWriter, RefusesAnItemOf3888BytesAndKeepsTheItemsBefore)
{
    EXPECT_FALSE(Pack({App("a"), App(std::string(3881, 'n')), App("c")}));

    EXPECT_THAT(items_, ElementsAre(ItemOf("a#0#0#0#")));
    EXPECT_THAT(platform::Records(),
                ElementsAre(ClientMilestone("ChangeAppState pack request "
                                            "app#(START-0,TERM,RESTART)#argSize#arg: a#0#0#0#"),
                            ClientError("ChangeAppState pack request failed, "
                                        "size=3888 beyond 3888!!")));
}

TEST_F(ChangeWriter, LeavesWhatItWroteOfTheParametersBeforeABadIndex)
{
    std::ostringstream stream;
    stream << "before#";

    EXPECT_FALSE(PackDynamicPara(stream, App("a", 0, {}, {{1, {"v"}}, {3, {"w"}}})));

    EXPECT_EQ(stream.str(), "before#2#1#1#v#");
    EXPECT_THAT(platform::Records(), ElementsAre(ClientError("ChangeAppState pack request failed, "
                                                             "dynamicPara key=3")));
}

TEST_F(ChangeWriter, WritesParametersBehindWhatIsThere)
{
    std::ostringstream stream;
    stream << "before#";

    EXPECT_TRUE(PackDynamicPara(stream, App("a", 0, {}, {{1, {"v", "w"}}})));

    EXPECT_EQ(stream.str(), "before#1#1#2#v#w#");
    EXPECT_THAT(platform::Records(), IsEmpty());
}

}  // namespace
