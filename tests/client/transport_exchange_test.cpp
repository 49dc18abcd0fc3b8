// One exchange behind its open: the buffer, the time-out, the ioctl and the answer.
#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <thread>

#include "tests/client/client_test.h"

namespace {

using platform::Fails;
using platform::Gives;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Transport : public ClientTest {
protected:
    Transport() { platform::AnswerAll(Replies("1#")); }

    bool Send()
    {
        return client.SendRequestToOwnerByVfs(ProcMgr::SET_SYSTEM_STATE, kDataMaster, request,
                                              response, -1);
    }

    std::string Answer() const { return std::string(response.data, response.size); }

    ProcMgr::OwnerlinkRequestMsg request;
    ProcMgr::OwnerlinkResponseMsg response;
};

TEST_F(Transport, OpensConfiguresAsksAndClosesInThisOrder)
{
    EXPECT_TRUE(Send());

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre(
            "open(dp:/res/dm,O_RDWR)=7",
            "log(54,1) SendRequestToOwnerByVfs, open succeed. (fd=7,resFileName=dp:/res/dm)",
            "IAMResetFileConfig(7,5000)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl begins. (fd=7,resFileName=dp:/res/dm)",
            "ioctl(7,2)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl success. "
            "(fd=7,resFileName=dp:/res/dm,ret=0,timeout=5000)",
            "log(54,1) SendRequestToOwnerByVfs success. "
            "(fd=7,resFileName=dp:/res/dm,size=2 bytes,timeout=5000)",
            "close(7)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("open succeed")), Info(HasSubstr("ioctl begins")),
                            Info(HasSubstr("ioctl success")), Info(HasSubstr("Vfs success"))));
}

TEST_F(Transport, SendsTheRecordByteForByte)
{
    request.size = 4;
    request.timeout = -1;
    std::memcpy(request.data, "258#", 4);

    Send();

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("258#", -1));
    EXPECT_EQ(platform::Exchanges()[0].request.size(), 3904u);
}

TEST_F(Transport, HandsTheServerACopyOfTheRequest)
{
    request.size = 2;
    platform::AnswerAll([](const std::string&, unsigned, IAMIoctlArg& arg) {
        std::memset(arg.buf, 0, arg.size);
        return 0;
    });

    Send();

    EXPECT_EQ(request.size, 2u);
    EXPECT_EQ(request.timeout, 5000);
}

TEST_F(Transport, PassesTheTypeAsTheCommandNumber)
{
    for (const auto type :
         {ProcMgr::CHANGE_APP, ProcMgr::QUERY_APP_STATE, ProcMgr::CANCEL_SUSPEND}) {
        client.SendRequestToOwnerByVfs(type, kIam, request, response, -1);
    }

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/iam 0", "dp:/res/iam 9", "dp:/res/iam 10"));
}

TEST_F(Transport, GivesTheFileTheStoredTimeOutUnchecked)
{
    client.SetTimedOut(7);
    Send();
    client.SetTimedOut(-1);
    Send();

    EXPECT_THAT(platform::Calls("IAMResetFileConfig"),
                ElementsAre("IAMResetFileConfig(7,7)=0", "IAMResetFileConfig(7,-1)=0"));
}

TEST_F(Transport, GoesOnWithoutATimeOutThatTheFileRefuses)
{
    platform::SetNext("IAMResetFileConfig", {Fails(EBADF), Gives(1)});

    EXPECT_TRUE(Send());
    EXPECT_TRUE(Send());  // any result but 0 is a failure

    EXPECT_THAT(platform::Errors(),
                ElementsAre("SendRequestToOwnerByVfs, IAMResetFileConfig failed. "
                            "(fd=7,resFileName=dp:/res/dm,timeout=5000ms)",
                            "SendRequestToOwnerByVfs, IAMResetFileConfig failed. "
                            "(fd=7,resFileName=dp:/res/dm,timeout=5000ms)"));
    EXPECT_EQ(platform::Calls("ioctl").size(), 2u);
}

TEST_F(Transport, TimeOutThatChangesMidwayShowsInTheLaterRecords)
{
    platform::AnswerAll([this](const std::string& resource, unsigned command, IAMIoctlArg& arg) {
        client.SetTimedOut(200);
        return Replies("1#")(resource, command, arg);
    });

    EXPECT_TRUE(Send());

    EXPECT_THAT(platform::Calls("IAMResetFileConfig"), ElementsAre("IAMResetFileConfig(7,5000)=0"));
    EXPECT_THAT(platform::Infos(), Contains(HasSubstr("ioctl success. "
                                                      "(fd=7,resFileName=dp:/res/dm,ret=0,"
                                                      "timeout=200)")));
}

