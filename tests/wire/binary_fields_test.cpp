#include "wire/binary_fields.h"

#include "tests/support/platform_test.h"

namespace {

using namespace ProcMgr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Data = char[kDataCapacity];

class FieldWriting : public PlatformTest {
protected:
    std::string Written() const { return {data_, writer_.Size()}; }

    // Leaves `left` bytes of room.
    void FillUpTo(std::size_t left)
    {
        ASSERT_TRUE(writer_.Write(std::string(kDataCapacity - left - sizeof(uint32_t), 'x')));
    }

    Data data_ = {};
    FieldWriter writer_{data_};
};

std::string Bytes(const char* text, std::size_t size)
{
    return {text, size};
}

TEST_F(FieldWriting, PutsNumbersInHostByteOrderWhereTheFormerFieldEnded)
{
    EXPECT_TRUE(writer_.Write(uint8_t{1}));
    EXPECT_TRUE(writer_.Write(uint32_t{0x01020304}));
    EXPECT_TRUE(writer_.Write(int32_t{-2}));

    EXPECT_EQ(Written(), Bytes("\1\4\3\2\1\xfe\xff\xff\xff", 9));
}

TEST_F(FieldWriting, PutsALengthInFrontOfAText)
{
    EXPECT_TRUE(writer_.Write(uint8_t{7}));
    EXPECT_TRUE(writer_.Write(std::string("abc")));

    EXPECT_EQ(Written(), Bytes("\7\3\0\0\0abc", 8));
    EXPECT_THAT(platform::Calls("memcpy_s"), ElementsAre("memcpy_s(3,3)=0"));
}

TEST_F(FieldWriting, PutsTheLengthAloneForAnEmptyText)
{
    EXPECT_TRUE(writer_.Write(std::string()));

    EXPECT_EQ(Written(), Bytes("\0\0\0\0", 4));
    EXPECT_THAT(platform::Calls("memcpy_s"), IsEmpty());
}

TEST_F(FieldWriting, FillsTheRecordToItsLastByte)
{
    FillUpTo(4);

    EXPECT_TRUE(writer_.Write(uint32_t{5}));

    EXPECT_EQ(writer_.Size(), kDataCapacity);
    EXPECT_FALSE(writer_.Write(uint8_t{0}));
}

TEST_F(FieldWriting, RefusesANumberThatPassesTheEnd)
{
    FillUpTo(3);

    EXPECT_FALSE(writer_.Write(uint32_t{0x01010101}));

    EXPECT_EQ(Bytes(data_ + kDataCapacity - 3, 3), Bytes("\0\0\0", 3));
    EXPECT_TRUE(writer_.Write(uint8_t{1}));
}

TEST_F(FieldWriting, RefusesATextThatPassesTheEnd)
{
    FillUpTo(6);

    EXPECT_FALSE(writer_.Write(std::string("abc")));

    EXPECT_EQ(Bytes(data_ + kDataCapacity - 2, 2), Bytes("\0\0", 2));
}

TEST_F(FieldWriting, RefusesATextWithoutRoomForItsLength)
{
    FillUpTo(3);

    EXPECT_FALSE(writer_.Write(std::string()));
}

TEST_F(FieldWriting, TakesATextThatEndsWithTheRecord)
{
    FillUpTo(7);

    EXPECT_TRUE(writer_.Write(std::string("abc")));

    EXPECT_EQ(writer_.Size(), kDataCapacity);
}

TEST_F(FieldWriting, FailsWithTheCopyOfAText)
{
    platform::SetNext("memcpy_s", {platform::Fails(EINVAL)});

    EXPECT_FALSE(writer_.Write(std::string("abc")));
}

// Up to the end of the record, its four reserved bytes included.
constexpr size_t kBytesBehindTheHead = 3892;

class FieldReading : public PlatformTest {
protected:
    FieldReader ReaderOf(const std::string& bytes)
    {
        std::copy_n(bytes.begin(), bytes.size(), record_.data);
        record_.size = bytes.size();
        return FieldReader(record_);
    }

