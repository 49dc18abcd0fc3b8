#include <cerrno>

#include "platform/ezcom.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class Pipes : public PlatformTest {
protected:
    char storage_[2]{};
    EzcomRequest* request_ = reinterpret_cast<EzcomRequest*>(&storage_[0]);
    EzcomResponse* response_ = reinterpret_cast<EzcomResponse*>(&storage_[1]);
};

TEST_F(Pipes, AnswerZeroUnlessAResultIsSet)
{
    EXPECT_EQ(EzcomSendRequest(3, request_), 0);
    EXPECT_EQ(EzcomSendResponse(3, response_), 0);
    EXPECT_EQ(EzcomRPCSync(3, request_, response_), 0);
    EXPECT_EQ(EzcomTimedRPCSync(3, request_, response_, 250), 0);
    EXPECT_EQ(EzcomClosePipe(3), 0);

    EXPECT_THAT(platform::Calls(),
                ElementsAre("EzcomSendRequest(3)=0", "EzcomSendResponse(3)=0", "EzcomRPCSync(3)=0",
                            "EzcomTimedRPCSync(3,250)=0", "EzcomClosePipe(3)=0"));
}

TEST_F(Pipes, KeepTheArguments)
{
    EzcomTimedRPCSync(3, request_, response_, 250);
    EzcomSendRequest(4, nullptr);

    ASSERT_THAT(platform::PipeCalls(), SizeIs(2));
    const platform::PipeCall call = platform::PipeCalls()[0];
    EXPECT_EQ(call.function, "EzcomTimedRPCSync");
    EXPECT_EQ(call.pipe, 3);
    EXPECT_EQ(call.request, request_);
    EXPECT_EQ(call.response, response_);
    EXPECT_EQ(call.timeoutMs, 250);
    EXPECT_EQ(platform::PipeCalls()[1].request, nullptr);
}

TEST_F(Pipes, TakeSetResultsByPipe)
{
    platform::SetNext("EzcomSendRequest", platform::Times(2, platform::Gives(-11)), "3");

    EXPECT_EQ(EzcomSendRequest(4, request_), 0);
    EXPECT_EQ(EzcomSendRequest(3, request_), -11);
    EXPECT_EQ(EzcomSendRequest(3, request_), -11);
    EXPECT_EQ(EzcomSendRequest(3, request_), 0);
}

}  // namespace
