// How pipes and names come to be and how they go.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/pipe/pipe_world.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class PipeNumbers : public HostedTest {};
class PipeSockets : public HostedTest {};
class PipeNames : public HostedTest {
protected:
    // Both ends of a pipe through the name's listener.
    static int ConnectAndAccept(int listener, int* accepted)
    {
        const int connected = EzcomConnectPipe(kPipeName);
        *accepted = EzcomAcceptPipe(listener, 20000);
        EXPECT_GE(connected, kFirstPipe);
        EXPECT_GE(*accepted, kFirstPipe);
        return connected;
    }
};

bool IsOpen(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

// The descriptors of this process that a program it executes would get.
std::set<std::string> InheritedDescriptors()
{
    std::set<std::string> inherited;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string fd = entry.path().filename();
        const int flags = fcntl(std::stoi(fd), F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0) {
            inherited.insert(fd);
        }
    }
    return inherited;
}

}  // namespace

TEST_F(PipeNumbers, AreTheLowestFreeOnesOfARangeOfTheirOwn)
{
    int sockets[2];
    EXPECT_EQ(EzcomMakePipe(&sockets[0]), 0x70000000);
    EXPECT_EQ(EzcomMakePipe(&sockets[1]), 0x70000001);
    EXPECT_EQ(EzcomClosePipe(0x70000000), 0);
    EXPECT_EQ(EzcomAdoptPipe(sockets[0]), 0x70000000);
    EXPECT_EQ(EzcomListen(kPipeName), 0x70000002);
    close(sockets[1]);
}

TEST_F(PipeNumbers, ThatAreNotOpenAnswerEbadf)
{
    for (const int number :
         {-1, 0, 3, 0x40000000, 0x60000000, 0x70000000, 0x70000001, 0x7fffffff}) {
        EXPECT_EQ(EzcomSendRequest(number, Request("x")), -EBADF) << number;
        EXPECT_EQ(EzcomSendResponse(number, Response("x")), -EBADF) << number;
        EXPECT_EQ(EzcomRPCSync(number, Request("x"), Response()), -EBADF) << number;
        EXPECT_EQ(EzcomTimedRPCSync(number, Request("x"), Response(), 1), -EBADF) << number;
        EXPECT_EQ(EzcomReceiveRequest(number, Request(), 0), -EBADF) << number;
        EXPECT_EQ(EzcomAcceptPipe(number, 0), -EBADF) << number;
        EXPECT_EQ(EzcomShutDownPipe(number), -EBADF) << number;
        EXPECT_EQ(EzcomClosePipe(number), -EBADF) << number;
    }
}

TEST_F(PipeNumbers, AreNoFiles)
{
    const PipePair pair;

    EXPECT_EQ(Ioctl(pair.near, 1), (CallResult{-1, EBADF}));
    EXPECT_EQ(Close(pair.near), (CallResult{-1, EBADF}));

    EXPECT_EQ(EzcomSendRequest(pair.near, Request("x")), 0);
}

TEST_F(PipeNumbers, TellPipesFromNames)
{
    const PipePair pair;
    const int listener = EzcomListen(kPipeName);

    EXPECT_EQ(EzcomAcceptPipe(pair.near, 0), -EOPNOTSUPP);
    EXPECT_EQ(EzcomSendRequest(listener, Request("x")), -EOPNOTSUPP);
    EXPECT_EQ(EzcomSendResponse(listener, Response("x")), -EOPNOTSUPP);
    EXPECT_EQ(EzcomRPCSync(listener, Request("x"), Response()), -EOPNOTSUPP);
    EXPECT_EQ(EzcomReceiveRequest(listener, Request(), 0), -EOPNOTSUPP);
}

TEST_F(PipeSockets, AreClosedOnExec)
{
    const std::set<std::string> before = InheritedDescriptors();
    int socket = -1;
    ASSERT_GE(EzcomMakePipe(&socket), kFirstPipe);
    EXPECT_EQ(InheritedDescriptors(), before);
    fcntl(socket, F_SETFD, 0);  // for a child

    ASSERT_GE(EzcomAdoptPipe(socket), kFirstPipe);
    const int listener = EzcomListen(kPipeName);
    ASSERT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);
    ASSERT_GE(EzcomAcceptPipe(listener, kNoLimit), kFirstPipe);

    EXPECT_EQ(InheritedDescriptors(), before);
}

