// Opening queues: who is let in, which hooks run, what each refusal says.
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <memory>
#include <vector>

#include "platform/hosted/queue_service.h"
#include "tests/queue/queue_world.h"

using testing::HasSubstr;

namespace {

using Subscribing = HostedTest;

int OnEvent(int, void*, unsigned long)
{
    return 0;
}

size_t Failure(int error)
{
    return static_cast<size_t>(-error);
}

// A process of the user nobody that opens the queue `count` times and stays until its object goes.
class OtherUsersProcess {
public:
    explicit OtherUsersProcess(int count)
    {
        EXPECT_EQ(pipe2(answer_, O_CLOEXEC), 0);
        process_ = fork();
        if (process_ == 0) {
            Run(count);
        }
    }
    ~OtherUsersProcess()
    {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        close(answer_[0]);
        close(answer_[1]);
    }
    OtherUsersProcess(const OtherUsersProcess&) = delete;
    OtherUsersProcess& operator=(const OtherUsersProcess&) = delete;

    // 0, or the errno number of the open that failed.
    int Answer() const
    {
        int answer = -1;
        EXPECT_EQ(read(answer_[0], &answer, sizeof answer), static_cast<ssize_t>(sizeof answer));
        return answer;
    }

private:
    [[noreturn]] void Run(int count) const
    {
        int answer =
            setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0 ? 0 : -1;
        for (int i = 0; i < count && answer == 0; ++i) {
            answer = Open(kQueue).error;
        }
        (void)!write(answer_[1], &answer, sizeof answer);
        while (true) {
            pause();
        }
    }

    int answer_[2] = {-1, -1};
    pid_t process_ = -1;
};

}  // namespace

TEST_F(Subscribing, ToANameWithoutAnOwnerIsENOENT)
{
    EXPECT_EQ(Open(kQueue), (CallResult{-1, ENOENT}));
}

TEST_F(Subscribing, ToADeadOwnersLeftoverIsENOENT)
{
    {
        QueueOwner owner;
        ASSERT_EQ(owner.FirstLine(), "ready");
    }
    EXPECT_EQ(Open(kQueue), (CallResult{-1, ENOENT}));
}

TEST_F(Subscribing, GivesTheLowestFreeNumberOfTheQueuesRange)
{
    QueueOwner owner;

    EXPECT_EQ(Open(kQueue, O_RDONLY), (CallResult{0x60000000, 0}));
    EXPECT_EQ(Open(kQueue, O_RDWR), (CallResult{0x60000001, 0}));
    EXPECT_EQ(Close(0x60000000), (CallResult{0, 0}));
    EXPECT_EQ(Open(kQueue), (CallResult{0x60000000, 0}));
}

