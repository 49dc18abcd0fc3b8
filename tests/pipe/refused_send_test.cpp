// What the kernel may answer to a send: its codes as the callers of pipes see them.
#include <sys/socket.h>

#include <atomic>
#include <string>

#include "tests/pipe/pipe_world.h"

namespace {

std::atomic<int> refusal{0};  // errno of the next sends; 0: they are made

}  // namespace

extern "C" ssize_t __real_sendmsg(int fd, const msghdr* message, int flags);

extern "C" ssize_t __wrap_sendmsg(int fd, const msghdr* message, int flags)
{
    if (refusal.load() == 0) {
        return __real_sendmsg(fd, message, flags);
    }
    errno = refusal.load();
    return -1;
}

namespace {

class RefusedSend : public HostedTest {
protected:
    ~RefusedSend() override { refusal = 0; }

    // One code for all that send.
    void ExpectAll(int result)
    {
        EXPECT_EQ(EzcomSendRequest(pair_.near, Request("x")), result);
        EXPECT_EQ(EzcomRPCSync(pair_.near, Request("x"), Response()), result);
        EXPECT_EQ(EzcomTimedRPCSync(pair_.near, Request("x"), Response(), 20000), result);
    }

    PipePair pair_;
};

}  // namespace

TEST_F(RefusedSend, AnswersEnomemWhenTheKernelHasNoMemory)
{
    refusal = ENOBUFS;
    ExpectAll(-ENOMEM);
    refusal = ENOMEM;
    ExpectAll(-ENOMEM);
}

TEST_F(RefusedSend, AnswersEagainWhenTheBufferIsFull)
{
    refusal = EAGAIN;
    ExpectAll(-EAGAIN);
}

TEST_F(RefusedSend, AnswersEpipeWhenThePeerIsGone)
{
    for (const int error : {EPIPE, ECONNRESET, ENOTCONN}) {
        refusal = error;
        ExpectAll(-EPIPE);
    }
}

TEST_F(RefusedSend, PassesAnythingElseOn)
{
    refusal = EMSGSIZE;
    ExpectAll(-EMSGSIZE);
}

TEST_F(RefusedSend, LeavesThePipeAsItWas)
{
    for (const int error : {ENOBUFS, EAGAIN, EPIPE}) {
        refusal = error;
        for (int i = 0; i < 65; ++i) {  // no refused call counts as one in flight
            EzcomRPCSync(pair_.near, Request("refused"), Response());
        }
    }
    refusal = 0;

    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("sent")), 0);

    EXPECT_EQ(ReceiveText(pair_.far, 0), "sent");
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, Request(), 0), -ETIMEDOUT);
}

TEST_F(RefusedSend, AppliesToResponses)
{
    ASSERT_EQ(EzcomTimedRPCSync(pair_.near, Request("ask"), Response(), 1), -ETIMEDOUT);
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, 0), 0);
    const Response response("answer");
    ASSERT_EQ(EzcomAnswer(response, asked), 0);

    refusal = EAGAIN;
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), -EAGAIN);
    refusal = ENOBUFS;
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), -ENOMEM);
    refusal = EPIPE;
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), -EPIPE);
    refusal = 0;
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
}
