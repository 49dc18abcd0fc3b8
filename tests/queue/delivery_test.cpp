// Events across processes: once, in order, to each subscriber by itself.
#include <cerrno>
#include <condition_variable>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "tests/queue/queue_world.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Delivery = HostedTest;

std::string Result(int error)
{
    return std::to_string(-error);
}

// Numbers from one on: those of few digits travel in the ring, others in blocks.
class DeliveryFrom : public HostedTest, public testing::WithParamInterface<int> {
protected:
    static std::string Report(int number) { return "report " + First(1, number); }
    // So many of them, from the one that is `offset` behind the parameter.
    static std::string First(int count, int offset = 0)
    {
        return Numbers(GetParam() + offset, count);
    }
};

INSTANTIATE_TEST_SUITE_P(Each, DeliveryFrom, testing::Values(0, 1000000000), [](const auto& first) {
    return first.param == 0 ? "ShortNumbers" : "LongNumbers";
});

// The threads that deliveries in this process came from.
struct Threads {
    std::mutex mutex;
    std::condition_variable changed;
    std::map<int, std::set<std::thread::id>> byDescriptor;
    int deliveries = 0;
};

Threads& TheThreads()
{
    static Threads* const threads = new Threads;  // readers outlive the test
    return *threads;
}

int NoteThread(int fd, void*, unsigned long)
{
    Threads& threads = TheThreads();
    const std::lock_guard<std::mutex> lock(threads.mutex);
    threads.byDescriptor[fd].insert(std::this_thread::get_id());
    ++threads.deliveries;
    threads.changed.notify_all();
    return 0;
}

}  // namespace

TEST_F(Delivery, ReachesASubscriberInAnotherProcess)
{
    QueueOwner owner;
    ASSERT_EQ(owner.FirstLine(), "ready");
    Subscriber subscriber;
    ASSERT_EQ(subscriber.FirstLine(), "ready");

    EXPECT_EQ(owner.Tell("report 258"), "0");

    EXPECT_EQ(subscriber.Tell("await 1"), "258");
}

TEST_P(DeliveryFrom, IsOnceAndInOrder)
{
    QueueOwner owner;
    Subscriber subscriber;

    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(owner.Tell("burst " + std::to_string(GetParam() + 100 * i) + " 100"), "0");
        EXPECT_EQ(subscriber.Tell("await " + std::to_string(100 * (i + 1))), First(100 * (i + 1)));
    }
}

TEST_P(DeliveryFrom, ToASlowSubscriberWithAFullRingFailsForThatOneAlone)
{
    QueueOwner owner;
    owner.Tell("pool 16 4000");
    Subscriber slow;
    Subscriber other;
    slow.Tell("block");
    owner.Tell(Report(0));
    ASSERT_EQ(slow.Tell("blocked"), "blocked");
    ASSERT_EQ(other.Tell("await 1"), First(1));

    // The one that it stands in has left the ring.
    for (int next = 1; next < 1025; next += 128) {
        ASSERT_EQ(owner.Tell("burst " + std::to_string(GetParam() + next) + " 128"), "0");
        ASSERT_EQ(other.Tell("await " + std::to_string(next + 128)), First(next + 128));
    }
    EXPECT_EQ(owner.Tell(Report(1025)), Result(EAGAIN) + ",0");

    EXPECT_EQ(other.Tell("await 1026"), First(1026));
    slow.Tell("unblock");
    EXPECT_EQ(slow.Tell("await 1025"), First(1025));
    EXPECT_EQ(owner.Tell("report 7"), "0,0");
    EXPECT_EQ(slow.Tell("await 1026"), First(1025) + ",7");
}