TEST_F(Transport, FailedExchangeIsNotTriedAgain)
{
    platform::AnswerAll(FailsWith(ETIMEDOUT));

    EXPECT_FALSE(Send());

    EXPECT_THAT(ExchangeCalls(),
                ElementsAre("open(dp:/res/dm,O_RDWR)=7", "IAMResetFileConfig(7,5000)=0",
                            "ioctl(7,2)=-1 ETIMEDOUT", "close(7)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("open succeed")), Info(HasSubstr("ioctl begins")),
                            Error("SendRequestToOwnerByVfs, ioctl failed. "
                                  "(fd=7,resFileName=dp:/res/dm,ret=-1,err=110,timeout=5000)")));
    EXPECT_EQ(response.size, 0u);
}

TEST_F(Transport, LogsTheOwnersNegativeResultAsItStands)
{
    platform::SetNext("ioctl", {{-15794176, EIO, false}});

    EXPECT_FALSE(Send());

    EXPECT_THAT(platform::Errors(),
                ElementsAre("SendRequestToOwnerByVfs, ioctl failed. "
                            "(fd=7,resFileName=dp:/res/dm,ret=-15794176,err=5,timeout=5000)"));
}

TEST_F(Transport, AnyResultOf0OrMoreIsAnAnswer)
{
    platform::AnswerAll([](const std::string& resource, unsigned command, IAMIoctlArg& arg) {
        return Replies("1#")(resource, command, arg) + 10;
    });

    EXPECT_TRUE(Send());

    EXPECT_THAT(platform::Infos(), Contains("SendRequestToOwnerByVfs, ioctl success. "
                                            "(fd=7,resFileName=dp:/res/dm,ret=10,timeout=5000)"));
    EXPECT_EQ(Answer(), "1#");
}

TEST_F(Transport, TakesAFullPayload)
{
    platform::AnswerAll(Replies(std::string(3887, 'a') + "z"));

    EXPECT_TRUE(Send());

    EXPECT_EQ(Answer(), std::string(3887, 'a') + "z");
    EXPECT_THAT(platform::Infos(),
                Contains("SendRequestToOwnerByVfs success. "
                         "(fd=7,resFileName=dp:/res/dm,size=3888 bytes,timeout=5000)"));
}

TEST_F(Transport, RefusesOneByteMoreAndKeepsItsSize)
{
    platform::AnswerAll(RepliesWithSize(3889, "1#"));

    EXPECT_FALSE(Send());

    EXPECT_EQ(response.size, 3889u);
    EXPECT_EQ(response.data[0], '\0');
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("open succeed")), Info(HasSubstr("ioctl begins")),
                            Info(HasSubstr("ioctl success")),
                            Info("SendRequestToOwnerByVfs response size=3889bytes > 3888bytes")));
    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0"));
}

TEST_F(Transport, RefusesTheLargestSize)
{
    platform::AnswerAll(RepliesWithSize(std::numeric_limits<uint64_t>::max(), "1#"));

    EXPECT_FALSE(Send());

    EXPECT_THAT(platform::Infos(), Contains("SendRequestToOwnerByVfs response "
                                            "size=18446744073709551615bytes > 3888bytes"));
}

TEST_F(Transport, AnswerWithoutAPayloadIsASuccessOfTheExchange)
{
    platform::AnswerAll(Replies(""));

    EXPECT_TRUE(Send());

    EXPECT_EQ(response.size, 0u);
    EXPECT_FALSE(client.GetResultFromResponse(response));
    EXPECT_THAT(platform::Errors(), ElementsAre("GetResultFromResponse resp size=0 bytes"));
}

TEST_F(Transport, LeavesTheResponsesTimeOutAlone)
{
    response.timeout = 1234;
    request.timeout = 200;

    EXPECT_TRUE(Send());

    EXPECT_EQ(response.timeout, 1234);
    EXPECT_EQ(Answer(), "1#");
}

TEST_F(Transport, CopiesNoByteBehindThePayload)
{
    std::memset(response.data, 'x', sizeof(response.data));
    request.data[2] = 'q';

    Send();

    EXPECT_EQ(std::string(response.data, 4), "1#xx");
    EXPECT_EQ(response.data[3887], 'x');
}

TEST_F(Transport, FailsWhenTheAnswerCannotBeCopied)
{
    platform::FailCopies([](std::size_t count) { return count == 2; }, ERANGE);

    EXPECT_FALSE(Send());

    EXPECT_EQ(response.size, 2u);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("open succeed")), Info(HasSubstr("ioctl begins")),
                            Info(HasSubstr("ioctl success")),
                            Info("SendRequestToOwnerByVfs memcpy failed response size=2bytes")));
    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0"));
}

