// What an owner's buffer clears ahead of a hook, and what it may leave because it is zero already.
#include "platform/hosted/message_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

using hosted::kMaxPayload;
using hosted::MessageBuffer;
using hosted::MessageHeader;

// Bytes that nobody has cleared yet.
std::unique_ptr<MessageBuffer> UsedBuffer()
{
    auto buffer = std::make_unique<MessageBuffer>();
    std::memset(buffer->Bytes(), 'x', hosted::kMaxMessage);
    return buffer;
}

std::string TextOf(MessageBuffer& buffer, size_t size)
{
    return {reinterpret_cast<const char*>(buffer.Payload()), size};
}

void Receive(MessageBuffer& buffer, const std::string& payload)
{
    std::memcpy(buffer.Payload(), payload.data(), payload.size());
    buffer.NoteReceived(sizeof(MessageHeader) + payload.size());
}

const std::string kThreeZeros(3, '\0');

TEST(MessageBuffer, ClearsWhatItKnowsNothingOf)
{
    const auto buffer = UsedBuffer();

    buffer->Clear(2, 5);

    EXPECT_EQ(TextOf(*buffer, 7), "xx" + kThreeZeros + "xx");
}

TEST(MessageBuffer, LeavesWhatIsZeroAlready)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(2, 5);

    buffer->Clear(2, 5);

    EXPECT_EQ(TextOf(*buffer, 5), "xxxxx") << "the claim was false, so that a write would show";
}

TEST(MessageBuffer, ClearsTheBytesAheadOfTheKnownZeros)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(4, 6);

    buffer->Clear(1, 6);

    EXPECT_EQ(TextOf(*buffer, 7), "x" + kThreeZeros + "xxx");
}

TEST(MessageBuffer, ClearsAllWhenTheKnownZerosEndTooSoon)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(1, 3);

    buffer->Clear(1, 4);

    EXPECT_EQ(TextOf(*buffer, 5), "x" + kThreeZeros + "x");
}

TEST(MessageBuffer, AMessageEndsTheZerosThatItOverwrites)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(0, 6);
    Receive(*buffer, "abcd");

    buffer->Clear(1, 6);

    EXPECT_EQ(TextOf(*buffer, 6), "a" + kThreeZeros + "xx");
}

TEST(MessageBuffer, AMessageBeyondTheZerosLeavesNoneOfThem)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(0, 2);
    Receive(*buffer, "abcd");

    buffer->Clear(0, 2);

    EXPECT_EQ(TextOf(*buffer, 4), std::string(2, '\0') + "cd");
}

TEST(MessageBuffer, AnythingShorterThanAHeaderOverwritesNoPayload)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(0, 3);

    buffer->NoteReceived(1);
    buffer->Clear(0, 3);

    EXPECT_EQ(TextOf(*buffer, 3), "xxx");
}

TEST(MessageBuffer, ForgetsTheZerosOnceAHookMayHaveWritten)
{
    const auto buffer = UsedBuffer();
    buffer->NoteZeros(0, 3);
    buffer->Clear(0, 3);

    buffer->Clear(0, 3);

    EXPECT_EQ(TextOf(*buffer, 3), kThreeZeros);
}

TEST(MessageBuffer, ClearsToTheLastByteOfALargestPayload)
{
    const auto buffer = UsedBuffer();

    buffer->Clear(0, kMaxPayload);

    EXPECT_EQ(TextOf(*buffer, kMaxPayload), std::string(kMaxPayload, '\0'));
}

}  // namespace
