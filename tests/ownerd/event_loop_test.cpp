#include "tools/ownerd/event_loop.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>

#include "tools/ownerd/gathering.h"
#include "tools/ownerd/loop_call.h"

using namespace ownerd;
using testing::ElementsAre;

namespace {

const Work kNothing = [] {
};

void RunUntilStopped(EventLoop& loop)
{
    loop.Run(kNothing);
}

}  // namespace

TEST(EventLoop, RunsTimersInTheOrderOfTheirTimes)
{
    EventLoop loop;
    std::vector<int> order;
    Timer late(loop);
    Timer early(loop);
    Timer cleared(loop);
    const TimePoint now = Clock::now();
    late.Set(now + std::chrono::milliseconds(2), [&] {
        order.push_back(2);
        loop.Stop();
    });
    early.Set(now, [&] { order.push_back(1); });
    cleared.Set(now, [&] { order.push_back(0); });
    cleared.Clear();

    RunUntilStopped(loop);

    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_FALSE(late.IsSet());
}

TEST(EventLoop, LetsAHandlerCloseItsOwnDescriptor)
{
    EventLoop loop;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[1]);
    FdWatch watch;
    int calls = 0;
    watch = FdWatch(loop, UniqueFd(ends[0]), [&] {
        ++calls;
        watch.Reset();
        loop.Post([&] { loop.Stop(); });
    });

    RunUntilStopped(loop);

    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(watch);
}

TEST(EventLoop, DestroysWhatIsPostedBehindItsEnd)
{
    EventLoop loop;
    loop.Stop();
    RunUntilStopped(loop);
    auto held = std::make_shared<int>(1);

    loop.Post([held] {});

    EXPECT_EQ(held.use_count(), 1);
}

TEST(AskLoop, GivesBackWhatTheLoopAnswers)
{
    EventLoop loop;
    std::thread asker([&] {
        const auto answer = AskLoop<int>(loop, Clock::now() + std::chrono::minutes(1),
                                         [](const std::function<void(int)>& done) { done(7); });
        EXPECT_EQ(answer, 7);
        loop.Post([&] { loop.Stop(); });
    });

    RunUntilStopped(loop);
    asker.join();
}

TEST(AskLoop, GivesNothingWhenTheLoopHasEndedOrIsTooLate)
{
    EventLoop loop;
    const auto never = [](const std::function<void(int)>&) {
    };
    EXPECT_EQ(AskLoop<int>(loop, Clock::now(), never), std::nullopt);
    loop.Stop();
    RunUntilStopped(loop);

    EXPECT_EQ(AskLoop<int>(loop, Clock::now() + std::chrono::minutes(1), never), std::nullopt);
}

TEST(Gathering, FinishesOnceWithTheLastResult)
{
    EventLoop loop;
    std::vector<AppChangeState> states;
    int calls = 0;
    const auto gathering =
        std::make_shared<Gathering>(loop, [&](const Gathering::Results& results) {
            ++calls;
            for (const AppChangeInfo& result : results) {
                states.push_back(result.state);
            }
        });
    const auto first = gathering->Expect("a");
    const auto second = gathering->Expect("b");
    gathering->Add("c", START_FAILED);
    first(SUCCESS);
    gathering->Close(TimePoint::max());
    EXPECT_EQ(calls, 0);

    second(TERM_FAILED);
    gathering->Finish();

    EXPECT_EQ(calls, 1);
    EXPECT_THAT(states, ElementsAre(SUCCESS, TERM_FAILED, START_FAILED));
}

TEST(Gathering, AnswersAtItsDeadlineWithThoseThatAreNotDoneYet)
{
    EventLoop loop;
    Gathering::Results seen;
    std::function<void(AppChangeState)> late;
    {
        const auto gathering =
            std::make_shared<Gathering>(loop, [&](const Gathering::Results& results) {
                seen = results;
                loop.Stop();
            });
        late = gathering->Expect("a");
        gathering->Close(Clock::now());
    }

    RunUntilStopped(loop);
    late(SUCCESS);

    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].state, PROCESSING);
    EXPECT_FALSE(AreAllDone(seen));
}
