// What comes from the other end is not believed by the subscriber either.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/queue/raw_queue_peer.h"

using hosted::QueueMessage;
using hosted::QueueMessageKind;
using hosted::SharedMemory;
using hosted::UniqueFd;
using testing::HasSubstr;

namespace {

struct Seen {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;
};

Seen& The()
{
    static Seen* const seen = new Seen;
    return *seen;
}

int OnEvent(int, void* buf, unsigned long count)
{
    const std::lock_guard<std::mutex> lock(The().mutex);
    The().events.emplace_back(static_cast<char*>(buf), count);
    The().changed.notify_all();
    return 0;
}

void AwaitEvents(size_t count)
{
    std::unique_lock<std::mutex> lock(The().mutex);
    The().changed.wait(lock, [&] { return The().events.size() >= count; });
}

class HostileOwner : public HostedTest {
protected:
    // What an open answers to an owner that behaves as `behave`.
    template <typename Behave>
    CallResult OpenAgainst(Behave behave)
    {
        auto open = std::async(std::launch::async, [] { return Open(kQueue); });
        UniqueFd socket = owner_.Accept();
        behave(socket);
        return open.get();
    }

    RawQueueOwner owner_;
};

// A life that lets the subscriber in, with a ring of 8 slots.
struct RawLife {
    UniqueFd socket;
    SharedMemory ring;

    explicit RawLife(UniqueFd accepted) : socket(std::move(accepted)), ring(SendRing(socket, 8))
    {
        SendVerdict(socket, 0);
    }

    hosted::SharedRingMemory Memory() const
    {
        return hosted::SharedRingMemory(ring.mapping.Bytes());
    }
    void Publish(uint64_t tail)
    {
        Memory().StoreTail(tail);
        if (Memory().ExchangeFlag(hosted::kAwake) == hosted::kAsleep) {
            Memory().Wake();
        }
    }
    bool IsLeft() const
    {
        char byte = 0;
        return recv(socket.Get(), &byte, 1, MSG_DONTWAIT) == 0;
    }
};

class HostileLife : public HostileOwner {
protected:
    void SetUp() override
    {
        auto open = std::async(std::launch::async, [] { return OpenOrFail(kQueue); });
        life_ = std::make_unique<RawLife>(owner_.Accept());
        fd_ = open.get();
        ASSERT_EQ(IAMFastReadAsync(fd_, OnEvent), 0U);
    }

    // The subscription gives this life up, and the next one serves it.
    void ExpectGivenUp()
    {
        EXPECT_TRUE(Eventually([&] { return life_->IsLeft(); }));
        RawLife next(owner_.Accept());
        const SharedMemory pool = SendPool(next.socket, 0, 8, 1);
        std::memcpy(pool.mapping.Bytes(), "good", 4);
        next.Memory().StoreEntry(0, {0, 0, 4});
        next.Publish(1);
        AwaitEvents(1);
        EXPECT_EQ(The().events, std::vector<std::string>{"good"});
        EXPECT_EQ(Close(fd_), (CallResult{0, 0}));
    }

    std::unique_ptr<RawLife> life_;
    int fd_ = -1;
};

}  // namespace

TEST_F(HostileOwner, ThatEndsTheConnectionIsENOENT)
{
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) { socket.Reset(); }), (CallResult{-1, ENOENT}));
}

TEST_F(HostileOwner, ThatSaysNothingIsETIMEDOUTAfterItsOwnTime)
{
    RawQueueOwner quick(kQueue, 100);

    EXPECT_EQ(Open(kQueue), (CallResult{-1, ETIMEDOUT}));
}

TEST_F(HostileOwner, ThatSaysWhyItRefusesIsBelieved)
{
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) { SendVerdict(socket, EBUSY); }),
              (CallResult{-1, EBUSY}));
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) {
                  SendVerdict(socket, EACCES);
                  socket.Reset();
              }),
              (CallResult{-1, EACCES}));
}

TEST_F(HostileOwner, WithAnImpossibleVerdictIsEPROTO)
{
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) { SendVerdict(socket, -1); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) { SendVerdict(socket, 5000); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) { SendVerdict(socket, 0); }),  // and no ring
              (CallResult{-1, EPROTO}));
}

