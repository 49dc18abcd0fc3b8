// Who may publish a name and who may connect to it, and what the log says of those who may not.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>

#include "tests/pipe/pipe_world.h"

using testing::HasSubstr;

namespace {

constexpr uid_t kNobody = 65534;

std::string LogOf(const std::function<void()>& action)
{
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

// As root, which may become another user.
class PipeRefusal : public HostedTest {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root to become another user";
        }
    }
    static int ConnectAsNobody()
    {
        EXPECT_EQ(seteuid(kNobody), 0);
        const int result = EzcomConnectPipe(kPipeName);
        EXPECT_EQ(seteuid(0), 0);
        return result;
    }
};

// A process of another user, of the connecting group, that holds 64 pipes.
class Hoarder {
public:
    Hoarder()
    {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        process_ = fork();
        if (process_ == 0) {
            const bool isOther = setresgid(kNobody, kNobody, kNobody) == 0 &&
                                 setresuid(kNobody, kNobody, kNobody) == 0;
            for (int i = 0; isOther && i < 64; ++i) {
                EzcomConnectPipe(kPipeName);
            }
            close(ready[0]);
            close(ready[1]);  // done
            pause();
        }
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 0);
        close(ready[0]);
    }
    ~Hoarder()
    {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    Hoarder(const Hoarder&) = delete;
    Hoarder& operator=(const Hoarder&) = delete;

private:
    pid_t process_ = -1;
};

}  // namespace

TEST_F(PipeRefusal, MeetsAUserWhoMayNotEnterTheDirectory)
{
    ASSERT_GE(EzcomListen(kPipeName), kFirstPipe);

    EXPECT_EQ(ConnectAsNobody(), -EACCES);
}

TEST_F(PipeRefusal, MeetsAUserWhomTheFilesAdmitButNotTheGroup)
{
    const int listener = EzcomListen(kPipeName);
    AdmitAllTo(directory_.Path());
    const int stranger = ConnectAsNobody();
    const int own = EzcomConnectPipe(kPipeName);

    const std::string log =
        LogOf([=] { EXPECT_GE(EzcomAcceptPipe(listener, kNoLimit), kFirstPipe); });

    EXPECT_THAT(log, HasSubstr("pipe to dp:/res/test/pipe refused: process " +
                               std::to_string(getpid()) + " of user 65534 is not permitted"));
    EXPECT_EQ(EzcomReceiveRequest(stranger, Request(), kNoLimit), -EPIPE);
    EXPECT_EQ(EzcomSendRequest(own, Request("x")), 0);
}

TEST_F(PipeRefusal, MeetsAUserWhoMayNotPublish)
{
    chmod(directory_.Path().c_str(), 0755);
    ASSERT_EQ(seteuid(kNobody), 0);
    int result = 0;

    const std::string log = LogOf([&] { result = EzcomListen(kPipeName); });

    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(result, -EACCES);
    EXPECT_THAT(log, HasSubstr("pipe dp:/res/test/pipe cannot be published in " +
                               directory_.Path() + ": Permission denied"));
}

TEST_F(PipeRefusal, OfAHoarderNamesTheLimit)
{
    const int listener = EzcomListen(kPipeName);
    for (int i = 0; i < 64; ++i) {
        ASSERT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);
        ASSERT_GE(EzcomAcceptPipe(listener, kNoLimit), kFirstPipe);
    }
    ASSERT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);

    const std::string log = LogOf([=] { EXPECT_EQ(EzcomAcceptPipe(listener, 0), -ETIMEDOUT); });

    EXPECT_THAT(log,
                HasSubstr("pipe to dp:/res/test/pipe refused: process " + std::to_string(getpid()) +
                          " of user 0, limit of process 64, count 64"));
}

TEST_F(PipeRefusal, OfAUserCountsAllItsProcesses)
{
    setenv("OWNERLINK_GROUP", "nogroup", 1);
    const int listener = EzcomListen(kPipeName);
    AdmitAllTo(directory_.Path());
    const Hoarder first;
    const Hoarder second;
    const Hoarder third;
    for (int i = 0; i < 128; ++i) {
        ASSERT_GE(EzcomAcceptPipe(listener, 20000), kFirstPipe) << i;
    }

    const std::string log = LogOf([=] { EXPECT_EQ(EzcomAcceptPipe(listener, 0), -ETIMEDOUT); });

    EXPECT_THAT(log, HasSubstr("of user 65534, limit of user 128, count 128"));
    ASSERT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);
    EXPECT_GE(EzcomAcceptPipe(listener, kNoLimit), kFirstPipe);  // the owner's own user
}

TEST_F(PipeRefusal, OfGarbageNamesItsSender)
{
    int socket = -1;
    const int pipe = EzcomMakePipe(&socket);
    ASSERT_EQ(write(socket, "garbage", 7), 7);

    const std::string log =
        LogOf([=] { EXPECT_EQ(EzcomReceiveRequest(pipe, Request(), kNoLimit), -EPROTO); });

    close(socket);
    EXPECT_THAT(log, HasSubstr("pipe ended: process " + std::to_string(getpid()) +
                               " of user 0 sent 7 bytes that are no message"));
}

TEST_F(PipeRefusal, OfATakenNameNamesItsHolder)
{
    ASSERT_GE(EzcomListen(kPipeName), kFirstPipe);

    const std::string log = LogOf([] { EXPECT_EQ(EzcomListen(kPipeName), -EADDRINUSE); });

    EXPECT_THAT(log, HasSubstr("is published by this process already"));
}