TEST_P(DeliveryFrom, ToASlowSubscriberWithADryPoolFailsForThatOneAlone)
{
    QueueOwner owner;
    owner.Tell("pool 160 3");
    Subscriber slow;
    Subscriber other;
    slow.Tell("block");
    owner.Tell(Report(0));
    ASSERT_EQ(slow.Tell("blocked"), "blocked");
    for (int i = 1; i < 4; ++i) {
        ASSERT_EQ(owner.Tell(Report(i)), "0,0");
        ASSERT_EQ(other.Tell("await " + std::to_string(i + 1)), First(i + 1));
    }

    EXPECT_EQ(owner.Tell(Report(4)), Result(ENOBUFS) + ",0");

    slow.Tell("unblock");
    EXPECT_EQ(slow.Tell("await 4"), First(4));
    EXPECT_EQ(owner.Tell("report 5"), "0,0");  // the blocks have come back
    EXPECT_EQ(slow.Tell("await 5"), First(4) + ",5");
}

TEST_F(Delivery, BringsTextsOfAnyLengthInOrder)
{
    QueueOwner owner;
    Subscriber subscriber;
    std::string all;

    for (int size = 1; size <= 32; ++size) {
        const std::string text(static_cast<size_t>(size), static_cast<char>('@' + size));
        ASSERT_EQ(owner.Tell("report " + text), "0");
        all += (all.empty() ? "" : ",") + text;
    }

    EXPECT_EQ(subscriber.Tell("await 32"), all);
}

TEST_F(Delivery, GoesToEachOfTwoSubscribers)
{
    QueueOwner owner;
    Subscriber first;
    Subscriber second;

    EXPECT_EQ(owner.Tell("report 1"), "0,0");
    EXPECT_EQ(owner.Tell("report 2"), "0,0");

    EXPECT_EQ(first.Tell("await 2"), "1,2");
    EXPECT_EQ(second.Tell("await 2"), "1,2");
}

TEST_F(Delivery, GoesToTwoDescriptorsOfOneProcess)
{
    QueueOwner owner;
    Subscriber subscriber;
    ASSERT_EQ(subscriber.Tell(std::string("subscribe ") + kQueue), "ready");

    EXPECT_EQ(owner.Tell("report 5"), "0,0");

    EXPECT_EQ(subscriber.Tell("await 2"), "5,5");
}

TEST_F(Delivery, BringsWhatTheOwnerReportedWithinItsOpenHook)
{
    QueueOwner owner;
    owner.Tell("report-in-open early");
    Subscriber subscriber;

    owner.Tell("report late");

    EXPECT_EQ(subscriber.Tell("await 2"), "early,late");
}

TEST_F(Delivery, WakesASleepingSubscriberEachTime)
{
    QueueOwner owner;
    Subscriber subscriber;

    for (int i = 0; i < 500; ++i) {
        owner.Tell("report " + std::to_string(i));
        ASSERT_EQ(subscriber.Tell("await " + std::to_string(i + 1)), Numbers(0, i + 1));
    }
}

TEST_F(Delivery, ToASubscriberThatIsClosingIsNoFailure)
{
    QueueOwner owner;
    Subscriber leaving;
    Subscriber other;
    ASSERT_EQ(owner.Tell("report 1"), "0,0");
    ASSERT_EQ(leaving.Tell("await 1"), "1");
    owner.Tell("hold-close");
    leaving.Tell("close");
    owner.Tell("held");

    EXPECT_EQ(owner.Tell("report 2"), "0,0");

    owner.Tell("release");
    EXPECT_EQ(owner.Tell("files 1"), "opens=2 closes=1");
    EXPECT_EQ(owner.Tell("report 3"), "0");
    EXPECT_EQ(other.Tell("await 3"), "1,2,3");
    EXPECT_EQ(leaving.Tell("await 1"), "1");
}

TEST_F(Delivery, ToASubscriberThatIsClosingBeforeItsFirstEventIsNoFailure)
{
    QueueOwner owner;
    auto leaving = std::make_unique<Subscriber>();
    ASSERT_EQ(leaving->FirstLine(), "ready");
    Subscriber other;
    owner.Tell("hold-close");
    leaving = nullptr;
    owner.Tell("held");

    EXPECT_EQ(owner.Tell("report 1"), "0,0");

    owner.Tell("release");
    EXPECT_EQ(owner.Tell("files 1"), "opens=2 closes=1");
    EXPECT_EQ(other.Tell("await 1"), "1");
}

