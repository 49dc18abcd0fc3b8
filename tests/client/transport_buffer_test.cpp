// The one buffer of an exchange, and the verdict in its answer.
#include <cerrno>

#include "tests/client/client_test.h"

namespace {

using platform::Fails;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TransportBuffer : public ClientTest {
protected:
    bool Send()
    {
        return client.SendRequestToOwnerByVfs(ProcMgr::DUMP_APP, kDataMaster, {}, response, -1);
    }

    ProcMgr::OwnerlinkResponseMsg response;
};

TEST_F(TransportBuffer, IsTheOnlyAllocationOfTheExchange)
{
    platform::AnswerAll(Replies("1"));

    EXPECT_TRUE(Send());

    EXPECT_THAT(platform::Calls("new[]"), ElementsAre("new[](3904)"));
}

TEST_F(TransportBuffer, FailedAllocationClosesTheDescriptorWithoutARecord)
{
    platform::SetNext("new[]", {Fails(ENOMEM)});

    EXPECT_FALSE(Send());

    EXPECT_THAT(ExchangeCalls(), ElementsAre("open(dp:/res/dm,O_RDWR)=7",
                                             "IAMResetFileConfig(7,5000)=0", "close(7)=0"));
    EXPECT_THAT(platform::Records(), ElementsAre(Info(HasSubstr("open succeed"))));
}

TEST_F(TransportBuffer, DeletingNoneIsSafe)
{
    IAMIoctlArg arg{};

    client.DeleteRequest(arg);

    EXPECT_EQ(arg.buf, nullptr);
}

TEST_F(TransportBuffer, IsGeneratedAndDeletedWithItsArgument)
{
    ProcMgr::OwnerlinkRequestMsg request;
    request.size = 1;
    request.data[0] = 'a';
    IAMIoctlArg arg{};

    EXPECT_TRUE(client.GenerateRequest(arg, request, kIam));
    const auto* const bytes = static_cast<const uint8_t*>(arg.buf);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + arg.size), RecordBytes("a", 5000));
    client.DeleteRequest(arg);

    EXPECT_EQ(arg.size, 3904u);
    EXPECT_EQ(arg.buf, nullptr);
}

TEST_F(TransportBuffer, FailedCopyLeavesItToTheCaller)
{
    platform::FailCopies([](std::size_t) { return true; }, EINVAL);
    IAMIoctlArg arg{};

    EXPECT_FALSE(client.GenerateRequest(arg, {}, kIam));

    EXPECT_NE(arg.buf, nullptr);
    client.DeleteRequest(arg);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("GenerateRequest, memcpy_s failed. "
                                  "(resFileName=dp:/res/iam,err=22,msgsize=3904 bytes)")));
}

struct Verdict {
    std::string name;
    std::string payload;
    bool result;
};

void PrintTo(const Verdict& verdict, std::ostream* out)
{
    *out << verdict.name;
}

class ResponseVerdict : public ClientTest, public ::testing::WithParamInterface<Verdict> {};

TEST_P(ResponseVerdict, IsTheBooleanThatTheTextStartsWith)
{
    ProcMgr::OwnerlinkResponseMsg response;
    response.size = GetParam().payload.size();
    GetParam().payload.copy(response.data, sizeof(response.data));

    EXPECT_EQ(client.GetResultFromResponse(response), GetParam().result);

    EXPECT_THAT(platform::Records(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ResponseVerdict,
    ::testing::Values(Verdict{"One", "1", true}, Verdict{"Zero", "0", false},
                      Verdict{"OneWithSeparator", "1#", true},
                      Verdict{"ZeroWithSeparator", "0#", false}, Verdict{"Blank", " ", false},
                      Verdict{"OneBehindABlank", " 1", true}, Verdict{"NoNumber", "x1", false},
                      Verdict{"Word", "true", false}, Verdict{"AnotherNumber", "7", true},
                      Verdict{"FullPayload", "1" + std::string(3887, '#'), true}),
    [](const auto& test) { return test.param.name; });

struct BadSize {
    std::string name;
    uint64_t size;
    std::string record;
};

void PrintTo(const BadSize& size, std::ostream* out)
{
    *out << size.name;
}

class ResponseSize : public ClientTest, public ::testing::WithParamInterface<BadSize> {};

TEST_P(ResponseSize, OutsideOfTheRecordIsRefused)
{
    ProcMgr::OwnerlinkResponseMsg response;
    response.size = GetParam().size;
    response.data[0] = '1';

    EXPECT_FALSE(client.GetResultFromResponse(response));

    EXPECT_THAT(platform::Records(), ElementsAre(Error(GetParam().record)));
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, ResponseSize,
    ::testing::Values(BadSize{"None", 0, "GetResultFromResponse resp size=0 bytes"},
                      BadSize{"OneTooMany", 3889, "GetResultFromResponse resp size=3889 bytes"},
                      BadSize{"BeyondTheRecordsDigits", 0x100000001,
                              "GetResultFromResponse resp size=1 bytes"}),
    [](const auto& test) { return test.param.name; });

}  // namespace
