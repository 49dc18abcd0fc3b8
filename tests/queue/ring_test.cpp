// The ring's steps: in all schedules of its two ends, and against what the other end may make up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "platform/hosted/queue_ring.h"
#include "tests/queue/ring_model.h"

using hosted::RingEntry;
using hosted::RingReader;
using hosted::RingWriter;
using hosted::TakeEnd;

namespace {

constexpr uint32_t kSlots = 2;
constexpr uint32_t kEntries = 3;  // so that a slot is used again

using Numbers = std::vector<uint32_t>;

// Tries each of the entries once, as an owner does; those that found room.
Numbers WriteAll(const History& history)
{
    Course course(history);
    RingWriter<ModelMemory> writer(ModelMemory(course), kSlots);
    Numbers written;
    for (uint32_t i = 1; i <= kEntries; ++i) {
        EXPECT_TRUE(writer.Consumed());
        if (!writer.IsFull()) {
            writer.Push({0, i, 10 * i});
            written.push_back(i);
        }
    }
    return written;
}

// Consumes entries and sleeps when there is none, for ever or until it is stopped.
Numbers ReadAll(const History& history, Numbers* sofar)
{
    Course course(history);
    ModelMemory stop(course);
    RingReader<ModelMemory> reader(stop, kSlots);
    sofar->clear();
    while (true) {
        RingEntry entry;
        const TakeEnd taken = reader.Take(&entry);
        EXPECT_NE(taken, TakeEnd::kCorrupt);
        if (taken == TakeEnd::kTaken) {
            EXPECT_EQ(entry.size, 10 * entry.block);  // written whole before it is read
            sofar->push_back(entry.block);
            reader.Release();
        } else if (stop.LoadStop()) {
            return *sofar;
        } else {
            reader.Sleep([&] { return stop.LoadStop(); });
        }
    }
}

// What the reader has got where it stands.
Numbers ReadSoFar(const History& history)
{
    Numbers numbers;
    try {
        ReadAll(history, &numbers);
    } catch (const Step&) {
    }
    return numbers;
}

// Words that a test sets, and counts of the system calls.
struct Words {
    uint64_t tail = 0;
    uint64_t head = 0;
    uint32_t flag = hosted::kAwake;
    RingEntry entry;
    int sleeps = 0;
    int wakes = 0;
};

struct WordsMemory {
    Words* words;

    uint64_t LoadTail() { return words->tail; }
    void StoreTail(uint64_t tail) { words->tail = tail; }
    uint64_t LoadHead() { return words->head; }
    void StoreHead(uint64_t head) { words->head = head; }
    uint32_t LoadFlag() { return words->flag; }
    void StoreFlag(uint32_t flag) { words->flag = flag; }
    uint32_t ExchangeFlag(uint32_t flag) { return std::exchange(words->flag, flag); }
    void StoreEntry(uint32_t, const RingEntry& entry) { words->entry = entry; }
    RingEntry LoadEntry(uint32_t) { return words->entry; }
    void Sleep() { ++words->sleeps; }
    void Wake() { ++words->wakes; }
};

class Ring : public testing::Test {
protected:
    Words words_;
    RingWriter<WordsMemory> writer_{WordsMemory{&words_}, kSlots};
    RingReader<WordsMemory> reader_{WordsMemory{&words_}, kSlots};
    RingEntry entry_;
};

}  // namespace

TEST(RingSchedules, AllDeliverEachWrittenEntryOnceInOrderAndLoseNoWakeUp)
{
    size_t ends = 0;
    std::set<Numbers> outcomes;
    Explorer explorer(
        [](const History& history) { WriteAll(history); },
        [](const History& history) {
            Numbers numbers;
            ReadAll(history, &numbers);
        },
        [&](const std::array<History, 2>& histories, const std::array<bool, 2>& ended) {
            const Numbers written = WriteAll(histories[0]);
            EXPECT_TRUE(ended[0]);   // the writer never waits
            EXPECT_FALSE(ended[1]);  // the reader sleeps
            EXPECT_EQ(ReadSoFar(histories[1]), written);
            outcomes.insert(written);
            ++ends;
        });

    const size_t states = explorer.Explore();

    EXPECT_GT(states, 1000U);
    EXPECT_GT(ends, 1U);
    // From a reader that comes too late for the third to one that makes room for all.
    EXPECT_THAT(outcomes, testing::Contains(Numbers{1, 2}));
    EXPECT_THAT(outcomes, testing::Contains(Numbers{1, 2, 3}));
}

TEST(RingSchedules, AllLetAReaderThatIsStoppedEnd)
{
    size_t ends = 0;
    Explorer explorer(
        [](const History& history) {
            Course course(history);
            ModelMemory memory(course);
            memory.StoreStop();
            RingReader<ModelMemory>(memory, kSlots).Interrupt();
        },
        [](const History& history) {
            Numbers numbers;
            ReadAll(history, &numbers);
        },
        [&](const std::array<History, 2>&, const std::array<bool, 2>& ended) {
            EXPECT_TRUE(ended[0]);
            EXPECT_TRUE(ended[1]);
            ++ends;
        });

    explorer.Explore();

    EXPECT_GT(ends, 1U);
}

