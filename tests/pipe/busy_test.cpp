// What a pipe answers when it is busy, and what passes with time.
#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/pipe/pipe_world.h"

namespace {

class BusyPipe : public HostedTest {
protected:
    // Calls that wait for their responses, each on a thread of its own.
    void StartCalls(int count)
    {
        for (int i = 0; i < count; ++i) {
            calls_.push_back(std::async(std::launch::async, [this] {
                return EzcomRPCSync(pair_.near, Request("ask"), Response());
            }));
        }
    }
    void ReceiveAndAnswerAll()
    {
        for (auto& call : calls_) {
            ASSERT_EQ(Respond(pair_.far, "answer"), 0);
            (void)call;
        }
        for (auto& call : calls_) {
            EXPECT_EQ(call.get(), 0);
        }
    }
    // More requests than a call that waits for `asked` keeps, none of which is received.
    void SendMoreThanACallKeeps(const Request& asked)
    {
        ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
        for (int i = 0; i < kMoreThanKept; ++i) {
            ASSERT_EQ(EzcomSendRequest(pair_.far, Request(std::to_string(i))), 0);
        }
    }
    void ReceiveThemAndTheEnd()
    {
        for (int i = 0; i < kMoreThanKept; ++i) {
            ASSERT_EQ(ReceiveText(pair_.near), std::to_string(i));
        }
        EXPECT_EQ(EzcomReceiveRequest(pair_.near, Request(), kNoLimit), -EPIPE);
        EXPECT_EQ(EzcomClosePipe(pair_.near), 0);
    }

    static constexpr int kMoreThanKept = 70;

    PipePair pair_;
    std::vector<std::future<int>> calls_;
};

}  // namespace

TEST_F(BusyPipe, AnswersEagainWhenThePeerDoesNotRead)
{
    EXPECT_GT(SendUntilBusy(pair_.near), 0);

    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("x")), -EAGAIN);
    EXPECT_EQ(EzcomRPCSync(pair_.near, Request("x"), Response()), -EAGAIN);
    EXPECT_EQ(EzcomTimedRPCSync(pair_.near, Request("x"), Response(), 20000), -EAGAIN);
}

TEST_F(BusyPipe, IsBusyInOneDirectionAlone)
{
    SendUntilBusy(pair_.near);

    EXPECT_EQ(EzcomSendRequest(pair_.far, Request("back")), 0);

    EXPECT_EQ(ReceiveText(pair_.near), "back");
}

TEST_F(BusyPipe, LosesNothingOfWhatItTook)
{
    const int sent = SendUntilBusy(pair_.near);

    for (int i = 0; i < sent; ++i) {
        ASSERT_EQ(ReceiveText(pair_.far, 0), std::to_string(i));
    }
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, Request(), 0), -ETIMEDOUT);
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("next")), 0);
    EXPECT_EQ(ReceiveText(pair_.far), "next");
}

TEST_F(BusyPipe, AnswersEagainToAResponseThatFindsNoRoom)
{
    StartCalls(1);
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
    const Response response("answer");
    ASSERT_EQ(EzcomAnswer(response, asked), 0);
    // The caller keeps 64 requests, each when it comes to it, then lets them lie.
    const PipePair unread;
    const int room = SendUntilBusy(unread.far);
    int sent = 0;
    ASSERT_TRUE(Eventually([&] {
        sent = SendUntilBusy(pair_.far, sent);
        return sent >= room + 64;
    }));
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), -EAGAIN);

    int result = -EAGAIN;
    for (int received = 0; received < sent; ++received) {
        ASSERT_EQ(ReceiveText(pair_.near), std::to_string(received));
        result = result == -EAGAIN ? EzcomSendResponse(pair_.far, response) : result;
    }

    EXPECT_EQ(result, 0);
    EXPECT_EQ(calls_.front().get(), 0);
}

TEST_F(BusyPipe, LetsACallReachItsResponseBehindManyRequests)
{
    StartCalls(1);
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(EzcomSendRequest(pair_.far, Request(std::to_string(i))), 0);
    }
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);

    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(ReceiveText(pair_.near), std::to_string(i));
    }

    EXPECT_EQ(calls_.front().get(), 0);
}

