#include <cstring>
#include <type_traits>
#include <vector>

#include "tests/wire/codec_test.h"
#include "wire/record_limits.h"

namespace {

using namespace ProcMgr;

template <typename Record>
class WireRecord : public ::testing::Test {
};

using Records = ::testing::Types<OwnerlinkRequestMsg, OwnerlinkResponseMsg>;
TYPED_TEST_SUITE(WireRecord, Records);

TYPED_TEST(WireRecord, HasTheLayoutThatBothEndsAgreeOn)
{
    EXPECT_EQ(sizeof(TypeParam), 3904U);
    EXPECT_EQ(alignof(TypeParam), 8U);
    EXPECT_EQ(offsetof(TypeParam, size), 0U);
    EXPECT_EQ(offsetof(TypeParam, timeout), 8U);
    EXPECT_EQ(offsetof(TypeParam, data), 12U);
    EXPECT_EQ(sizeof(TypeParam::data), 3888U);
    EXPECT_TRUE(std::is_trivially_copyable_v<TypeParam>);
    EXPECT_TRUE(std::is_standard_layout_v<TypeParam>);
}

TYPED_TEST(WireRecord, StartsWithATimeoutOf5000AndZeroesElsewhere)
{
    std::vector<unsigned char> expected(3904, 0);
    expected[8] = 0x88;  // 5000, the low byte first
    expected[9] = 0x13;

    const TypeParam record;

    EXPECT_EQ(std::memcmp(&record, expected.data(), expected.size()), 0);
}

TYPED_TEST(WireRecord, StartsSoOnUsedMemoryToo)
{
    alignas(TypeParam) unsigned char memory[sizeof(TypeParam)];
    std::memset(memory, 0xff, sizeof(memory));

    const auto* const record = new (memory) TypeParam;

    const TypeParam expected;
    EXPECT_EQ(std::memcmp(record, &expected, sizeof(expected)), 0);
}

TYPED_TEST(WireRecord, HasItsFieldsInHostByteOrder)
{
    TypeParam record;
    record.size = 0x0102;
    record.timeout = -1;
    unsigned char bytes[sizeof(record)];

    std::memcpy(bytes, &record, sizeof(record));

    EXPECT_EQ(bytes[0], 0x02);
    EXPECT_EQ(bytes[1], 0x01);
    EXPECT_EQ(bytes[8], 0xff);
    EXPECT_EQ(bytes[11], 0xff);
}

TEST(WireRecords, AreDistinctTypes)
{
    EXPECT_FALSE((std::is_same_v<OwnerlinkRequestMsg, OwnerlinkResponseMsg>));
}

TEST(WireRecords, HaveTheseNamedSizes)
{
    EXPECT_EQ(kRecordSize, 3904U);
    EXPECT_EQ(kDataOffset, 12U);
    EXPECT_EQ(kDataCapacity, 3888U);
    EXPECT_EQ(kItemsCapacity, 3887U);
}

TEST(ResponseSizes, AreOneToTheCapacity)
{
    EXPECT_FALSE(IsResponseSize(0));
    EXPECT_TRUE(IsResponseSize(1));
    EXPECT_TRUE(IsResponseSize(3888));
    EXPECT_FALSE(IsResponseSize(3889));
    EXPECT_FALSE(IsResponseSize(UINT64_MAX));
}

TEST(CommandNumbers, AreThoseOfTheTable)
{
    EXPECT_EQ(CHANGE_APP, 0U);
    EXPECT_EQ(SET_SYSTEM_STATE, 2U);
    EXPECT_EQ(RELOAD_CFG, 3U);
    EXPECT_EQ(DUMP_APP, 4U);
    EXPECT_EQ(STOP_ALL_APP, 5U);
    EXPECT_EQ(QUERY_APP_LIST, 6U);
    EXPECT_EQ(VERIFY_APP, 8U);
    EXPECT_EQ(QUERY_APP_STATE, 9U);
    EXPECT_EQ(CANCEL_SUSPEND, 10U);
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<OwnerlinkRequestType>, uint32_t>));
}

}  // namespace