TEST_F(PipeSockets, AreGoneWithThePipe)
{
    const size_t before = OpenDescriptors();
    int socket = -1;
    const int pipe = EzcomMakePipe(&socket);
    const int adopted = EzcomAdoptPipe(socket);
    EXPECT_FALSE(IsOpen(socket));
    EXPECT_EQ(OpenDescriptors(), before + 2);

    EXPECT_EQ(EzcomClosePipe(pipe), 0);
    EXPECT_EQ(EzcomClosePipe(adopted), 0);

    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(PipeSockets, OfOtherKindsAreNotAdoptedAndStayOpen)
{
    int stream[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, stream), 0);
    const int unconnected = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    const int file = open("/dev/null", O_RDONLY);

    EXPECT_EQ(EzcomAdoptPipe(stream[0]), -EPROTOTYPE);
    EXPECT_EQ(EzcomAdoptPipe(unconnected), -ENOTCONN);
    EXPECT_EQ(EzcomAdoptPipe(file), -ENOTSOCK);
    EXPECT_EQ(EzcomAdoptPipe(-1), -EBADF);

    for (const int fd : {stream[0], stream[1], unconnected, file}) {
        EXPECT_TRUE(IsOpen(fd));
        close(fd);
    }
    EXPECT_EQ(EzcomMakePipe(nullptr), -EFAULT);
}

TEST_F(PipeSockets, MayBeNonBlocking)
{
    int socket = -1;
    const int pipe = EzcomMakePipe(&socket);
    fcntl(socket, F_SETFL, O_NONBLOCK);
    const int adopted = EzcomAdoptPipe(socket);
    auto received = std::async(std::launch::async, [=] { return ReceiveText(adopted, kNoLimit); });

    EXPECT_EQ(EzcomSendRequest(pipe, Request("late")), 0);

    EXPECT_EQ(received.get(), "late");
}

TEST_F(PipeSockets, TellOfTheirEndAfterWhatCameBefore)
{
    const PipePair pair;
    EXPECT_EQ(EzcomSendRequest(pair.near, Request("last words")), 0);
    EXPECT_EQ(EzcomSendRequest(pair.far, Request("unread")), 0);

    EXPECT_EQ(EzcomClosePipe(pair.near), 0);

    EXPECT_EQ(EzcomSendRequest(pair.far, Request("x")), -EPIPE);
    EXPECT_EQ(EzcomRPCSync(pair.far, Request("x"), Response()), -EPIPE);
    EXPECT_EQ(ReceiveText(pair.far), "last words");
    EXPECT_EQ(EzcomReceiveRequest(pair.far, Request(), kNoLimit), -EPIPE);
    EXPECT_EQ(EzcomReceiveRequest(pair.far, Request(), kNoLimit), -EPIPE);
    EXPECT_EQ(EzcomClosePipe(pair.far), 0);
}

TEST_F(PipeSockets, EndACallWhoseResponseWillNotCome)
{
    const PipePair pair;
    auto call = std::async(std::launch::async,
                           [&] { return EzcomRPCSync(pair.near, Request("ask"), Response()); });
    ASSERT_EQ(ReceiveText(pair.far), "ask");

    EXPECT_EQ(EzcomClosePipe(pair.far), 0);

    EXPECT_EQ(call.get(), -EPIPE);
}

TEST_F(PipeNames, LeadToWhoeverPublishedThem)
{
    const int listener = EzcomListen(kPipeName);
    ASSERT_GE(listener, kFirstPipe);
    int accepted = -1;
    const int connected = ConnectAndAccept(listener, &accepted);

    EXPECT_EQ(EzcomSendRequest(connected, Request("there")), 0);
    EXPECT_EQ(EzcomSendRequest(accepted, Request("back")), 0);

    EXPECT_EQ(ReceiveText(accepted), "there");
    EXPECT_EQ(ReceiveText(connected), "back");
}

TEST_F(PipeNames, TakeWhatIsSentBeforeItIsAccepted)
{
    const int listener = EzcomListen(kPipeName);
    const int connected = EzcomConnectPipe(kPipeName);
    EXPECT_EQ(EzcomSendRequest(connected, Request("early")), 0);
    EXPECT_EQ(EzcomClosePipe(connected), 0);

    const int accepted = EzcomAcceptPipe(listener, kNoLimit);

    EXPECT_EQ(ReceiveText(accepted), "early");
    EXPECT_EQ(EzcomReceiveRequest(accepted, Request(), kNoLimit), -EPIPE);
}

TEST_F(PipeNames, ThatNobodyHoldsLeadNowhere)
{
    EXPECT_EQ(EzcomConnectPipe(kPipeName), -ENOENT);
    EXPECT_EQ(EzcomConnectPipe(""), -ENOENT);
    EXPECT_EQ(EzcomConnectPipe(std::string(4097, 'n').c_str()), -ENAMETOOLONG);
    EXPECT_EQ(EzcomConnectPipe(nullptr), -EFAULT);
}