TEST_F(HostileOwner, ThatSendsGarbageIsEPROTO)
{
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) { send(socket.Get(), "x", 1, MSG_NOSIGNAL); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([](UniqueFd& socket) {
                  hosted::SendQueueMessage(socket.Get(), QueueMessage{});  // a greeting
              }),
              (CallResult{-1, EPROTO}));
}

TEST_F(HostileOwner, WithAnImpossibleRingIsEPROTO)
{
    const auto sendRing = [](UniqueFd& socket, uint32_t slots, const UniqueFd& memory) {
        QueueMessage message;
        message.kind = QueueMessageKind::kRing;
        message.count = slots;
        hosted::SendQueueMessage(socket.Get(), message, memory.Get());
    };
    const SharedMemory page =
        std::move(hosted::MakeSharedMemory("test", 4096, hosted::SharedWriters::kBoth).value);
    const UniqueFd unsealed =
        UniqueFd::Make([] { return memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING); });
    ASSERT_EQ(ftruncate(unsealed.Get(), 1 << 20), 0);
    const UniqueFd none;

    EXPECT_EQ(OpenAgainst([&](UniqueFd& socket) { sendRing(socket, 0, page.fd); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([&](UniqueFd& socket) { sendRing(socket, 1024, page.fd); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([&](UniqueFd& socket) { sendRing(socket, UINT32_MAX, page.fd); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([&](UniqueFd& socket) { sendRing(socket, 8, none); }),
              (CallResult{-1, EPROTO}));
    EXPECT_EQ(OpenAgainst([&](UniqueFd& socket) { sendRing(socket, 8, unsealed); }),
              (CallResult{-1, EPROTO}));
}

TEST_F(HostileLife, ThatCountsMoreEntriesThanTheRingHoldsIsGivenUp)
{
    life_->Publish(9);

    ExpectGivenUp();
}

TEST_F(HostileLife, WithAnEntryInAPoolThatNeverCameIsGivenUp)
{
    life_->Memory().StoreEntry(0, {0, 0, 1});
    life_->Publish(1);

    ExpectGivenUp();
}

TEST_F(HostileLife, WithAnEntryBeyondItsPoolIsGivenUp)
{
    const SharedMemory pool = SendPool(life_->socket, 0, 8, 4);
    life_->Memory().StoreEntry(0, {0, 4, 1});
    life_->Publish(1);

    ExpectGivenUp();
}

TEST_F(HostileLife, WithAnEntryLargerThanABlockIsGivenUp)
{
    const SharedMemory pool = SendPool(life_->socket, 0, 8, 4);
    life_->Memory().StoreEntry(0, {0, 0, 9});
    life_->Publish(1);

    ExpectGivenUp();
}

TEST_F(HostileLife, WithAShortEntryOfMoreBytesThanItHasIsGivenUp)
{
    life_->Memory().StoreEntry(0, {0, 0, hosted::kShortEntry | 9U});
    life_->Publish(1);

    ExpectGivenUp();
}

TEST_F(HostileLife, WithAnEntryOfTheGreatestSizeIsGivenUp)
{
    life_->Memory().StoreEntry(0, {0, 0, UINT32_MAX});
    life_->Publish(1);

    ExpectGivenUp();
}

TEST_F(HostileLife, WithAPoolSmallerThanItSaysIsGivenUp)
{
    const SharedMemory page =
        std::move(hosted::MakeSharedMemory("test", 4096, hosted::SharedWriters::kMakerAlone).value);
    QueueMessage message;
    message.kind = QueueMessageKind::kPool;
    message.size = 64;
    message.count = 65;
    hosted::SendQueueMessage(life_->socket.Get(), message, page.fd.Get());
    life_->Memory().StoreEntry(0, {0, 0, 1});
    life_->Publish(1);

    ExpectGivenUp();
}

TEST_F(HostileLife, ThatEndsThisSubscriptionAloneIsAskedAgainAfterAPause)
{
    const int64_t elapsed = MillisecondsOf([&] {
        life_->socket.Reset();
        life_ = std::make_unique<RawLife>(owner_.Accept());
    });

    EXPECT_GE(elapsed, 900);
    EXPECT_EQ(Close(fd_), (CallResult{0, 0}));
}
