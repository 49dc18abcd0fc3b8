// What pipes answer when there is no memory.
#include <cstdlib>
#include <new>
#include <string>

#include "tests/pipe/pipe_world.h"

namespace {

// Which of this thread's next allocations fails; -1: none.
thread_local int allocationsUntilFailure = -1;

void* Allocate(size_t size)
{
    const bool fails = allocationsUntilFailure == 0;
    allocationsUntilFailure -= allocationsUntilFailure >= 0 ? 1 : 0;
    return fails ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(size_t size)
{
    void* const memory = Allocate(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}

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
            allocationsUntilFailure = n;
            result = call();
            allocationsUntilFailure = -1;
            ASSERT_TRUE(result >= 0 || result == -ENOMEM) << result;
            EXPECT_TRUE(result >= 0 || OpenDescriptors() == descriptors) << n;
        }
    }
};

}  // namespace

TEST_F(PipeMemory, IsMissingWhereARecordIsMade)
{
    allocationsUntilFailure = 0;
    EXPECT_EQ(EzcomMakeRequest(), nullptr);
    allocationsUntilFailure = 0;
    EXPECT_EQ(EzcomMakeResponse(), nullptr);
}

TEST_F(PipeMemory, IsMissingWhereARecordIsFilled)
{
    const Request request("before", 1);
    const Response response("before", 1);

    allocationsUntilFailure = 0;
    EXPECT_EQ(EzcomFillRequest(request, 2, "after", 5), -ENOMEM);
    allocationsUntilFailure = 0;
    EXPECT_EQ(EzcomFillResponse(response, 2, "after", 5), -ENOMEM);
    allocationsUntilFailure = -1;

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

    allocationsUntilFailure = 0;
    EXPECT_EQ(EzcomSendRequest(pair.near, request), 0);
    allocationsUntilFailure = -1;

    EXPECT_EQ(ReceiveText(pair.far), std::string(1000, 'x'));
}

TEST_F(PipeMemory, ThatCannotKeepAMessageEndsThePipe)
{
    const PipePair pair;
    const Request request;
    EXPECT_EQ(EzcomSendRequest(pair.near, Request(std::string(1000, 'x'))), 0);

    allocationsUntilFailure = 0;
    EXPECT_EQ(EzcomReceiveRequest(pair.far, request, kNoLimit), -EPIPE);
    allocationsUntilFailure = -1;

    EXPECT_EQ(EzcomSendRequest(pair.near, Request("x")), -EPIPE);
}
