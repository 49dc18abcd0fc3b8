// What resource files answer without memory or descriptors, and that nothing is lost over it.
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/hosted/owner_peers.h"
#include "platform/hosted/socket_address.h"
#include "platform/hosted/unique_fd.h"
#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"
#include "tests/support/failing_allocations.h"

namespace {

using Shortage = HostedTest;

constexpr int kFirstNumber = 0x40000000;

// Leaves `count` free descriptors below the limit while it stands.
class FewDescriptors {
public:
    explicit FewDescriptors(int count)
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(lowest);
        rlimit few = before_;
        few.rlim_cur = static_cast<rlim_t>(lowest + count);
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    rlimit before_ = {};
};

std::atomic<int> epollError{0};  // of each call, unless it is 0

}  // namespace

// In the place of the C library's for what is linked into this program.
extern "C" int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);
extern "C" int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event)
{
    const int error = epollError.load();
    if (error == 0) {
        return __real_epoll_ctl(epoll, operation, fd, event);
    }
    errno = error;
    return -1;
}

TEST_F(Shortage, AnOpenWithoutMemoryLosesNeitherADescriptorNorANumber)
{
    OwnerProcess owner;
    int opened = -1;
    int error = ENOMEM;
    for (int n = 0; opened < 0 && error == ENOMEM; ++n) {
        const size_t descriptors = OpenDescriptors();
        FailAllocation(n);
        opened = IAMFileOpen(kName, O_RDWR);
        error = errno;
        FailAllocation(kNoAllocation);
        EXPECT_TRUE(opened >= 0 || OpenDescriptors() == descriptors) << n;
    }

    EXPECT_EQ(opened, kFirstNumber);
}

TEST_F(Shortage, ACloseWithoutMemoryIsAClose)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();
    const size_t descriptors = OpenDescriptors();

    FailAllocation(0);
    const CallResult closed = Close(fd);
    FailAllocation(kNoAllocation);

    EXPECT_EQ(closed, (CallResult{0, 0}));
    EXPECT_EQ(Close(fd), (CallResult{-1, EBADF}));
    EXPECT_EQ(OpenDescriptors(), descriptors - 1);
}

TEST_F(Shortage, AnIoctlWithoutMemoryLeavesTheDescriptorUsable)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();
    std::string large(60000, 'x');
    FailAllocation(0);
    const CallResult refused = Ioctl(fd, kEcho, large);
    FailAllocation(kNoAllocation);

    EXPECT_EQ(refused, (CallResult{-1, ENOMEM}));
    EXPECT_EQ(Ioctl(fd, kEcho, large), (CallResult{60000, 0}));
}

TEST_F(Shortage, ADescriptorThatCannotBeNotedIsClosed)
{
    constexpr int kBeyondAllNoted = 900;
    const hosted::UniqueFd null =
        hosted::UniqueFd::Make([] { return open("/dev/null", O_RDONLY); });
    const size_t descriptors = OpenDescriptors();

    FailAllocation(0);
    const hosted::UniqueFd copy =
        hosted::UniqueFd::Make([&] { return fcntl(null.Get(), F_DUPFD_CLOEXEC, kBeyondAllNoted); });
    const int error = errno;
    FailAllocation(kNoAllocation);

    EXPECT_FALSE(copy);
    EXPECT_EQ(error, ENOMEM);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(Shortage, AConnectionWithoutADescriptorSaysSo)
{
    const RawOwner owner;
    int error = EMFILE;
    for (int free = 0; error == EMFILE; ++free) {
        const FewDescriptors few(free);
        error = ConnectTo(owner.Directory(), owner.Instance(), hosted::Deadline(500)).error;
    }

    EXPECT_EQ(error, 0);
}

TEST_F(Shortage, ARegistrationThatNobodyCanServeLeavesTheNameFree)
{
    ASSERT_EQ(RegisterHere("dp:/res/test/other"), (CallResult{0, 0}));
    const std::vector<std::string> files = directory_.Files();
    const size_t descriptors = OpenDescriptors();

    epollError = ENOSPC;
    const CallResult registered = RegisterHere(kName);
    epollError = 0;

    EXPECT_EQ(registered, (CallResult{-1, ENOSPC}));
    EXPECT_EQ(Open(), (CallResult{-1, ENOENT}));
    EXPECT_EQ(directory_.Files().size(), files.size() + 1);  // the lock's file
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(RegisterHere(kName), (CallResult{0, 0}));
    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
}

TEST_F(Shortage, ARegistrationWithoutMemoryLeavesTheNameFree)
{
    ASSERT_EQ(RegisterHere("dp:/res/test/other"), (CallResult{0, 0}));
    CallResult registered = {-1, ENOMEM};
    for (int n = 0; registered == CallResult{-1, ENOMEM}; ++n) {
        EXPECT_EQ(Open(), (CallResult{-1, ENOENT})) << n;
        FailAllocation(n);
        registered = RegisterHere(kName);
        FailAllocation(kNoAllocation);
    }

    EXPECT_EQ(registered, (CallResult{0, 0}));
    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
}

TEST(OwnerPeers, AreWholeAfterAnAdmissionWithoutMemory)
{
    hosted::OwnerPeers peers;
    const hosted::PeerCredentials client = {1, geteuid() + 1, 0};
    bool isAdmitted = false;
    for (int n = 0; !isAdmitted; ++n) {
        FailAllocation(n);
        try {
            isAdmitted = peers.Admit(client).first != nullptr;
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(peers.GreediestUser(), std::nullopt) << n;
        }
        FailAllocation(kNoAllocation);
    }

    EXPECT_EQ(peers.GreediestUser(), client.user);
}

TEST_F(Shortage, AConnectionIsTriedAlthoughTheTimeHasGoneBy)
{
    const RawOwner owner;

    EXPECT_EQ(ConnectTo(owner.Directory(), owner.Instance(), hosted::Deadline(0)).error, 0);
}
