// The pure pieces: names, numbers, slots.
#include <gtest/gtest.h>

#include <string>

#include "platform/hosted/descriptor_numbers.h"
#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/message.h"

using namespace hosted;

TEST(EndpointStem, EncodesWhatAFileNameCannotHold)
{
    EXPECT_EQ(EndpointStem("dp:/res/pm/appmgr"), "dp%3a%2fres%2fpm%2fappmgr");
    EXPECT_EQ(EndpointStem("../x"), "%2e.%2fx");
    EXPECT_EQ(EndpointStem("."), "%2e");
    EXPECT_EQ(EndpointStem("a%b"), "a%25b");
    EXPECT_EQ(EndpointStem("\xff\n"), "%ff%0a");
}

TEST(EndpointStem, KeepsCaseAndPlainCharacters)
{
    EXPECT_EQ(EndpointStem("Az09-_.x"), "Az09-_.x");
}

TEST(EndpointStem, OfLongNamesFitsAFileName)
{
    const std::string name(4000, '/');

    EXPECT_LE(RecordFileName(name).size(), 255U);
    EXPECT_EQ(EndpointStem(name).rfind("%long-", 0), 0U);
}

TEST(EndpointStem, OfLongNamesDiffersInTheLastByte)
{
    const std::string common(3999, 'x');

    EXPECT_NE(EndpointStem(common + "a"), EndpointStem(common + "b"));
}

TEST(EndpointStem, OfAShortNameNeverLooksLikeALongOnes)
{
    EXPECT_EQ(EndpointStem("%long-0"), "%25long-0");
}

TEST(DescriptorNumbers, TheThreeRangesDoNotMeet)
{
    const auto last = [](DescriptorRange range) {
        return NumberOf({range, kSlotsPerRange - 1});
    };

    EXPECT_LT(last(DescriptorRange::kReadWrite), static_cast<int>(DescriptorRange::kReadOnly));
    EXPECT_LT(last(DescriptorRange::kReadOnly), static_cast<int>(DescriptorRange::kQueue));
    EXPECT_GT(last(DescriptorRange::kQueue), 0);
    EXPECT_GT(static_cast<int>(DescriptorRange::kReadWrite), 1 << 20);
}

TEST(DescriptorNumbers, LeadBackToTheirPlace)
{
    const auto place = PlaceOf(NumberOf({DescriptorRange::kReadOnly, 17}));

    ASSERT_TRUE(place.has_value());
    EXPECT_EQ(place->range, DescriptorRange::kReadOnly);
    EXPECT_EQ(place->slot, 17);
    EXPECT_FALSE(PlaceOf(-1).has_value());
    EXPECT_FALSE(PlaceOf(3).has_value());
    EXPECT_FALSE(PlaceOf(NumberOf({DescriptorRange::kQueue, kSlotsPerRange})).has_value());
}

TEST(SlotSet, GivesTheLowestFreeSlotFirst)
{
    SlotSet slots;
    for (int expected = 0; expected < 130; ++expected) {
        ASSERT_EQ(slots.TakeLowest(), expected);
    }

    slots.Release(100);
    slots.Release(7);

    EXPECT_EQ(slots.TakeLowest(), 7);
    EXPECT_EQ(slots.TakeLowest(), 100);
    EXPECT_EQ(slots.TakeLowest(), 130);
}

TEST(SlotSet, EndsAtItsLimit)
{
    SlotSet slots;
    for (int i = 0; i < kSlotsPerRange; ++i) {
        ASSERT_TRUE(slots.TakeLowest().has_value());
    }

    EXPECT_FALSE(slots.TakeLowest().has_value());
}

TEST(Message, IsSentUpToItsLastByteThatIsNotZero)
{
    for (const size_t size : {0U, 1U, 7U, 8U, 9U, 63U, 64U, 65U, 511U, 512U, 513U, 1100U}) {
        std::vector<std::byte> payload(size);
        EXPECT_EQ(SizeWithoutZeros(payload), 0U);
        for (size_t at = 0; at < size; ++at) {
            payload.assign(size, std::byte{0});
            payload[0] = std::byte{1};
            payload[at] = std::byte{0x80};
            ASSERT_EQ(SizeWithoutZeros(payload), at + 1) << "of " << size;
        }
    }
}

TEST(Message, IsWholeOnlyWithExactlyItsPayload)
{
    std::byte bytes[sizeof(MessageHeader) + 8] = {};
    const MessageHeader sent = {kMessageMagic, kProtocolVersion, 0, 1, 2, 8, 0, 0};
    std::memcpy(bytes, &sent, sizeof sent);
    MessageHeader header;

    EXPECT_TRUE(IsWholeMessage(bytes, sizeof bytes, &header));
    EXPECT_FALSE(IsWholeMessage(bytes, sizeof bytes - 1, &header));
    EXPECT_FALSE(IsWholeMessage(bytes, sizeof bytes + 1, &header));
    EXPECT_FALSE(IsWholeMessage(bytes, sizeof header - 1, &header));
    EXPECT_FALSE(IsWholeMessage(bytes, kMaxMessage + 1, &header));
}