TEST(RingSchedules, WouldShowAWakeUpThatIsLost)
{
    // A writer that looks at the flag before it publishes: the error that the order of the steps
    // prevents.
    bool isLost = false;
    Explorer explorer(
        [](const History& history) {
            Course course(history);
            ModelMemory memory(course);
            const bool sleeps = memory.LoadFlag() == hosted::kAsleep;
            memory.StoreEntry(0, {0, 1, 10});
            memory.StoreTail(1);
            if (sleeps && memory.ExchangeFlag(hosted::kAwake) == hosted::kAsleep) {
                memory.Wake();
            }
        },
        [](const History& history) {
            Numbers numbers;
            ReadAll(history, &numbers);
        },
        [&](const std::array<History, 2>& histories, const std::array<bool, 2>&) {
            isLost = isLost || ReadSoFar(histories[1]).empty();
        });

    explorer.Explore();

    EXPECT_TRUE(isLost);
}

TEST_F(Ring, MakesNoSystemCallForAReaderThatIsAwake)
{
    writer_.Push({0, 1, 1});
    writer_.Push({0, 2, 1});

    EXPECT_EQ(words_.wakes, 0);
}

TEST_F(Ring, WakesASleepingReaderOnceForSeveralEntries)
{
    words_.flag = hosted::kAsleep;

    writer_.Push({0, 1, 1});
    writer_.Push({0, 2, 1});

    EXPECT_EQ(words_.wakes, 1);
    EXPECT_EQ(words_.flag, hosted::kAwake);
}

TEST_F(Ring, TakesAnyOtherFlagForAwake)
{
    words_.flag = 7;

    writer_.Push({0, 1, 1});

    EXPECT_EQ(words_.wakes, 0);
}

TEST_F(Ring, IsFullAfterAsManyEntriesAsSlots)
{
    writer_.Push({0, 1, 1});
    EXPECT_FALSE(writer_.IsFull());
    writer_.Push({0, 2, 1});
    EXPECT_TRUE(writer_.IsFull());

    words_.head = 1;
    EXPECT_EQ(writer_.Consumed(), 1U);
    EXPECT_FALSE(writer_.IsFull());
}

TEST_F(Ring, IsCorruptWhenMoreIsConsumedThanWasWritten)
{
    writer_.Push({0, 1, 1});

    words_.head = 2;
    EXPECT_FALSE(writer_.Consumed());
    words_.head = std::numeric_limits<uint64_t>::max();
    EXPECT_FALSE(writer_.Consumed());
    words_.head = uint64_t{1} << 63U;
    EXPECT_FALSE(writer_.Consumed());
    words_.head = 1;
    EXPECT_EQ(writer_.Consumed(), 1U);
}

TEST_F(Ring, IsCorruptWhenAnAcknowledgementIsTakenBack)
{
    writer_.Push({0, 1, 1});
    writer_.Push({0, 2, 1});
    words_.head = 2;
    ASSERT_EQ(writer_.Consumed(), 2U);

    words_.head = 1;

    EXPECT_FALSE(writer_.Consumed());
}

TEST_F(Ring, IsCorruptForTheReaderWhenMoreWaitsThanThereAreSlots)
{
    words_.tail = 3;
    EXPECT_EQ(reader_.Take(&entry_), TakeEnd::kCorrupt);
    words_.tail = std::numeric_limits<uint64_t>::max();
    EXPECT_EQ(reader_.Take(&entry_), TakeEnd::kCorrupt);
    words_.tail = 2;
    EXPECT_EQ(reader_.Take(&entry_), TakeEnd::kTaken);
}

TEST_F(Ring, GivesTheSameEntryUntilItIsReleased)
{
    writer_.Push({1, 2, 3});
    ASSERT_EQ(reader_.Take(&entry_), TakeEnd::kTaken);
    ASSERT_EQ(reader_.Take(&entry_), TakeEnd::kTaken);
    EXPECT_EQ(words_.head, 0U);

    reader_.Release();

    EXPECT_EQ(words_.head, 1U);
    EXPECT_EQ(reader_.Take(&entry_), TakeEnd::kEmpty);
}

TEST_F(Ring, LetsAReaderSleepOnlyWhenThereIsNothing)
{
    reader_.Sleep([] { return false; });
    EXPECT_EQ(words_.sleeps, 1);

    reader_.Sleep([] { return true; });
    writer_.Push({0, 1, 1});
    reader_.Sleep([] { return false; });

    EXPECT_EQ(words_.sleeps, 1);
    EXPECT_EQ(words_.flag, hosted::kAwake);
}

TEST(ShortEntries, CarryUpToEightBytes)
{
    const std::array<std::byte, 8> bytes = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4},
                                            std::byte{5}, std::byte{6}, std::byte{7}, std::byte{8}};
    for (uint32_t size = 0; size <= bytes.size(); ++size) {
        const RingEntry entry = hosted::ShortEntry({bytes.data(), size});

        hosted::ShortBytes expected = {};
        std::copy_n(bytes.begin(), size, expected.begin());
        EXPECT_EQ(entry.size, hosted::kShortEntry | size);
        EXPECT_EQ(hosted::BytesOf(entry), expected);
    }
}