    ProcMgr::OwnerlinkRequestMsg record_;
    std::string text_ = "before";
    uint32_t number_ = 99;
};

TEST_F(FieldReading, TakesUnalignedFields)
{
    FieldReader reader = ReaderOf(Bytes("\1\4\3\2\1\3\0\0\0abc\xfe\xff\xff\xff", 16));
    uint8_t small = 0;
    int32_t isSigned = 0;

    EXPECT_TRUE(reader.Read(small));
    EXPECT_TRUE(reader.Read(number_));
    EXPECT_TRUE(reader.Read(text_));
    EXPECT_TRUE(reader.Read(isSigned));

    EXPECT_EQ(small, 1);
    EXPECT_EQ(number_, 0x01020304U);
    EXPECT_EQ(text_, "abc");
    EXPECT_EQ(isSigned, -2);
    EXPECT_EQ(reader.Left(), 0U);
}

TEST_F(FieldReading, TakesAnEmptyText)
{
    FieldReader reader = ReaderOf(Bytes("\0\0\0\0", 4));

    EXPECT_TRUE(reader.Read(text_));

    EXPECT_EQ(text_, "");
}

TEST_F(FieldReading, ViewsATextWhereItLies)
{
    FieldReader reader = ReaderOf(Bytes("\3\0\0\0abc\4\0\0\0abc", 14));

    std::string_view text;
    EXPECT_TRUE(reader.Read(text));
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(text.data(), record_.data + 4);
    EXPECT_FALSE(reader.Read(text));
    EXPECT_EQ(text, "abc");
}

TEST_F(FieldReading, KeepsZeroBytesOfAText)
{
    FieldReader reader = ReaderOf(Bytes("\3\0\0\0a\0b", 7));

    EXPECT_TRUE(reader.Read(text_));

    EXPECT_EQ(text_, Bytes("a\0b", 3));
}

TEST_F(FieldReading, FindsNothingInAnEmptyPayload)
{
    FieldReader reader = ReaderOf("");

    EXPECT_EQ(reader.Left(), 0U);
    EXPECT_FALSE(reader.Read(number_));
    EXPECT_FALSE(reader.Read(text_));
    EXPECT_EQ(number_, 99U);
    EXPECT_EQ(text_, "before");
}

TEST_F(FieldReading, RefusesANumberThatPassesTheSize)
{
    FieldReader reader = ReaderOf(Bytes("\1\2\3", 3));

    EXPECT_FALSE(reader.Read(number_));

    EXPECT_EQ(number_, 99U);
}

TEST_F(FieldReading, RefusesATextThatPassesTheSize)
{
    FieldReader reader = ReaderOf(Bytes("\4\0\0\0abc", 7));

    EXPECT_FALSE(reader.Read(text_));

    EXPECT_EQ(text_, "before");
}

TEST_F(FieldReading, RefusesTheLargestLengthOfAText)
{
    FieldReader reader =
        ReaderOf(Bytes("\xff\xff\xff\xff"
                       "abc",
                       7));

    EXPECT_FALSE(reader.Read(text_));
}

// Whatever the size claims: the bytes behind the record belong to somebody else.
TEST_F(FieldReading, StopsAtTheEndOfTheRecord)
{
    for (const uint64_t size : {uint64_t{3892}, uint64_t{3893}, uint64_t{1} << 32, UINT64_MAX}) {
        record_.size = size;
        const FieldReader reader(record_);

        EXPECT_EQ(reader.Left(), kBytesBehindTheHead);
    }
}

TEST_F(FieldReading, RefusesATextThatPassesTheRecord)
{
    const uint32_t length = kBytesBehindTheHead - sizeof(uint32_t) + 1;
    std::memcpy(record_.data, &length, sizeof(length));
    record_.size = UINT64_MAX;
    FieldReader reader(record_);

    EXPECT_FALSE(reader.Read(text_));
}

TEST_F(FieldReading, TakesATextThatEndsWithTheRecord)
{
    const uint32_t length = kBytesBehindTheHead - sizeof(uint32_t);
    std::memcpy(record_.data, &length, sizeof(length));
    record_.size = kBytesBehindTheHead;
    FieldReader reader(record_);

    EXPECT_TRUE(reader.Read(text_));

    EXPECT_EQ(text_.size(), length);
    EXPECT_EQ(reader.Left(), 0U);
}

}  // namespace