TEST_F(Transport, FailsWhenTheRequestCannotBeCopied)
{
    platform::FailCopies([](std::size_t count) { return count == 3904; }, ERANGE);

    EXPECT_FALSE(Send());

    EXPECT_THAT(ExchangeCalls(), ElementsAre("open(dp:/res/dm,O_RDWR)=7",
                                             "IAMResetFileConfig(7,5000)=0", "close(7)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("open succeed")),
                            Error("GenerateRequest, memcpy_s failed. "
                                  "(resFileName=dp:/res/dm,err=34,msgsize=3904 bytes)")));
}

TEST_F(Transport, FailingCloseTurnsAGoodAnswerIntoAFailure)
{
    platform::SetNext("close", {Fails(EIO)});

    EXPECT_FALSE(Send());

    EXPECT_EQ(Answer(), "1#");
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("open succeed")), Info(HasSubstr("ioctl begins")),
                            Info(HasSubstr("ioctl success")), Info(HasSubstr("Vfs success")),
                            Error("CloseVfsFd, close failed. (fd=7,err=5,ret=-1)")));
}

TEST_F(Transport, CloseThatFailsBehindAFailureIsLoggedToo)
{
    platform::SetNext("ioctl", {Fails(EPIPE)});
    platform::SetNext("close", {Fails(EBADF)});

    EXPECT_FALSE(Send());

    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("ioctl failed"),
                                                "CloseVfsFd, close failed. (fd=7,err=9,ret=-1)"));
}

TEST_F(Transport, PositiveResultOfCloseIsASuccess)
{
    platform::SetNext("close", {Gives(3)});

    EXPECT_TRUE(Send());

    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(Transport, VerificationGoesOverTheGivenDescriptorAndClosesIt)
{
    const int fd = IAMFileOpen(kIam, O_RDONLY);
    platform::ClearHistory();

    EXPECT_TRUE(client.SendRequestToOwnerByVfs(ProcMgr::VERIFY_APP, kIam, {}, response, fd));

    EXPECT_THAT(ExchangeCalls(),
                ElementsAre("IAMResetFileConfig(7,5000)=0", "ioctl(7,8)=0", "close(7)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info(HasSubstr("ioctl begins")), Info(HasSubstr("ioctl success")),
                            Info(HasSubstr("Vfs success"))));
    EXPECT_EQ(Answer(), "1#");
}

TEST_F(Transport, FailedVerificationClosesTheGivenDescriptorToo)
{
    const int fd = IAMFileOpen(kIam, O_RDONLY);
    platform::ClearHistory();
    platform::AnswerAll(FailsWith(EPIPE));

    EXPECT_FALSE(client.SendRequestToOwnerByVfs(ProcMgr::VERIFY_APP, kIam, {}, response, fd));

    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMResetFileConfig(7,5000)=0", "ioctl(7,8)=-1 EPIPE", "close(7)=0"));
}

TEST_F(Transport, VerificationOverAClosedDescriptorFailsInTheExchange)
{
    EXPECT_FALSE(client.SendRequestToOwnerByVfs(ProcMgr::VERIFY_APP, kIam, {}, response, 42));

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMResetFileConfig(42,5000)=-1 EBADF",
                                               "ioctl(42,8)=-1 EBADF", "close(42)=-1 EBADF"));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("SendRequestToOwnerByVfs, IAMResetFileConfig failed. "
                            "(fd=42,resFileName=dp:/res/iam,timeout=5000ms)",
                            "SendRequestToOwnerByVfs, ioctl failed. "
                            "(fd=42,resFileName=dp:/res/iam,ret=-1,err=9,timeout=5000)",
                            "CloseVfsFd, close failed. (fd=42,err=9,ret=-1)"));
}

TEST_F(Transport, RecordsCostNothingWhenTheirLevelIsOff)
{
    platform::SetLogLevel(kClientModule, 1, 0);

    EXPECT_TRUE(Send());

    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::LevelQueries(),
                Contains(platform::LevelQuery{kClientModule, 1}).Times(4));
}

TEST_F(Transport, ExchangesOfManyThreadsDoNotMeet)
{
    platform::AnswerAll([](const std::string& resource, unsigned command, IAMIoctlArg& arg) {
        return Replies(resource)(resource, command, arg);
    });
    std::array<std::string, 8> answers;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        threads.emplace_back([this, i, &answers] {
            ProcMgr::OwnerlinkResponseMsg own;
            client.SendRequestToOwnerByVfs(ProcMgr::DUMP_APP, "file" + std::to_string(i), {}, own,
                                           -1);
            answers[i] = std::string(own.data, own.size);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(answers, ElementsAre("file0", "file1", "file2", "file3", "file4", "file5", "file6",
                                     "file7"));
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

}  // namespace
