// Requests and responses as their makers see them.
#include <string>

#include "tests/pipe/pipe_world.h"

namespace {

const std::string kLargest(EZCOM_MAX_DATA, 'x');

}  // namespace

TEST(PipeRecords, AreEmptyWhenMade)
{
    const Request request;
    const Response response;

    EXPECT_EQ(request.Type(), 0U);
    EXPECT_EQ(EzcomRequestSize(request), 0U);
    EXPECT_EQ(EzcomRequestData(request), nullptr);
    EXPECT_EQ(response.Type(), 0U);
    EXPECT_EQ(EzcomResponseSize(response), 0U);
    EXPECT_EQ(EzcomResponseData(response), nullptr);
}

TEST(PipeRecords, KeepACopyOfWhatTheyAreFilledWith)
{
    std::string text("a\0b", 3);
    const Request request(text, 0xffffffff);
    const Response response(text, 1);

    text = "changed";

    EXPECT_EQ(request.Text(), std::string("a\0b", 3));
    EXPECT_EQ(request.Type(), 0xffffffff);
    EXPECT_EQ(response.Text(), std::string("a\0b", 3));
    EXPECT_EQ(response.Type(), 1U);
}

TEST(PipeRecords, MayBeFilledWithTheirOwnData)
{
    const Request request("camera");

    EXPECT_EQ(EzcomFillRequest(request, 1, EzcomRequestData(request), 3), 0);

    EXPECT_EQ(request.Text(), "cam");
}

TEST(PipeRecords, HoldUpTo64KiB)
{
    EXPECT_EQ(Request(kLargest).Text(), kLargest);
    EXPECT_EQ(Response(kLargest).Text(), kLargest);
}

TEST(PipeRecords, RefuseMoreThan64KiBAndStayAsTheyAre)
{
    const std::string tooLarge = kLargest + "x";
    const Request request("before", 1);
    const Response response("before", 1);

    EXPECT_EQ(EzcomFillRequest(request, 2, tooLarge.data(), tooLarge.size()), -EMSGSIZE);
    EXPECT_EQ(EzcomFillResponse(response, 2, tooLarge.data(), tooLarge.size()), -EMSGSIZE);

    EXPECT_EQ(request.Text(), "before");
    EXPECT_EQ(request.Type(), 1U);
    EXPECT_EQ(response.Text(), "before");
    EXPECT_EQ(response.Type(), 1U);
}

TEST(PipeRecords, TakeNoDataFromNull)
{
    const Request request("before");
    const Response response("before");

    EXPECT_EQ(EzcomFillRequest(request, 1, nullptr, 1), -EFAULT);
    EXPECT_EQ(EzcomFillResponse(response, 1, nullptr, 1), -EFAULT);
    EXPECT_EQ(request.Text(), "before");
    EXPECT_EQ(response.Text(), "before");

    EXPECT_EQ(EzcomFillRequest(request, 1, nullptr, 0), 0);
    EXPECT_EQ(EzcomRequestSize(request), 0U);
}

TEST(PipeRecords, MayBeNullWhereThatIsAnError)
{
    EXPECT_EQ(EzcomFillRequest(nullptr, 1, "x", 1), -EFAULT);
    EXPECT_EQ(EzcomFillResponse(nullptr, 1, "x", 1), -EFAULT);
    EXPECT_EQ(EzcomAnswer(nullptr, Request("x")), -EFAULT);
    EXPECT_EQ(EzcomAnswer(Response("x"), nullptr), -EFAULT);
    EXPECT_EQ(EzcomAsksForResponse(nullptr), 0);
    EzcomFreeRequest(nullptr);
    EzcomFreeResponse(nullptr);
}

TEST(PipeRecords, ThatWereNotReceivedAskForNoResponse)
{
    const Request request("x");

    EXPECT_EQ(EzcomAsksForResponse(request), 0);
    EXPECT_EQ(EzcomAnswer(Response("y"), request), -EINVAL);
}
