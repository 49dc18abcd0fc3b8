#include "tests/wire/codec_test.h"

namespace {

using namespace Ownerlink::Serialization;
using ProcMgr::OwnerlinkRequestMsg;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Item = std::pair<unsigned int, std::string>;
using Items = std::vector<Item>;

Item ItemOf(std::size_t length, char fill = 'x')
{
    return {static_cast<unsigned int>(length), std::string(length - 1, fill) + "#"};
}

Items ItemsOf(const std::vector<std::size_t>& lengths)
{
    Items items;
    for (const std::size_t length : lengths) {
        items.push_back(ItemOf(length));
    }
    return items;
}

class RecordWindows : public PlatformTest {
protected:
    std::vector<unsigned int> WindowsOf(const std::vector<std::size_t>& lengths)
    {
        std::vector<unsigned int> windows;
        CalculateWindows(ItemsOf(lengths), windows);
        return windows;
    }

    bool Combine(Items items) { return ProcMgrCombinePiecesMsg(items, records_); }

    std::vector<OwnerlinkRequestMsg> records_;
};

TEST_F(RecordWindows, OfNoItemsAreNone)
{
    EXPECT_THAT(WindowsOf({}), IsEmpty());
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(RecordWindows, HoldItemsUpTo3887Bytes)
{
    EXPECT_THAT(WindowsOf({1887, 2000}), ElementsAre(2U));
    EXPECT_THAT(WindowsOf({1888, 2000}), ElementsAre(1U, 1U));
    EXPECT_THAT(WindowsOf({3887}), ElementsAre(1U));
}

TEST_F(RecordWindows, AreFilledWithoutALookAhead)
{
    EXPECT_THAT(WindowsOf({2000, 2000, 3000}), ElementsAre(1U, 1U, 1U));
    EXPECT_THAT(WindowsOf({100, 3000, 3000, 700}), ElementsAre(2U, 2U));
    EXPECT_THAT(WindowsOf({500, 3500, 100}), ElementsAre(1U, 2U));
}

TEST_F(RecordWindows, HoldManySmallItems)
{
    EXPECT_THAT(WindowsOf(std::vector<std::size_t>(8000, 1)), ElementsAre(3887U, 3887U, 226U));
}

TEST_F(RecordWindows, TakeTheLengthsAsTheyAreGiven)
{
    std::vector<unsigned int> windows;

    CalculateWindows({{0, ""}, {3887, "short"}, {1, "much longer than its length"}}, windows);

    EXPECT_THAT(windows, ElementsAre(2U, 1U));
}

TEST_F(RecordWindows, AreAddedToWhatIsThere)
{
    std::vector<unsigned int> windows = {9};

    CalculateWindows(ItemsOf({10}), windows);

    EXPECT_THAT(windows, ElementsAre(9U, 1U));
}

TEST_F(RecordWindows, EndAtTheFirstOversizedItem)
{
    EXPECT_THAT(WindowsOf({10, 20, 3888, 5000}), ElementsAre(2U));

    EXPECT_THAT(platform::Records(),
                ElementsAre(FromUnit("OwnerlinkSerialization",
                                     WarningRecord(54,
                                                   "CalculateWindows : packedRequest="
                                                   "3888bytes >= 3888bytes!"))));
}

TEST_F(RecordWindows, AreNoneWhereTheFirstItemIsOversized)
{
    EXPECT_THAT(WindowsOf({4000}), IsEmpty());

    EXPECT_THAT(platform::Warnings(),
                ElementsAre("CalculateWindows : packedRequest=4000bytes >= 3888bytes!"));
}

TEST_F(RecordWindows, TakeNoSumThatCouldWrap)
{
    std::vector<unsigned int> windows;

    CalculateWindows({{1, "#"}, {UINT32_MAX, "#"}}, windows);

    EXPECT_THAT(windows, ElementsAre(1U));
}

class CombinedPieces : public RecordWindows {};

TEST_F(CombinedPieces, OfNoItemsFail)
{
    EXPECT_FALSE(Combine({}));

    EXPECT_THAT(records_, IsEmpty());
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(ClientError("ProcMgrCombinePiecesMsg failed: packedRequest is empty!!")));
}

TEST_F(CombinedPieces, AreSortedByLengthAndThenByBytes)
{
    Items items = {{3, "bb#"}, {2, "z#"}, {3, "aa#"}, {3, "\xff\x01#"}, {3, "Zz#"}};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(items, records_));

    EXPECT_THAT(items, ElementsAre(Item{2, "z#"}, Item{3, "Zz#"}, Item{3, "aa#"}, Item{3, "bb#"},
                                   Item{3, "\xff\x01#"}));
    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(TextOf(records_[0]), "5#z#Zz#aa#bb#\xff\x01#");
}

TEST_F(CombinedPieces, OfEqualItemsAreAllSent)
{
    EXPECT_TRUE(Combine({{2, "a#"}, {2, "a#"}}));

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(TextOf(records_[0]), "2#a#a#");
}

