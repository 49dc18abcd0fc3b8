// Owners and subscribers of queues in processes of their own.
#ifndef OWNERLINK_TESTS_QUEUE_QUEUE_WORLD_H
#define OWNERLINK_TESTS_QUEUE_QUEUE_WORLD_H

#include <cstdint>
#include <functional>
#include <string>

#include "platform/iam_queue.h"
#include "tests/hosted/world.h"

inline constexpr const char* kQueue = "dp:/res/test/queue";

// A test peer. What a sanitizer has found in it fails the test.
class QueuePeer : public OwnerProcess {
public:
    using OwnerProcess::OwnerProcess;
    ~QueuePeer() { EXPECT_THAT(Log(), testing::Not(testing::HasSubstr("Sanitizer"))); }
    QueuePeer(const QueuePeer&) = delete;
    QueuePeer& operator=(const QueuePeer&) = delete;
};

// A test peer that publishes a queue.
class QueueOwner : public QueuePeer {
public:
    explicit QueueOwner(const std::string& name = kQueue) : QueuePeer(name) {}
};

// A test peer that subscribes to one.
class Subscriber : public QueuePeer {
public:
    explicit Subscriber(const std::string& name = kQueue) : QueuePeer("subscribe " + name) {}
};

// Whether one of some attempts takes less than the two seconds that an exit waits at most: such a
// wait shows in each of them, a busy machine in some.
inline bool IsOnceBelowTheExitsLimit(const std::function<int64_t()>& attempt)
{
    return Eventually([&] { return attempt() < 1900; });
}

// "first,first+1,...": what a subscriber answers that got `count` numbers.
inline std::string Numbers(int first, int count)
{
    std::string numbers;
    for (int i = first; i < first + count; ++i) {
        numbers += (i == first ? "" : ",") + std::to_string(i);
    }
    return numbers;
}

inline std::string FailedWith(int error)
{
    return "failed " + std::to_string(error);
}

#endif
