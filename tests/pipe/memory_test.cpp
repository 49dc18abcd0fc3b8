// What pipes answer when there is no memory.
#include <string>

#include "tests/pipe/pipe_world.h"
#include "tests/support/failing_allocations.h"

namespace {

class PipeMemory : public HostedTest {
protected:
    // The result of `call` with its n-th allocation failing, for each n that it reaches.
    template <typename Call>
    static void ExpectEnomemUntilItSucceeds(Call call)
    {
        int result = -ENOMEM;
        for (int n = 0; result == -ENOMEM; ++n) {
            const size_t descriptors = OpenDescriptors();
            FailAllocation(n);
            result = call();
            FailAllocation(kNoAllocation);
            ASSERT_TRUE(result >= 0 || result == -ENOMEM) << result;
            EXPECT_TRUE(result >= 0 || OpenDescriptors() == descriptors) << n;
        }
    }
};

}  // namespace

TEST_F(PipeMemory, IsMissingWhereARecordIsMade)
{
    FailAllocation(0);
    EXPECT_EQ(EzcomMakeRequest(), nullptr);
    FailAllocation(0);
    EXPECT_EQ(EzcomMakeResponse(), nullptr);
}

TEST_F(PipeMemory, IsMissingWhereARecordIsFilled)
{
    const Request request("before", 1);
    const Response response("before", 1);

    FailAllocation(0);
    EXPECT_EQ(EzcomFillRequest(request, 2, "after", 5), -ENOMEM);
    FailAllocation(0);
    EXPECT_EQ(EzcomFillResponse(response, 2, "after", 5), -ENOMEM);
    FailAllocation(kNoAllocation);

    EXPECT_EQ(request.Text(), "before");
    EXPECT_EQ(request.Type(), 1U);
    EXPECT_EQ(response.Text(), "before");
    EXPECT_EQ(response.Type(), 1U);
}

TEST_F(PipeMemory, IsMissingWhereAPipeIsMade)
{
    int socket = -1;
    ExpectEnomemUntilItSucceeds([&] { return EzcomMakePipe(&socket); });
    EXPECT_GE(socket, 0);

    ExpectEnomemUntilItSucceeds([&] { return EzcomAdoptPipe(socket); });
}

TEST_F(PipeMemory, IsMissingWhereANameIsPublishedAndDoesNotKeepItTaken)
{
    ExpectEnomemUntilItSucceeds([] { return EzcomListen(kPipeName); });

    EXPECT_GE(EzcomConnectPipe(kPipeName), kFirstPipe);
}

TEST_F(PipeMemory, IsMissingWhereANameIsConnectedToAndAccepted)
{
    const int listener = EzcomListen(kPipeName);
    ASSERT_GE(listener, kFirstPipe);

    ExpectEnomemUntilItSucceeds([] { return EzcomConnectPipe(kPipeName); });

    EXPECT_GE(EzcomAcceptPipe(listener, kNoLimit), kFirstPipe);
}

TEST_F(PipeMemory, IsNotNeededToSend)
{
    const PipePair pair;
    const Request request(std::string(1000, 'x'));

    FailAllocation(0);
    EXPECT_EQ(EzcomSendRequest(pair.near, request), 0);
    FailAllocation(kNoAllocation);

    EXPECT_EQ(ReceiveText(pair.far), std::string(1000, 'x'));
}

TEST_F(PipeMemory, ThatCannotKeepAMessageEndsThePipe)
{
    const PipePair pair;
    const Request request;
    EXPECT_EQ(EzcomSendRequest(pair.near, Request(std::string(1000, 'x'))), 0);

    FailAllocation(0);
    EXPECT_EQ(EzcomReceiveRequest(pair.far, request, kNoLimit), -EPIPE);
    FailAllocation(kNoAllocation);

    EXPECT_EQ(EzcomSendRequest(pair.near, Request("x")), -EPIPE);
}