TEST_F(CombinedPieces, OverflowOneWindowAfterAnother)
{
    EXPECT_TRUE(Combine({ItemOf(3000), ItemOf(2000, 'b'), ItemOf(2000, 'a')}));

    ASSERT_EQ(records_.size(), 3U);
    EXPECT_EQ(TextOf(records_[0]), "1#" + ItemOf(2000, 'a').second);
    EXPECT_EQ(TextOf(records_[1]), "1#" + ItemOf(2000, 'b').second);
    EXPECT_EQ(TextOf(records_[2]), "1#" + ItemOf(3000).second);
    EXPECT_EQ(records_[2].size, 3002U);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(CombinedPieces, HaveTheCountOfTheirRecordInFront)
{
    EXPECT_TRUE(Combine(ItemsOf({1000, 1000, 1000, 1000, 1000})));

    ASSERT_EQ(records_.size(), 2U);
    EXPECT_EQ(TextOf(records_[0]).substr(0, 2), "3#");
    EXPECT_EQ(TextOf(records_[1]).substr(0, 2), "2#");
}

TEST_F(CombinedPieces, ComeWithTheValuesOfNewRecords)
{
    EXPECT_TRUE(Combine({{2, "a#"}}));

    const auto expected = RequestWithText("1#a#");
    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(std::memcmp(records_.data(), &expected, sizeof(expected)), 0);
}

TEST_F(CombinedPieces, AreAddedToWhatIsThere)
{
    records_.push_back(RequestWithText("old"));

    EXPECT_TRUE(Combine({{2, "a#"}}));

    ASSERT_EQ(records_.size(), 2U);
    EXPECT_EQ(TextOf(records_[0]), "old");
    EXPECT_EQ(TextOf(records_[1]), "1#a#");
}

TEST_F(CombinedPieces, FillARecordToItsLastByte)
{
    EXPECT_TRUE(Combine({ItemOf(3886)}));

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(records_[0].size, 3888U);
    EXPECT_EQ(TextOf(records_[0]), "1#" + ItemOf(3886).second);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

// The count is not reckoned into a window, so that its text may not fit. The record goes out all
// the same, for the owner to refuse.
TEST_F(CombinedPieces, OverflowARecordWhereTheCountNoLongerFits)
{
    EXPECT_TRUE(Combine({ItemOf(3887)}));

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(records_[0].size, 3889U);
    EXPECT_THAT(records_[0].data, Each('\0'));
    EXPECT_EQ(records_[0].timeout, 5000);
    EXPECT_EQ(records_[0].reserved, 0U);
    EXPECT_THAT(platform::Records(),
                ElementsAre(ClientError("ProcMgrCombineMsg failed memcpy_s failed: "
                                        "strSize=3889 bytes, ret=" +
                                        std::to_string(ERANGE))));
}

TEST_F(CombinedPieces, OverflowARecordOfManyItemsWithALongerCount)
{
    EXPECT_TRUE(Combine(Items(1295, {3, "ab#"})));

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(records_[0].size, 3890U);  // 3885 bytes of items behind "1295#"
}

TEST_F(CombinedPieces, GoOnBehindARecordThatOverflowed)
{
    EXPECT_TRUE(Combine(ItemsOf({1943, 1944, 3000})));

    ASSERT_EQ(records_.size(), 2U);
    EXPECT_EQ(records_[0].size, 3889U);
    EXPECT_EQ(TextOf(records_[1]), "1#" + ItemOf(3000).second);
}

TEST_F(CombinedPieces, OfOversizedItemsAloneSucceedWithoutARecord)
{
    EXPECT_TRUE(Combine(ItemsOf({5000, 3888})));

    EXPECT_THAT(records_, IsEmpty());
    EXPECT_THAT(platform::Warnings(),
                ElementsAre("CalculateWindows : packedRequest=3888bytes >= 3888bytes!"));
}

TEST_F(CombinedPieces, LoseTheOversizedOnesBehindTheOthers)
{
    EXPECT_TRUE(Combine({ItemOf(3888), {2, "b#"}, {2, "a#"}}));

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(TextOf(records_[0]), "2#a#b#");
    EXPECT_THAT(platform::Warnings(),
                ElementsAre("CalculateWindows : packedRequest=3888bytes >= 3888bytes!"));
}

class CombinedMessage : public RecordWindows {};

TEST_F(CombinedMessage, IsTheCountAndTheText)
{
    ProcMgrCombineMsg(12, "some#text#", records_);

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(TextOf(records_[0]), "12#some#text#");
    EXPECT_EQ(records_[0].size, 13U);
}

TEST_F(CombinedMessage, ClearsAndCopiesWithTheWholeCapacity)
{
    ProcMgrCombineMsg(1, "a#", records_);

    EXPECT_THAT(platform::Calls({"memset_s", "memcpy_s"}),
                ElementsAre("memset_s(3888,3888)=0", "memcpy_s(3888,4)=0"));
}

TEST_F(CombinedMessage, IsAppendedThoughItsCopyFailed)
{
    platform::SetNext("memcpy_s", {platform::Fails(EINVAL)});

    ProcMgrCombineMsg(1, "a#", records_);

    ASSERT_EQ(records_.size(), 1U);
    EXPECT_EQ(records_[0].size, 4U);
    EXPECT_THAT(platform::Records(),
                ElementsAre(ClientError("ProcMgrCombineMsg failed memcpy_s failed: "
                                        "strSize=4 bytes, ret=22")));
}

}  // namespace
