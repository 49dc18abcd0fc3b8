// Requests, calls and responses between the two ends of a pipe.
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/pipe/pipe_world.h"

using testing::StartsWith;

namespace {

class PipeExchange : public HostedTest {
protected:
    // A call from `pipe` on a thread of its own: what its response says, or how it failed.
    static std::future<std::string> CallLater(int pipe, const std::string& text,
                                              int timeout = kNoLimit)
    {
        return std::async(std::launch::async, [=] {
            const Response response;
            const int result = EzcomTimedRPCSync(pipe, Request(text), response, timeout);
            return result == 0 ? response.Text() : "failed " + std::to_string(result);
        });
    }

    PipePair pair_;
};

}  // namespace

TEST_F(PipeExchange, CarriesRequestsInTheOrderOfTheirSending)
{
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("one", 1)), 0);
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("two", 0xffffffff)), 0);

    const Request received;
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, received, kNoLimit), 0);
    EXPECT_EQ(received.Text(), "one");
    EXPECT_EQ(received.Type(), 1U);
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, received, 0), 0);
    EXPECT_EQ(received.Text(), "two");
    EXPECT_EQ(received.Type(), 0xffffffff);
}

TEST_F(PipeExchange, CarriesRequestsEitherWay)
{
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("there")), 0);
    EXPECT_EQ(EzcomSendRequest(pair_.far, Request("back")), 0);

    EXPECT_EQ(ReceiveText(pair_.far), "there");
    EXPECT_EQ(ReceiveText(pair_.near), "back");
}

TEST_F(PipeExchange, CarriesNoDataAndTheMost)
{
    const std::string largest(EZCOM_MAX_DATA, 'x');

    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("")), 0);
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request(largest)), 0);

    EXPECT_EQ(ReceiveText(pair_.far), "");
    EXPECT_EQ(ReceiveText(pair_.far), largest);
}

TEST_F(PipeExchange, BringsACallItsResponse)
{
    auto answering = std::async(std::launch::async, [&] { return Respond(pair_.far, "done"); });

    const Response response("before", 1);
    EXPECT_EQ(EzcomRPCSync(pair_.near, Request("do"), response), 0);

    EXPECT_EQ(response.Text(), "done");
    EXPECT_EQ(response.Type(), static_cast<uint32_t>(kTypeOfTests));
    EXPECT_EQ(answering.get(), 0);
}

TEST_F(PipeExchange, LeavesTheRequestOfACallAsItWas)
{
    auto answering = std::async(std::launch::async, [&] { return Respond(pair_.far, "done"); });
    const Request request("do", 3);

    EXPECT_EQ(EzcomRPCSync(pair_.near, request, Response()), 0);

    EXPECT_EQ(request.Text(), "do");
    EXPECT_EQ(request.Type(), 3U);
}

TEST_F(PipeExchange, TellsCallsFromRequestsThatAskForNothing)
{
    EXPECT_EQ(EzcomSendRequest(pair_.near, Request("tell")), 0);
    auto call = CallLater(pair_.near, "ask");

    const Request told;
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, told, kNoLimit), 0);
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);

    EXPECT_EQ(EzcomAsksForResponse(told), 0);
    EXPECT_EQ(EzcomAsksForResponse(asked), 1);
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, told), -EINVAL);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), -EINVAL);
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    EXPECT_EQ(call.get(), "answer");
}

TEST_F(PipeExchange, RefusesAResponseToACallOfAnotherPipe)
{
    PipePair other;
    auto call = CallLater(pair_.near, "ask");
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);

    EXPECT_EQ(EzcomSendResponse(other.far, response), -EINVAL);

    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    EXPECT_EQ(call.get(), "answer");
}

TEST_F(PipeExchange, BringsEachOfManyCallsItsOwnResponse)
{
    constexpr int kCalls = 32;
    std::vector<std::future<std::string>> calls;
    for (int i = 0; i < kCalls; ++i) {
        calls.push_back(CallLater(pair_.near, std::to_string(i)));
    }
    std::vector<Request> asked(kCalls);
    for (const Request& request : asked) {
        ASSERT_EQ(EzcomReceiveRequest(pair_.far, request, kNoLimit), 0);
    }

    for (size_t i = asked.size(); i-- > 0;) {  // the last first
        const Response response("answer to " + asked[i].Text());
        EXPECT_EQ(EzcomAnswer(response, asked[i]), 0);
        EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    }

    for (int i = 0; i < kCalls; ++i) {
        EXPECT_EQ(calls[static_cast<size_t>(i)].get(), "answer to " + std::to_string(i));
    }
}

