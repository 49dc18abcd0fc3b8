// Forks, exits and descriptors of the process that carries the layer.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "platform/hosted/endpoint_name.h"
#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"
#include "tests/support/sanitizers.h"

namespace fs = std::filesystem;

namespace {

using Process = HostedTest;

// Runs `body` in a forked child; true when it answers so.
bool InChild(const std::function<bool()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(body() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

size_t Sockets()
{
    size_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const fs::path target = fs::read_symlink(entry.path(), error);
        count += target.string().rfind("socket:", 0) == 0;
    }
    return count;
}

void RegisterEcho(const char* name)
{
    ASSERT_EQ(RegisterHere(name), (CallResult{0, 0}));
}

}  // namespace

TEST_F(Process, AForkedChildsDescriptorsAnswerEBADF)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();
    ASSERT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));

    EXPECT_TRUE(InChild([&] { return Ioctl(fd, kEcho) == CallResult{-1, EBADF}; }));
    EXPECT_TRUE(InChild([&] { return Close(fd) == CallResult{-1, EBADF}; }));

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
}

TEST_F(Process, AForkedChildHoldsNoSocketOfTheLayer)
{
    OwnerProcess owner;
    const size_t before = Sockets();
    RegisterEcho("in-process");
    OpenOrFail();
    Close(OpenOrFail("in-process"));
    ASSERT_GT(Sockets(), before);

    EXPECT_TRUE(InChild([&] { return Sockets() == before; }));
}

TEST_F(Process, AForkedChildMayOpenAnew)
{
    OwnerProcess owner;
    Close(OpenOrFail());

    EXPECT_TRUE(InChild([] { return Ioctl(OpenOrFail(), kEcho) == CallResult{64, 0}; }));
    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
}

TEST_F(Process, AnOwnersForkedChildNeitherServesNorKeepsTheName)
{
    int life[2];  // the grandchild lives as long as we hold its end
    ASSERT_EQ(pipe2(life, O_CLOEXEC), 0);
    const pid_t owner = fork();
    if (owner == 0) {
        close(life[1]);
        RegisterEcho(kName);
        if (fork() == 0) {
            char byte = 0;
            _exit(static_cast<int>(read(life[0], &byte, 1)));
        }
        kill(getpid(), SIGKILL);
    }
    waitpid(owner, nullptr, 0);

    // The grandchild lets go of the socket in its first moments, not in its parent's last.
    EXPECT_TRUE(Eventually([] {
        const CallResult opened = Open();
        Close(static_cast<int>(opened.result));
        return opened == CallResult{-1, ENOENT};
    }));
    OwnerProcess next;
    EXPECT_EQ(next.FirstLine(), "ready");
    close(life[1]);
    close(life[0]);
}

TEST_F(Process, AForkedChildThatExitsLeavesItsParentsEndpointAlone)
{
    RegisterEcho(kName);
    const pid_t child = fork();
    if (child == 0) {
        std::exit(0);
    }
    waitpid(child, nullptr, 0);

    EXPECT_EQ(Ioctl(OpenOrFail(), 1), (CallResult{64, 0}));
}

TEST_F(Process, NoDescriptorOfTheLayerPassesAnExec)
{
    OwnerProcess owner;
    RegisterEcho("in-process");
    OpenOrFail();
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename());
        std::error_code error;
        const std::string target = fs::read_symlink(entry.path(), error).string();
        if (target.rfind("socket:", 0) == 0 || target.find("ownerlink") != std::string::npos) {
            EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0) << target;
        }
    }
}

TEST_F(Process, ForksWhileCallsRunNeverHang)
{
    if (!kMayAllocateInChild) {
        GTEST_SKIP() << "an allocation takes locks of the sanitizer, which other threads hold";
    }
    OwnerProcess owner;
    std::atomic<bool> done{false};
    std::thread caller([&] {
        while (!done) {
            const int fd = OpenOrFail();
            EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
            Close(fd);
        }
    });

    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(InChild([] {
            alarm(20);
            return Open("dp:/res/nobody") == CallResult{-1, ENOENT};
        }));
    }

    done = true;
    caller.join();
}

TEST_F(Process, ACallOnADeadConnectionRaisesNoSIGPIPE)
{
    auto owner = std::make_unique<OwnerProcess>();
    const int fd = OpenOrFail();
    signal(SIGPIPE, SIG_DFL);
    owner = nullptr;

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EPIPE}));
}

TEST_F(Process, ACallbackThatRunsAtExitIsWaitedFor)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();
    std::string buffer(8, '\0');
    buffer[0] = static_cast<char>(200);
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kPause, buffer); });
    const int other = OpenOrFail();
    uint32_t looks = 0;  // each counts as well
    EXPECT_TRUE(Eventually([&] { return CountsOf(other).ioctls > ++looks; }));

    owner.Write("exit");

    EXPECT_EQ(call.get(), (CallResult{8, 0}));
    EXPECT_EQ(owner.AwaitExit(), 0);
}

TEST_F(Process, ACallbackThatBlocksHoldsUpTheExitForTwoSecondsAtMost)
{
    OwnerProcess owner(kName, kLongTimeOut);
    const int fd = OpenOrFail();
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kBlock); });
    ASSERT_EQ(owner.Tell("blocked 1"), "blocked");

    const int64_t elapsed = MillisecondsOf([&] {
        owner.Write("exit");
        EXPECT_EQ(owner.AwaitExit(), 0);
    });

    EXPECT_GE(elapsed, 1900);
    EXPECT_LT(elapsed, 20000);
    EXPECT_EQ(call.get(), (CallResult{-1, EPIPE}));
}

TEST_F(Process, RequestsThatArriveWhileTheOwnerExitsAreEPIPEOrENOENT)
{
    OwnerProcess owner(kName, kLongTimeOut);
    const int blocked = OpenOrFail();
    const int standing = OpenOrFail();
    EXPECT_EQ(Ioctl(standing, kEcho), (CallResult{64, 0}));
    auto call = std::async(std::launch::async, [&] { return Ioctl(blocked, kBlock); });
    ASSERT_EQ(owner.Tell("blocked 1"), "blocked");
    owner.Write("exit");

    EXPECT_TRUE(Eventually([&] { return Open() == CallResult{-1, ENOENT}; }));
    EXPECT_EQ(Ioctl(standing, kEcho), (CallResult{-1, EPIPE}));

    EXPECT_EQ(call.get(), (CallResult{-1, EPIPE}));
    EXPECT_EQ(owner.AwaitExit(), 0);
}

TEST_F(Process, CallsStayValidThroughTheExit)
{
    // A destructor that runs after the exit handler still gets an answer from the layer.
    const bool good = InChild([] {
        struct Late {
            ~Late() { _exit(Open("dp:/res/nobody") == CallResult{-1, ENOENT} ? 0 : 2); }
        };
        static Late late;
        RegisterEcho("in-child");
        std::exit(1);
        return false;
    });

    EXPECT_TRUE(good);
}
