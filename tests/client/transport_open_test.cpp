// How an exchange opens its owner's resource file.
#include <cerrno>

#include "tests/client/client_test.h"

namespace {

using platform::Fails;
using platform::Gives;
using platform::Times;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TransportOpen : public ClientTest {
protected:
    TransportOpen() { platform::AnswerAll(Replies("1")); }

    bool Send()
    {
        return client.SendRequestToOwnerByVfs(ProcMgr::DUMP_APP, kDataMaster, {}, response, -1);
    }

    ProcMgr::OwnerlinkResponseMsg response;
};

TEST_F(TransportOpen, OpensForReadingAndWriting)
{
    EXPECT_TRUE(Send());

    EXPECT_THAT(platform::Calls("open"), ElementsAre("open(dp:/res/dm,O_RDWR)=7"));
    EXPECT_THAT(platform::Records(),
                ::testing::Contains(
                    Info("SendRequestToOwnerByVfs, open succeed. (fd=7,resFileName=dp:/res/dm)")));
}

TEST_F(TransportOpen, FailsAtOnceWithAnyErrorButATimeOut)
{
    platform::SetNext("open", {Fails(ENOENT)});

    EXPECT_FALSE(Send());

    EXPECT_THAT(platform::Calls(), ElementsAre("open(dp:/res/dm,O_RDWR)=-1 ENOENT"));
    EXPECT_THAT(platform::Records(), ElementsAre(Error("SendRequestToOwnerByVfs, open failed. "
                                                       "(fd=-1,resFileName=dp:/res/dm,err=2)")));
}

TEST_F(TransportOpen, FailureAtOnceIsLoggedWithWhatTheOpenGave)
{
    platform::SetNext("open", {{-7, EACCES, false}});

    EXPECT_FALSE(Send());

    EXPECT_THAT(platform::Calls(), ElementsAre("open(dp:/res/dm,O_RDWR)=-7 EACCES"));
    EXPECT_THAT(platform::Records(), ElementsAre(Error("SendRequestToOwnerByVfs, open failed. "
                                                       "(fd=-7,resFileName=dp:/res/dm,err=13)")));
}

TEST_F(TransportOpen, GivesUpAfterFourAttemptsWithASleepBehindEachRetry)
{
    platform::SetNext("open", Times(4, Fails(ETIMEDOUT)));

    EXPECT_FALSE(Send());

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("open(dp:/res/dm,O_RDWR)=-1 ETIMEDOUT", "open(dp:/res/dm,O_RDWR)=-1 ETIMEDOUT",
                    "usleep(10000)", "open(dp:/res/dm,O_RDWR)=-1 ETIMEDOUT", "usleep(10000)",
                    "open(dp:/res/dm,O_RDWR)=-1 ETIMEDOUT", "usleep(10000)",
                    "log(54,3) SendRequestToOwnerByVfs, open failed after retry 3 times. "
                    "(fd=-1,resFileName=dp:/res/dm,err=110)",
                    "log(54,3) SendRequestToOwnerByVfs, open failed. "
                    "(fd=-1,resFileName=dp:/res/dm,err=110)"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error(HasSubstr("after retry")), Error(HasSubstr("open failed. "))));
}

// The count is of the retries that failed before the one that worked.
struct LateOpen {
    std::size_t failures;
    std::size_t sleeps;
    std::string record;
};

void PrintTo(const LateOpen& open, std::ostream* out)
{
    *out << "after " << open.failures;
}

class TransportLateOpen : public TransportOpen, public ::testing::WithParamInterface<LateOpen> {};

TEST_P(TransportLateOpen, CountsTheRetriesThatFailed)
{
    platform::SetNext("open", Times(GetParam().failures, Fails(ETIMEDOUT)));

    EXPECT_TRUE(Send());

    EXPECT_EQ(platform::Calls("open").size(), GetParam().failures + 1);
    EXPECT_EQ(platform::Calls("usleep").size(), GetParam().sleeps);
    EXPECT_THAT(platform::Errors(), IsEmpty());
    EXPECT_THAT(
        ClientRecords(HasSubstr("open succ")),
        ElementsAre(Milestone(GetParam().record), Info("SendRequestToOwnerByVfs, open succeed. "
                                                       "(fd=7,resFileName=dp:/res/dm)")));
}