TEST_F(PipeExchange, BearsCallsEitherWayAtOnce)
{
    constexpr int kRounds = 200;
    const auto call = [](int pipe) {
        for (int i = 0; i < kRounds; ++i) {
            const Response response;
            ASSERT_EQ(EzcomRPCSync(pipe, Request(std::to_string(i)), response), 0);
            ASSERT_EQ(response.Text(), std::to_string(i));
        }
    };
    const auto serve = [](int pipe) {
        for (int i = 0; i < kRounds; ++i) {
            ASSERT_EQ(Respond(pipe, std::to_string(i)), 0);
        }
    };

    std::vector<std::thread> threads;
    for (const int pipe : {pair_.near, pair_.far}) {
        threads.emplace_back(call, pipe);
        threads.emplace_back(serve, pipe);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(PipeExchange, GivesEachRequestToOneOfSeveralReceivers)
{
    constexpr int kReceivers = 4;
    std::vector<std::future<std::string>> receivers;
    for (int i = 0; i < kReceivers; ++i) {
        receivers.push_back(std::async(std::launch::async, [&] { return ReceiveText(pair_.far); }));
    }

    std::vector<std::string> sent;
    for (int i = 0; i < kReceivers; ++i) {
        sent.push_back(std::to_string(i));
        EXPECT_EQ(EzcomSendRequest(pair_.near, Request(sent.back())), 0);
    }

    std::vector<std::string> received;
    for (auto& receiver : receivers) {
        received.push_back(receiver.get());
    }
    EXPECT_THAT(received, testing::UnorderedElementsAreArray(sent));
}

TEST_F(PipeExchange, KeepsRequestsThatComeWhileACallWaits)
{
    auto call = CallLater(pair_.near, "ask");
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
    EXPECT_EQ(EzcomSendRequest(pair_.far, Request("first")), 0);
    EXPECT_EQ(EzcomSendRequest(pair_.far, Request("second")), 0);
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);

    EXPECT_EQ(call.get(), "answer");
    EXPECT_EQ(ReceiveText(pair_.near, 0), "first");
    EXPECT_EQ(ReceiveText(pair_.near, 0), "second");
}

TEST_F(PipeExchange, TimesOutAndLeavesTheResponseAsItWas)
{
    const Response response("before", 1);

    EXPECT_EQ(EzcomTimedRPCSync(pair_.near, Request("ask"), response, 1), -ETIMEDOUT);

    EXPECT_EQ(response.Text(), "before");
    EXPECT_EQ(response.Type(), 1U);
}

TEST_F(PipeExchange, TakesALateResponseForNoOther)
{
    ASSERT_EQ(EzcomTimedRPCSync(pair_.near, Request("slow"), Response(), 1), -ETIMEDOUT);
    ASSERT_EQ(Respond(pair_.far, "late"), 0);

    auto call = CallLater(pair_.near, "quick");
    EXPECT_EQ(Respond(pair_.far, "in time"), 0);

    EXPECT_EQ(call.get(), "in time");
}

TEST_F(PipeExchange, DropsASecondResponse)
{
    auto call = CallLater(pair_.near, "ask");
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    EXPECT_EQ(call.get(), "answer");

    auto next = CallLater(pair_.near, "again");
    EXPECT_EQ(Respond(pair_.far, "second answer"), 0);

    EXPECT_EQ(next.get(), "second answer");
}

TEST_F(PipeExchange, GoesOnReadingForOthersWhenTheReaderHasTimedOut)
{
    auto patient = CallLater(pair_.near, "patient");
    const Request asked;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, asked, kNoLimit), 0);
    EXPECT_EQ(CallLater(pair_.near, "hasty", 1).get(), "failed -110");

    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, asked), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);

    EXPECT_EQ(patient.get(), "answer");
}

TEST_F(PipeExchange, WaitsForARequestNoLongerThanItShould)
{
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, Request(), 0), -ETIMEDOUT);
    EXPECT_EQ(EzcomReceiveRequest(pair_.far, Request(), 1), -ETIMEDOUT);
}

TEST_F(PipeExchange, LeavesARequestAsItWasWhenNoneCame)
{
    const Request request("before", 1);

    EXPECT_EQ(EzcomReceiveRequest(pair_.far, request, 0), -ETIMEDOUT);

    EXPECT_EQ(request.Text(), "before");
    EXPECT_EQ(request.Type(), 1U);
}

TEST_F(PipeExchange, PassesAReceivedRequestOnAsOneOfItsOwn)
{
    PipePair next;
    auto call = CallLater(pair_.near, "ask");
    const Request request;
    ASSERT_EQ(EzcomReceiveRequest(pair_.far, request, kNoLimit), 0);

    EXPECT_EQ(EzcomSendRequest(next.near, request), 0);

    EXPECT_EQ(ReceiveText(next.far), "ask");
    const Response response("answer");
    EXPECT_EQ(EzcomAnswer(response, request), 0);
    EXPECT_EQ(EzcomSendResponse(pair_.far, response), 0);
    EXPECT_EQ(call.get(), "answer");
}

TEST_F(PipeExchange, RefusesOddTimeOutsAndNullArguments)
{
    EXPECT_EQ(EzcomTimedRPCSync(pair_.near, Request("x"), Response(), 0), -EINVAL);
    EXPECT_EQ(EzcomTimedRPCSync(pair_.near, Request("x"), Response(), -2), -EINVAL);
    EXPECT_EQ(EzcomReceiveRequest(pair_.near, Request(), -2), -EINVAL);
    EXPECT_EQ(EzcomSendRequest(pair_.near, nullptr), -EFAULT);
    EXPECT_EQ(EzcomSendResponse(pair_.near, nullptr), -EFAULT);
    EXPECT_EQ(EzcomRPCSync(pair_.near, nullptr, Response()), -EFAULT);
    EXPECT_EQ(EzcomRPCSync(pair_.near, Request("x"), nullptr), -EFAULT);
    EXPECT_EQ(EzcomTimedRPCSync(pair_.near, nullptr, Response(), 1), -EFAULT);
    EXPECT_EQ(EzcomReceiveRequest(pair_.near, nullptr, 0), -EFAULT);

    EXPECT_EQ(EzcomReceiveRequest(pair_.far, Request(), 0), -ETIMEDOUT);  // nothing was sent
}

TEST_F(PipeExchange, LeavesErrnoAlone)
{
    errno = 4711;
    EzcomSendRequest(-1, Request("x"));
    EzcomReceiveRequest(pair_.far, Request(), 1);
    EzcomConnectPipe("dp:/res/test/nobody");

    EXPECT_EQ(errno, 4711);
}