TEST_F(PipeNames, AreNotEmptyNorTooLong)
{
    EXPECT_EQ(EzcomListen(""), -EINVAL);
    EXPECT_EQ(EzcomListen(std::string(4097, 'n').c_str()), -ENAMETOOLONG);
    EXPECT_EQ(EzcomListen(nullptr), -EFAULT);
    EXPECT_GE(EzcomListen(std::string(4096, 'n').c_str()), kFirstPipe);
    EXPECT_GE(EzcomConnectPipe(std::string(4096, 'n').c_str()), kFirstPipe);
}

TEST_F(PipeNames, HaveOneHolder)
{
    ASSERT_GE(EzcomListen(kPipeName), kFirstPipe);

    EXPECT_EQ(EzcomListen(kPipeName), -EADDRINUSE);

    EXPECT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);
}

TEST_F(PipeNames, AreOneSpaceWithThoseOfFiles)
{
    const IAMFileOps ops = {};
    const IAMServiceDesc file = {"dp:/res/test/file", &ops, 0};
    ASSERT_EQ(IAMRegisterService(&file), 0);
    ASSERT_GE(EzcomListen(kPipeName), kFirstPipe);
    const IAMServiceDesc taken = {kPipeName, &ops, 0};

    EXPECT_EQ(EzcomListen("dp:/res/test/file"), -EADDRINUSE);
    EXPECT_EQ(IAMRegisterService(&taken), -1);
    EXPECT_EQ(EzcomConnectPipe("dp:/res/test/file"), -EPROTO);
    EXPECT_EQ(Open(kPipeName), (CallResult{-1, EPROTO}));
}

TEST_F(PipeNames, GoWithTheirClose)
{
    const int listener = EzcomListen(kPipeName);
    int accepted = -1;
    const int connected = ConnectAndAccept(listener, &accepted);

    EXPECT_EQ(EzcomClosePipe(listener), 0);

    EXPECT_EQ(EzcomConnectPipe(kPipeName), -ENOENT);
    EXPECT_THAT(directory_.Files(), testing::ElementsAre(testing::EndsWith(".lock")));
    EXPECT_EQ(EzcomSendRequest(connected, Request("still up")), 0);
    EXPECT_EQ(ReceiveText(accepted), "still up");
    EXPECT_GE(EzcomListen(kPipeName), kFirstPipe);
}

TEST_F(PipeNames, WaitForPeersNoLongerThanTheyShould)
{
    const int listener = EzcomListen(kPipeName);

    EXPECT_EQ(EzcomAcceptPipe(listener, 0), -ETIMEDOUT);
    EXPECT_EQ(EzcomAcceptPipe(listener, 1), -ETIMEDOUT);
    EXPECT_EQ(EzcomAcceptPipe(listener, -2), -EINVAL);
}

TEST_F(PipeNames, StayUntilWhoeverAcceptsIsShutDown)
{
    const int listener = EzcomListen(kPipeName);
    LaterCall accepting([=] { return EzcomAcceptPipe(listener, kNoLimit); });
    EXPECT_TRUE(accepting.HasPaused(1));

    EXPECT_EQ(EzcomShutDownPipe(listener), 0);

    EXPECT_EQ(accepting.Result(), -EPIPE);
    EXPECT_EQ(EzcomAcceptPipe(listener, kNoLimit), -EPIPE);
    EXPECT_EQ(EzcomClosePipe(listener), 0);
}

TEST_F(PipeNames, RefuseAHoarder)
{
    const int listener = EzcomListen(kPipeName);
    std::vector<int> pipes(64);
    for (int& pipe : pipes) {
        ConnectAndAccept(listener, &pipe);
    }
    const int refused = EzcomConnectPipe(kPipeName);

    EXPECT_EQ(EzcomAcceptPipe(listener, 0), -ETIMEDOUT);

    EXPECT_EQ(EzcomReceiveRequest(refused, Request(), kNoLimit), -EPIPE);
    EXPECT_EQ(EzcomClosePipe(pipes.front()), 0);
    int accepted = -1;
    ConnectAndAccept(listener, &accepted);
}

TEST_F(PipeNames, CountNoPipesOfOtherOrigin)
{
    const int listener = EzcomListen(kPipeName);
    const int other = EzcomListen("dp:/res/test/other");
    for (int i = 0; i < 64; ++i) {
        ASSERT_GE(EzcomConnectPipe("dp:/res/test/other"), kFirstPipe);
        ASSERT_GE(EzcomAcceptPipe(other, kNoLimit), kFirstPipe);
    }

    int accepted = -1;
    ConnectAndAccept(listener, &accepted);
}