INSTANTIATE_TEST_SUITE_P(
    Failures, TransportLateOpen,
    ::testing::Values(LateOpen{1, 0,
                               "SendRequestToOwnerByVfs, open succ after retry 0 times. "
                               "(fd=7,resFileName=dp:/res/dm,err=110)"},
                      LateOpen{2, 1,
                               "SendRequestToOwnerByVfs, open succ after retry 1 times. "
                               "(fd=7,resFileName=dp:/res/dm,err=110)"},
                      LateOpen{3, 2,
                               "SendRequestToOwnerByVfs, open succ after retry 2 times. "
                               "(fd=7,resFileName=dp:/res/dm,err=110)"}),
    [](const auto& test) { return "After" + std::to_string(test.param.failures); });

TEST_F(TransportOpen, RetryThatFailsOtherwiseStopsTheLoopAfterItsSleep)
{
    platform::SetNext("open", {Fails(ETIMEDOUT), Fails(EACCES)});

    EXPECT_FALSE(Send());

    EXPECT_THAT(platform::Calls(),
                ElementsAre("open(dp:/res/dm,O_RDWR)=-1 ETIMEDOUT",
                            "open(dp:/res/dm,O_RDWR)=-1 EACCES", "usleep(10000)"));
    EXPECT_THAT(platform::Records(), ElementsAre(Error("SendRequestToOwnerByVfs, open failed. "
                                                       "(fd=-1,resFileName=dp:/res/dm,err=13)")));
}

TEST_F(TransportOpen, SecondRetryThatFailsOtherwiseStopsTheLoopToo)
{
    platform::SetNext("open", {Fails(ETIMEDOUT), Fails(ETIMEDOUT), Fails(ENOENT)});

    EXPECT_FALSE(Send());

    EXPECT_EQ(platform::Calls("open").size(), 3u);
    EXPECT_EQ(platform::Calls("usleep").size(), 2u);
    EXPECT_THAT(platform::Records(), ElementsAre(Error("SendRequestToOwnerByVfs, open failed. "
                                                       "(fd=-1,resFileName=dp:/res/dm,err=2)")));
}

// The counter reaches 3 whatever the last retry failed with.
TEST_F(TransportOpen, LastRetryThatFailsOtherwiseStillWritesBothRecords)
{
    platform::SetNext("open", {Fails(ETIMEDOUT), Fails(ETIMEDOUT), Fails(ETIMEDOUT), Fails(EPIPE)});

    EXPECT_FALSE(Send());

    EXPECT_EQ(platform::Calls("usleep").size(), 3u);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("SendRequestToOwnerByVfs, open failed after retry 3 times. "
                                  "(fd=-1,resFileName=dp:/res/dm,err=32)"),
                            Error("SendRequestToOwnerByVfs, open failed. "
                                  "(fd=-1,resFileName=dp:/res/dm,err=32)")));
}

TEST_F(TransportOpen, SleepThatChangesErrnoDoesNotEndTheRetries)
{
    platform::SetNext("open", Times(3, Fails(ETIMEDOUT)));
    platform::SetStanding("usleep", Fails(EINTR));

    EXPECT_TRUE(Send());

    EXPECT_EQ(platform::Calls("open").size(), 4u);
}

TEST_F(TransportOpen, TakesDescriptor0)
{
    platform::SetNext("open", {Gives(0)});

    EXPECT_TRUE(Send());

    EXPECT_THAT(ExchangeCalls(),
                ElementsAre("open(dp:/res/dm,O_RDWR)=0", "IAMResetFileConfig(0,5000)=0",
                            "ioctl(0,4)=0", "close(0)=0"));
}

TEST_F(TransportOpen, LeavesADescriptorAloneThatIsNotForVerification)
{
    client.SendRequestToOwnerByVfs(ProcMgr::DUMP_APP, kDataMaster, {}, response, 42);

    EXPECT_THAT(ExchangeCalls(),
                ElementsAre("open(dp:/res/dm,O_RDWR)=7", "IAMResetFileConfig(7,5000)=0",
                            "ioctl(7,4)=0", "close(7)=0"));
}

TEST_F(TransportOpen, MarksTheRetryMilestoneInBothCallsOfTheLog)
{
    platform::SetNext("open", {Fails(ETIMEDOUT)});

    Send();

    EXPECT_THAT(platform::LevelQueries(),
                ::testing::Contains(platform::LevelQuery{kClientModule | kMilestoneBit, 1}));
    EXPECT_THAT(platform::Records(), ::testing::Contains(Milestone(HasSubstr("after retry"))));
}

TEST_F(TransportOpen, FailsWithoutARecordWhenTheLogIsOff)
{
    platform::SetLogLevels(0);
    platform::SetNext("open", Times(4, Fails(ETIMEDOUT)));

    EXPECT_FALSE(Send());

    EXPECT_EQ(platform::Calls("open").size(), 4u);
    EXPECT_THAT(platform::Records(), IsEmpty());
}

}  // namespace
