// The agent's packer, and how its items are cut into records.
#include "tests/wire/process_manager_test.h"

namespace {

using namespace ProcMgr::Message;
using namespace ProcMgr::Serialization;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

using Items = std::vector<std::pair<unsigned int, std::string>>;

constexpr auto kType = static_cast<RequestType>(5);

class AppStateWriter : public ProcessManagerTest {
protected:
    // An application whose item is `size` bytes long: nine of them are numbers and separators.
    static AppStateInfo OfSize(size_t size) { return {std::string(size - 9, 'n'), 1, 2, 3, 4}; }

    Items items;
};

TEST_F(AppStateWriter, MakesOneItemForEachApplication)
{
    EXPECT_TRUE(ProcMgrPackAppStateRequest({{"a", 1, 2, 3, 4}, {"b", 0, 0, 0, 4294967295}}, items));

    EXPECT_THAT(items, ElementsAre(Pair(10u, "a#1#2#3#4#"), Pair(19u, "b#0#0#0#4294967295#")));
}

TEST_F(AppStateWriter, MakesNothingOfAnEmptyList)
{
    EXPECT_TRUE(ProcMgrPackAppStateRequest({}, items));

    EXPECT_THAT(items, IsEmpty());
}

TEST_F(AppStateWriter, PassesAnItemOf3959Bytes)
{
    EXPECT_TRUE(ProcMgrPackAppStateRequest({OfSize(3959)}, items));

    EXPECT_THAT(items, SizeIs(1));
    EXPECT_EQ(items[0].first, 3959u);
}

TEST_F(AppStateWriter, FailsAtAnItemOf3960BytesAndKeepsTheItemsBefore)
{
    EXPECT_FALSE(ProcMgrPackAppStateRequest({{"a", 0, 0, 0, 0}, OfSize(3960)}, items));

    EXPECT_THAT(items, ElementsAre(Pair(10u, "a#0#0#0#0#")));
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgrAgent : PackAppStateRequest failed=" + std::string(3951, 'n') +
                    "#1#2#3#4#, size=3960 bytes beyond the "
                    "PM_PIPE_BUF_MAX!!")));
}

TEST_F(AppStateWriter, AppendsToTheItemsThatAreThere)
{
    items = {{2, "z#"}};

    EXPECT_TRUE(ProcMgrPackAppStateRequest({{"a", 1, 2, 3, 4}}, items));

    EXPECT_THAT(items, ElementsAre(Pair(2u, "z#"), Pair(10u, "a#1#2#3#4#")));
}

TEST_F(AppStateWriter, PassesItemsThatNoRecordTakes)
{
    for (const size_t size : {size_t{3955}, size_t{3956}, size_t{3959}}) {
        items.clear();
        platform::ClearHistory();
        std::vector<RequestMsg> msgs;

        EXPECT_TRUE(ProcMgrPackAppStateRequest({OfSize(size)}, items));
        EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

        const bool isTaken = size == 3955;
        EXPECT_THAT(msgs, SizeIs(isTaken ? 1 : 0)) << size;
        EXPECT_THAT(platform::Records(), SizeIs(isTaken ? 0 : 1)) << size;
    }
}

class RecordCutter : public ProcessManagerTest {
protected:
    static std::pair<unsigned int, std::string> OfSize(unsigned int size)
    {
        return {size, std::string(size, 'i')};
    }

    std::vector<RequestMsg> msgs;
};

TEST_F(RecordCutter, FailsForAnEmptyList)
{
    Items items;

    EXPECT_FALSE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    EXPECT_THAT(msgs, IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError("CombinePiecesMsg failed: packedRequest is empty!!")));
}

TEST_F(RecordCutter, PutsTheTypeAndTheCountInFrontOfTheSortedItems)
{
    Items items = {{4, "ccc#"}, {2, "b#"}, {2, "a#"}};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_EQ(msgs[0].type, kType);
    EXPECT_EQ(PayloadOf(msgs[0]), "3#a#b#ccc#");
    EXPECT_EQ(items.front().second, "a#");
}

TEST_F(RecordCutter, KeepsItemsOf3955BytesInAllTogether)
{
    Items items = {OfSize(1955), OfSize(2000)};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_EQ(msgs[0].size, 3957u);
}

TEST_F(RecordCutter, OpensASecondRecordForOneByteMore)
{
    Items items = {OfSize(1956), OfSize(2000)};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(2));
    EXPECT_EQ(msgs[0].size, 1958u);
    EXPECT_EQ(msgs[1].size, 2002u);
}

TEST_F(RecordCutter, TakesAnItemOf3955BytesWithItsCount)
{
    Items items = {OfSize(3955)};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_EQ(PayloadOf(msgs[0]), "1#" + std::string(3955, 'i'));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(RecordCutter, HasRoomForTheLargestCount)
{
    Items items(3955, {1, "#"});

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_EQ(PayloadOf(msgs[0]), "3955#" + std::string(3955, '#'));
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(RecordCutter, AppendsItsRecordsAllOfItsType)
{
    msgs.push_back(RecordWith("before"));
    Items items = {OfSize(3000), OfSize(3001)};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(3));
    EXPECT_EQ(PayloadOf(msgs[0]), "before");
    EXPECT_EQ(msgs[1].type, kType);
    EXPECT_EQ(msgs[2].type, kType);
}

TEST_F(RecordCutter, ClearsAndFillsTheWholeCapacity)
{
    Items items = {{2, "a#"}};

    ProcMgrCombinePiecesMsg(kType, items, msgs);

    EXPECT_THAT(platform::Calls({"memset_s", "memcpy_s"}),
                ElementsAre("memset_s(3964,3964)=0", "memcpy_s(3964,4)=0"));
}

TEST_F(RecordCutter, DropsAnItemThatThePackerHasPassed)
{
    Items items = {OfSize(3956), OfSize(10)};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_EQ(msgs[0].size, 12u);
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_WARNING,
                                         "ProcMgrAgent : packedRequest=3956 bytes beyond the "
                                         "PM_PIPE_BUF_MAX!")));
}

TEST_F(RecordCutter, MakesNoRecordWhereNoItemFits)
{
    Items items = {OfSize(3956), OfSize(4000)};

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    EXPECT_THAT(msgs, IsEmpty());
}

TEST_F(RecordCutter, AppendsTheRecordWhoseCopyFails)
{
    Items items = {{2, "a#"}};
    platform::FailCopies([](std::size_t count) { return count == 4; }, 34);

    EXPECT_TRUE(ProcMgrCombinePiecesMsg(kType, items, msgs));

    ASSERT_THAT(msgs, SizeIs(1));
    EXPECT_EQ(msgs[0].size, 4u);
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogError(
                    "ProcMgrCombineMsg failed memcpy_s failed: strSize=4 bytes, ret=34")));
}

TEST(ProcessManagerRecord, IsAllZeroWhenNew)
{
    const RequestMsg msg;
    char bytes[sizeof(msg)];
    std::memcpy(bytes, &msg, sizeof(msg));

    EXPECT_THAT(std::string(bytes, sizeof(bytes)), std::string(3984, '\0'));
    EXPECT_TRUE(std::is_trivially_copyable_v<RequestMsg>);
    EXPECT_EQ(alignof(RequestMsg), 8u);
}

}  // namespace
