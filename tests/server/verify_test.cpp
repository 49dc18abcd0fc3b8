// The verification: what the manager believes it changed, for the owner to check.
#include "tests/server/server_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr unsigned kVerify = 8;

class Verify : public ServerTest {
protected:
    void Register(bool verdict)
    {
        server.RegSsVerifyAppCallBackImpl(
            [this, verdict](const std::map<std::string, unsigned int>& optionTypes) {
                ++runs;
                record = optionTypes;
                return verdict;
            },
            kResFile);
        platform::ClearHistory();
    }

    int runs = 0;
    std::map<std::string, unsigned int> record;
};

TEST_F(Verify, PassesTheRecordAndLogsItInKeyOrder)
{
    Register(true);

    const Answer answer = Send(kVerify, "4#d#3#b#2#a#0#c#1#");

    EXPECT_EQ(answer.Payload(), "1");
    EXPECT_EQ(answer.result, 9);
    EXPECT_THAT(record, ElementsAre(Pair("a", 0), Pair("b", 2), Pair("c", 1), Pair("d", 3)));
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecInfo("UnPackVerifyRequest ssMsgStr=<4#d#3#b#2#a#0#c#1#,18>"),
                            CodecInfo("UnPackVerifyRequest appInfo size=4"),
                            Warning("VerifyApp receive changeRecord name=a opt=START"),
                            Warning("VerifyApp receive changeRecord name=b opt=RESTART"),
                            Warning("VerifyApp receive changeRecord name=c opt=TERM"),
                            Warning("VerifyApp receive changeRecord name=d opt="),
                            Warning("VerifyApp callback end. ret=1")));
}

TEST_F(Verify, RefusalAnswersZero)
{
    Register(false);

    EXPECT_EQ(Send(kVerify, "1#a#0#").Payload(), "0");

    EXPECT_THAT(platform::Warnings(), ElementsAre("VerifyApp receive changeRecord name=a opt=START",
                                                  "VerifyApp callback end. ret=0"));
}

TEST_F(Verify, OfNothingStillCalls)
{
    Register(true);

    EXPECT_EQ(Send(kVerify, "0#").Payload(), "1");

    EXPECT_EQ(runs, 1);
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(Verify, StartsEachRecordAfresh)
{
    Register(true);
    Send(kVerify, "1#a#0#");

    Send(kVerify, "1#b#1#");

    EXPECT_THAT(record, ElementsAre(Pair("b", 1)));
}

TEST_F(Verify, WithoutACallbackAnswersZeroAndReadsNothing)
{
    const Answer answer = Send(kVerify, "1#a#0#");

    EXPECT_EQ(answer.Payload(), "0");
    EXPECT_EQ(answer.result, 9);
    EXPECT_THAT(platform::Records(), ElementsAre(Error("VerifyApp failed, callback is nullptr")));
}

TEST_F(Verify, OversizedRequestStillCalls)
{
    Register(true);
    auto request = RequestOf("1#a#0#");
    request.size = 3889;

    EXPECT_EQ(Send(kVerify, request).Payload(), "1");

    EXPECT_EQ(runs, 1);
    EXPECT_THAT(record, IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecError("request size=3889 bytes is invalid"),
                            Error("VerifyApp UnPackVerifyRequest failed, change record size=0"),
                            Warning("VerifyApp callback end. ret=1")));
}

TEST_F(Verify, CountAboveTheLimitStillCalls)
{
    Register(false);

    EXPECT_EQ(Send(kVerify, "1025#a#0#").Payload(), "0");

    EXPECT_EQ(runs, 1);
    EXPECT_THAT(platform::Errors(),
                ElementsAre("UnPackVerifyRequest appInfo size=1025 > 1024",
                            "VerifyApp UnPackVerifyRequest failed, change record size=0"));
}

TEST_F(Verify, FailedCopyIsLoggedAndKeepsTheSize)
{
    Register(true);
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});

    const Answer answer = Send(kVerify, "0#");

    EXPECT_EQ(answer.result, 9);
    EXPECT_EQ(answer.Payload(), std::string(1, '\0'));
    EXPECT_THAT(platform::Errors(), ElementsAre("VerifyApp memcpy_s failed, err=34"));
    EXPECT_EQ(platform::Calls("memcpy_s").front(), "memcpy_s(3888,1)=34 ERANGE");
}

TEST_F(Verify, IsLoggedToSyslogInTheSameWords)
{
    Register(true);
    server.EnableSyslog();
    Send(kVerify, "1025#");
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});
    Send(kVerify, "1#a#0#");
    server.RegSsVerifyAppCallBackImpl({}, kResFile);
    Send(kVerify, "0#");

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            SyslogRecord(LOG_INFO, "UnPackVerifyRequest ssMsgStr=<1025#,5>"),
            SyslogRecord(LOG_ERR, "UnPackVerifyRequest appInfo size=1025 > 1024"),
            SyslogRecord(LOG_ERR, "VerifyApp UnPackVerifyRequest failed, change record size=0"),
            SyslogRecord(LOG_WARNING, "VerifyApp callback end. ret=1"),
            SyslogRecord(LOG_INFO, "UnPackVerifyRequest ssMsgStr=<1#a#0#,6>"),
            SyslogRecord(LOG_INFO, "UnPackVerifyRequest appInfo size=1"),
            SyslogRecord(LOG_WARNING, "VerifyApp receive changeRecord name=a opt=START"),
            SyslogRecord(LOG_WARNING, "VerifyApp callback end. ret=1"),
            SyslogRecord(LOG_ERR, "VerifyApp memcpy_s failed, err=34"),
            SyslogRecord(LOG_ERR, "VerifyApp failed, callback is nullptr")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

}  // namespace
