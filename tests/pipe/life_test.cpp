// Pipes across forks, signals and the end of the process.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <string>

#include "tests/pipe/pipe_world.h"

namespace {

class PipeLife : public HostedTest {};

int ExitCodeOf(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

template <typename Body>
int ExitCodeOfChild(Body body)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(body());
    }
    return ExitCodeOf(child);
}

}  // namespace

TEST_F(PipeLife, LeavesAForkedChildNothing)
{
    const PipePair pair;
    const int listener = EzcomListen(kPipeName);
    const Request request("x");

    const int code = ExitCodeOfChild([&] {
        const bool isEmpty = EzcomSendRequest(pair.near, request) == -EBADF &&
                             EzcomReceiveRequest(pair.far, request, 0) == -EBADF &&
                             EzcomAcceptPipe(listener, 0) == -EBADF &&
                             EzcomClosePipe(pair.near) == -EBADF &&
                             EzcomClosePipe(listener) == -EBADF;
        return isEmpty ? 0 : 1;
    });

    EXPECT_EQ(code, 0);
    EXPECT_EQ(EzcomSendRequest(pair.near, Request("still here")), 0);
    EXPECT_EQ(ReceiveText(pair.far), "still here");
    EXPECT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);
}

TEST_F(PipeLife, LetsAForkedChildConnectAnew)
{
    const int listener = EzcomListen(kPipeName);

    const int code = ExitCodeOfChild([&] {
        const int pipe = EzcomConnectPipe(kPipeName);
        const Request request("from the child");
        return pipe == kFirstPipe && EzcomSendRequest(pipe, request) == 0 ? 0 : 1;
    });

    EXPECT_EQ(code, 0);
    EXPECT_EQ(ReceiveText(EzcomAcceptPipe(listener, kNoLimit)), "from the child");
}

TEST_F(PipeLife, HandsAForkedChildItsSocket)
{
    int socket = -1;
    const int pipe = EzcomMakePipe(&socket);
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        const int adopted = EzcomAdoptPipe(socket);
        _exit(adopted == kFirstPipe ? -Respond(adopted, "from the child") : 1);
    }
    close(socket);

    const Response response;
    EXPECT_EQ(EzcomRPCSync(pipe, Request("ask"), response), 0);

    EXPECT_EQ(response.Text(), "from the child");
    EXPECT_EQ(ExitCodeOf(child), 0);
    EXPECT_EQ(EzcomSendRequest(pipe, Request("x")), -EPIPE);
}

TEST_F(PipeLife, ForksWhileACallWaits)
{
    const PipePair pair;
    auto call = std::async(std::launch::async,
                           [&] { return EzcomRPCSync(pair.near, Request("ask"), Response()); });
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair.far, asked, kNoLimit), 0);

    EXPECT_EQ(ExitCodeOfChild([&] { return EzcomClosePipe(pair.near) == -EBADF ? 0 : 1; }), 0);

    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair.far, response), 0);
    EXPECT_EQ(call.get(), 0);
}

TEST_F(PipeLife, KeepsAClosedPipesEndFromNoChild)
{
    int socket = -1;
    const int pipe = EzcomMakePipe(&socket);
    const int adopted = EzcomAdoptPipe(socket);
    int hold[2];
    ASSERT_EQ(pipe2(hold, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        char byte = 0;
        close(hold[1]);
        (void)!read(hold[0], &byte, 1);
        _exit(0);
    }

    EXPECT_EQ(EzcomClosePipe(adopted), 0);

    EXPECT_EQ(EzcomReceiveRequest(pipe, Request(), kNoLimit), -EPIPE);  // the child holds no end
    close(hold[1]);
    waitpid(child, nullptr, 0);
}

TEST_F(PipeLife, RaisesNoSigpipe)
{
    signal(SIGPIPE, SIG_DFL);
    const PipePair pair;
    EXPECT_EQ(EzcomClosePipe(pair.far), 0);

    EXPECT_EQ(EzcomSendRequest(pair.near, Request("x")), -EPIPE);
    EXPECT_EQ(EzcomRPCSync(pair.near, Request("x"), Response()), -EPIPE);
}

TEST_F(PipeLife, TakesItsNamesBackAtExit)
{
    const int code = ExitCodeOfChild([] {
        if (EzcomListen(kPipeName) < 0) {
            return 1;
        }
        exit(0);  // with the handlers
    });

    EXPECT_EQ(code, 0);
    EXPECT_THAT(directory_.Files(), testing::ElementsAre(testing::EndsWith(".lock")));
}