TEST_F(BusyPipe, EndsACallBehindManyRequestsWithItsPeer)
{
    StartCalls(2);
    SendMoreThanACallKeeps(Request());

    EXPECT_EQ(EzcomClosePipe(pair_.far), 0);

    EXPECT_EQ(calls_[0].get(), -EPIPE);
    EXPECT_EQ(calls_[1].get(), -EPIPE);
    ReceiveThemAndTheEnd();
}

TEST_F(BusyPipe, EndsACallBehindManyRequestsWhenItIsShutDown)
{
    StartCalls(2);
    SendMoreThanACallKeeps(Request());

    EXPECT_EQ(EzcomShutDownPipe(pair_.near), 0);

    EXPECT_EQ(calls_[0].get(), -EPIPE);
    EXPECT_EQ(calls_[1].get(), -EPIPE);
    ReceiveThemAndTheEnd();
}

TEST_F(BusyPipe, EndsATimedCallBehindManyRequestsWithItsPeer)
{
    auto call = std::async(std::launch::async, [&] {
        return EzcomTimedRPCSync(pair_.near, Request("ask"), Response(), 60000);
    });
    SendMoreThanACallKeeps(Request());

    EXPECT_EQ(EzcomClosePipe(pair_.far), 0);

    EXPECT_EQ(call.get(), -EPIPE);
    ReceiveThemAndTheEnd();
}

TEST_F(BusyPipe, FindsTheResponseBehindManyRequestsOfAPeerThatHasEnded)
{
    StartCalls(1);
    const Request asked;
    SendMoreThanACallKeeps(asked);
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);

    EXPECT_EQ(EzcomClosePipe(pair_.far), 0);

    EXPECT_EQ(calls_.front().get(), 0);
    ReceiveThemAndTheEnd();
}

TEST_F(BusyPipe, AnswersEagainToThe65thCallInFlight)
{
    StartCalls(64);
    std::vector<Request> asked(64);
    for (const Request& request : asked) {
        ASSERT_EQ(EzcomReceiveRequest(pair_.far, request, 20000), 0);
    }

    EXPECT_EQ(EzcomRPCSync(pair_.near, Request("one more"), Response()), -EAGAIN);
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("asks for nothing")), 0);

    EXPECT_EQ(ReceiveText(pair_.far, 0), "asks for nothing");
    const Response response("answer");
    for (const Request& request : asked) {
        EXPECT_EQ(EzcomAnswer(response, request), 0);
        EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    }
    for (auto& call : calls_) {
        EXPECT_EQ(call.get(), 0);
    }
    calls_.clear();
    StartCalls(1);
    ReceiveAndAnswerAll();
}

TEST_F(BusyPipe, CountsNoCallThatHasTimedOut)
{
    for (int i = 0; i < 65; ++i) {
        ASSERT_EQ(EzcomTimedRPCSync(pair_.near, Request("ask"), Response(), 1), -ETIMEDOUT) << i;
    }
}

TEST_F(BusyPipe, IsNotClosedWhileACallUsesIt)
{
    StartCalls(1);
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);

    EXPECT_EQ(EzcomClosePipe(pair_.near), -EBUSY);

    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    EXPECT_EQ(calls_.front().get(), 0);
    EXPECT_EQ(EzcomClosePipe(pair_.near), 0);
    EXPECT_EQ(EzcomClosePipe(pair_.near), -EBADF);
}

TEST_F(BusyPipe, IsClosedOnceItIsShutDown)
{
    StartCalls(3);
    auto receiver = std::async(std::launch::async, [&] { return ReceiveText(pair_.near); });
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(ReceiveText(pair_.far), "ask");
    }

    EXPECT_EQ(EzcomShutDownPipe(pair_.near), 0);

    for (auto& call : calls_) {
        EXPECT_EQ(call.get(), -EPIPE);
    }
    EXPECT_EQ(receiver.get(), "failed -32");
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("x")), -EPIPE);
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, Request(), kNoLimit), -EPIPE);
    EXPECT_EQ(EzcomClosePipe(pair_.near), 0);
}
