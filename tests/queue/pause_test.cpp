// How a reader waits: when it naps between entries, and when it sleeps.

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/hosted/queue_pause.h"

namespace {

using std::chrono::microseconds;
using testing::ElementsAre;

struct TestSystem;
using Pause = hosted::QueuePause<TestSystem>;

struct Clockwork {
    std::chrono::steady_clock::time_point now{std::chrono::hours(1)};
    microseconds ofASleep{0};
    microseconds ofANap{50};
    std::vector<std::string> steps;
};

struct TestSystem {
    std::chrono::steady_clock::time_point Now() const { return clockwork->now; }
    void Nap(microseconds time) const
    {
        EXPECT_EQ(time, Pause::kNap);
        clockwork->steps.emplace_back("nap");
        clockwork->now += clockwork->ofANap;
    }
    void Sleep() const
    {
        clockwork->steps.emplace_back("sleep");
        clockwork->now += clockwork->ofASleep;
    }

    Clockwork* clockwork;
};

class ReaderPause : public testing::Test {
protected:
    // An entry soon after the reader had begun to wait: it stands in a stream now.
    void EnterStream()
    {
        clockwork_.ofASleep = microseconds(20);
        pause_.Await();
        pause_.NoteEntry();
        clockwork_.steps.clear();
    }

    Clockwork clockwork_;
    Pause pause_{TestSystem{&clockwork_}};
};

TEST_F(ReaderPause, IsASleepAtFirst)
{
    pause_.Await();

    EXPECT_THAT(clockwork_.steps, ElementsAre("sleep"));
}

TEST_F(ReaderPause, IsASleepAfterAnEntryThatWasLongInComing)
{
    clockwork_.ofASleep = Pause::kStream;
    pause_.Await();
    pause_.NoteEntry();

    pause_.Await();

    EXPECT_THAT(clockwork_.steps, ElementsAre("sleep", "sleep"));
}

TEST_F(ReaderPause, IsANapAfterAnEntryThatCameSoon)
{
    EnterStream();

    pause_.Await();

    EXPECT_THAT(clockwork_.steps, ElementsAre("nap"));
}

TEST_F(ReaderPause, IsASleepAfterANapThatBroughtNothing)
{
    EnterStream();

    pause_.Await();
    pause_.Await();
    pause_.Await();

    EXPECT_THAT(clockwork_.steps, ElementsAre("nap", "sleep", "sleep"));
}

TEST_F(ReaderPause, IsANapForAsLongAsNapsBringEntries)
{
    EnterStream();

    for (int entry = 0; entry < 3; ++entry) {
        pause_.Await();
        pause_.NoteEntry();
    }

    EXPECT_THAT(clockwork_.steps, ElementsAre("nap", "nap", "nap"));
}

// Somebody else had the processor, perhaps the owner: the ring may be full now.
TEST_F(ReaderPause, IsANapAfterALongNap)
{
    EnterStream();
    clockwork_.ofANap = microseconds(3000);
    pause_.Await();
    pause_.NoteEntry();

    pause_.Await();

    EXPECT_THAT(clockwork_.steps, ElementsAre("nap", "nap"));
}

TEST_F(ReaderPause, IsASleepAfterEntriesThatTookLongToHandle)
{
    EnterStream();
    clockwork_.now += microseconds(1000);

    pause_.Await();

    EXPECT_THAT(clockwork_.steps, ElementsAre("sleep"));
}

}  // namespace