TEST_F(Subscribing, ReturnsWhenTheOpenHookHas)
{
    QueueOwner owner;
    owner.Tell("hold");
    auto open = std::async(std::launch::async, [] { return Open(kQueue); });
    owner.Tell("held");

    EXPECT_EQ(open.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    owner.Tell("release");

    EXPECT_EQ(open.get(), (CallResult{0x60000000, 0}));
    EXPECT_EQ(owner.Tell("files 1"), "opens=1 closes=0");
}

TEST_F(Subscribing, FailsWithEIOWhenTheOpenHookIsNegativeAndTheCloseHookRunsAllTheSame)
{
    QueueOwner owner;
    owner.Tell("open-result -15794176");

    EXPECT_EQ(Open(kQueue), (CallResult{-1, EIO}));

    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
    EXPECT_TRUE(Eventually([&] { return owner.Tell("memories") == "0"; }));
    owner.Tell("open-result 0");
    EXPECT_GE(Open(kQueue).result, 0);
}

TEST_F(Subscribing, FailsWithEIOWhenTheOpenHookThrows)
{
    QueueOwner owner;
    owner.Tell("open-result throw");

    EXPECT_EQ(Open(kQueue), (CallResult{-1, EIO}));

    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
    EXPECT_THAT(owner.Log(), HasSubstr("exception left the open hook of dp:/res/test/queue: "
                                       "thrown by the test"));
}

TEST_F(Subscribing, OutlivesACloseHookThatFailsOrThrows)
{
    QueueOwner owner;
    owner.Tell("close-result -1");
    Close(OpenOrFail(kQueue));
    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
    owner.Tell("close-result throw");
    Close(OpenOrFail(kQueue));
    EXPECT_EQ(owner.Tell("closes 2"), "opens=2 closes=2");

    Subscriber subscriber;
    owner.Tell("report 1");

    EXPECT_EQ(subscriber.Tell("await 1"), "1");
}

TEST_F(Subscribing, AnswersInTimeWhenTheOwnerIsStopped)
{
    QueueOwner owner(std::string(kQueue) + " 1000");
    owner.Stop();

    EXPECT_EQ(Open(kQueue), (CallResult{-1, ETIMEDOUT}));  // the queue's own limit
}

TEST_F(Subscribing, BeyondTheLimitOfAProcessIsEBUSYAndLogged)
{
    QueueOwner owner;
    for (int i = 0; i < hosted::kSubscribersPerProcess; ++i) {
        ASSERT_GE(Open(kQueue).result, 0);
    }

    EXPECT_EQ(Open(kQueue), (CallResult{-1, EBUSY}));

    EXPECT_THAT(owner.Log(), HasSubstr("subscription to dp:/res/test/queue refused: process " +
                                       std::to_string(getpid())));
    EXPECT_THAT(owner.Log(), HasSubstr("limit of process 16, count 16"));
    Subscriber other;
    EXPECT_EQ(other.FirstLine(), "ready");
}

TEST_F(Subscribing, HasRoomAgainAtOnceAfterAClose)
{
    QueueOwner owner;
    for (int i = 0; i < 10 * hosted::kSubscribersPerProcess; ++i) {
        const CallResult opened = Open(kQueue);
        ASSERT_GE(opened.result, 0) << i;
        if (i >= hosted::kSubscribersPerProcess - 1) {
            Close(static_cast<int>(opened.result));
        }
    }
}

TEST_F(Subscribing, BeyondTheLimitOfTheQueueIsEBUSY)
{
    QueueOwner owner;
    owner.Tell("pool 16 4");
    std::vector<std::unique_ptr<Subscriber>> subscribers;
    const int each = hosted::kSubscribersPerProcess;
    for (int i = 0; i < hosted::kSubscribersPerQueue / each; ++i) {
        subscribers.push_back(std::make_unique<Subscriber>());
        for (int j = 1; j < each; ++j) {
            ASSERT_EQ(subscribers.back()->Tell(std::string("subscribe ") + kQueue), "ready");
        }
    }

    EXPECT_EQ(Open(kQueue), (CallResult{-1, EBUSY}));

    EXPECT_THAT(owner.Log(), HasSubstr("limit of queue 256, count 256"));
    subscribers.pop_back();
    EXPECT_GE(Open(kQueue).result, 0);
}

// Another user's processes, each with as many subscriptions as a process may have.
TEST_F(Subscribing, BeyondTheLimitOfAnotherUserIsEBUSY)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be another user";
    }
    setenv("OWNERLINK_GROUP", "nogroup", 1);
    QueueOwner owner;
    AdmitAllTo(directory_.Path());
    std::vector<std::unique_ptr<OtherUsersProcess>> processes;
    for (int i = 0; i < hosted::kSubscribersPerUser / hosted::kSubscribersPerProcess; ++i) {
        processes.push_back(std::make_unique<OtherUsersProcess>(hosted::kSubscribersPerProcess));
        EXPECT_EQ(processes.back()->Answer(), 0);
    }

    EXPECT_EQ(OtherUsersProcess(1).Answer(), EBUSY);

    EXPECT_THAT(owner.Log(), HasSubstr("limit of user 64, count 64"));
    EXPECT_GE(Open(kQueue).result, 0);  // the owner's own user is not counted so
}

TEST_F(Subscribing, OfAUserWhoIsNotPermittedIsEACCES)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be another user";
    }
    setenv("OWNERLINK_GROUP", "nobody-has-this-group", 1);
    QueueOwner owner;
    AdmitAllTo(directory_.Path());

    EXPECT_EQ(OtherUsersProcess(1).Answer(), EACCES);

    EXPECT_THAT(owner.Log(), HasSubstr("of user 65534 is not permitted"));
}

TEST_F(Subscribing, LeavesReadIoctlAndTimeOutUnsupported)
{
    QueueOwner owner;
    const int fd = OpenOrFail(kQueue);
    std::string buffer(4, '\0');

    EXPECT_EQ(Read(fd, buffer), (CallResult{-1, EOPNOTSUPP}));
    EXPECT_EQ(Ioctl(fd, 0), (CallResult{-1, EOPNOTSUPP}));
    EXPECT_EQ(IAMResetFileConfig(fd, 100), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    Close(fd);
    EXPECT_EQ(Read(fd, buffer), (CallResult{-1, EBADF}));
    EXPECT_EQ(Ioctl(fd, 0), (CallResult{-1, EBADF}));
    EXPECT_EQ(Close(fd), (CallResult{-1, EBADF}));
}

TEST_F(Subscribing, TakesOneReaderForADescriptorAndNoneForOthers)
{
    QueueOwner owner;
    const int fd = OpenOrFail(kQueue);

    EXPECT_EQ(IAMFastReadAsync(fd, nullptr), Failure(EFAULT));
    EXPECT_EQ(IAMFastReadAsync(fd, OnEvent), 0U);
    EXPECT_EQ(IAMFastReadAsync(fd, OnEvent), Failure(EALREADY));
    EXPECT_EQ(IAMFastReadAsync(-1, OnEvent), Failure(EBADF));
    EXPECT_EQ(IAMFastReadAsync(fd + 1, OnEvent), Failure(EBADF));
    Close(fd);
    EXPECT_EQ(IAMFastReadAsync(fd, OnEvent), Failure(EBADF));
}