TEST_F(Delivery, WaitsForNoHook)
{
    QueueOwner owner;
    Subscriber subscriber;
    ASSERT_EQ(subscriber.FirstLine(), "ready");
    owner.Tell("hold");
    auto open = std::async(std::launch::async, [] { return Open(kQueue); });
    owner.Tell("held");

    EXPECT_EQ(owner.Tell("report 1"), "0");
    EXPECT_EQ(subscriber.Tell("await 1"), "1");

    owner.Tell("release");
    EXPECT_GE(open.get().result, 0);
}

TEST_F(Delivery, ComesFromOneThreadForEachDescriptor)
{
    QueueOwner owner;
    const int first = OpenOrFail(kQueue);
    const int second = OpenOrFail(kQueue);
    ASSERT_EQ(IAMFastReadAsync(first, NoteThread), 0U);
    ASSERT_EQ(IAMFastReadAsync(second, NoteThread), 0U);

    ASSERT_EQ(owner.Tell("burst 0 100"), "0");

    Threads& threads = TheThreads();
    std::unique_lock<std::mutex> lock(threads.mutex);
    threads.changed.wait(lock, [&] { return threads.deliveries == 200; });
    EXPECT_EQ(threads.byDescriptor[first].size(), 1U);
    EXPECT_EQ(threads.byDescriptor[second].size(), 1U);
    EXPECT_NE(threads.byDescriptor[first], threads.byDescriptor[second]);
}

TEST_F(Delivery, OfMoreThanABlockHoldsIsRefused)
{
    QueueOwner owner;
    owner.Tell("pool 4 10");
    Subscriber subscriber;

    EXPECT_EQ(owner.Tell("report 12345"), Result(EMSGSIZE));
    EXPECT_EQ(owner.Tell("report 1234"), "0");

    EXPECT_EQ(subscriber.Tell("await 1"), "1234");
}

TEST_F(Delivery, SurvivesAnExceptionThatLeavesTheCallback)
{
    QueueOwner owner;
    Subscriber subscriber;
    subscriber.Tell("throw-inside");

    owner.Tell("report 1");
    owner.Tell("report 2");

    EXPECT_EQ(subscriber.Tell("await 2"), "1,2");
    EXPECT_THAT(subscriber.Log(), HasSubstr("exception left the reader of dp:/res/test/queue"));
}

TEST_F(Delivery, EndsWithTheClose)
{
    QueueOwner owner;
    Subscriber subscriber;
    Subscriber other;
    owner.Tell("report 1");
    ASSERT_EQ(subscriber.Tell("await 1"), "1");

    EXPECT_EQ(subscriber.Tell("close"), "0");
    EXPECT_EQ(subscriber.Tell("close"), FailedWith(EBADF));

    EXPECT_EQ(owner.Tell("files 1"), "opens=2 closes=1");
    EXPECT_EQ(owner.Tell("report 2"), "0");
    EXPECT_EQ(other.Tell("await 2"), "1,2");
    EXPECT_EQ(subscriber.Tell("await 1"), "1");
    EXPECT_TRUE(Eventually([&] { return subscriber.Tell("memories") == "0"; }));
}

TEST_F(Delivery, EndsWithAnEarlyCloseWhileTheCallbackBlocks)
{
    QueueOwner owner;
    Subscriber subscriber;
    subscriber.Tell("block");
    owner.Tell("burst 0 10");
    ASSERT_EQ(subscriber.Tell("blocked"), "blocked");

    EXPECT_EQ(subscriber.Tell("close"), "0");  // does not wait for the callback
    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
    subscriber.Tell("unblock");

    EXPECT_TRUE(Eventually([&] { return subscriber.Tell("memories") == "0"; }));
    EXPECT_EQ(subscriber.Tell("await 1"), "0");
}

TEST_F(Delivery, EndsWithACloseFromWithinTheCallback)
{
    QueueOwner owner;
    Subscriber subscriber;
    subscriber.Tell("close-inside");

    owner.Tell("burst 0 10");

    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
    EXPECT_TRUE(Eventually([&] { return subscriber.Tell("memories") == "0"; }));
    EXPECT_EQ(subscriber.Tell("await 1"), "0");
}
