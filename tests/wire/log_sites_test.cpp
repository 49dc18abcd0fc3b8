#include "tests/wire/log_sites_matchers.h"

namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// The level queries that go with the records, one each.
std::vector<platform::LevelQuery> QueriesOf(const std::vector<platform::LogRecord>& records)
{
    std::vector<platform::LevelQuery> queries;
    for (const platform::LogRecord& record : records) {
        queries.push_back({record.module, record.level});
    }
    return queries;
}

class LogSites : public PlatformTest, public ::testing::WithParamInterface<LogSite> {};

class ClientLogSites : public LogSites {};
class ServerLogSites : public LogSites {};

TEST_P(ClientLogSites, WriteToModule54OfThePlatformLog)
{
    GetParam().reach();

    EXPECT_THAT(platform::Records(),
                ElementsAreArray(PlatformLogOf(GetParam(), 54, "OwnerlinkSerialization")));
    EXPECT_EQ(platform::LevelQueries(), QueriesOf(platform::Records()));
}

TEST_P(ServerLogSites, WriteToModule27OfThePlatformLog)
{
    GetParam().reach();

    EXPECT_THAT(platform::Records(),
                ElementsAreArray(PlatformLogOf(GetParam(), 27, "ownerlink_serialization")));
    EXPECT_EQ(platform::LevelQueries(), QueriesOf(platform::Records()));
}

// The clock behind a boot trace is an argument that takes time.
void ExpectSilence(const LogSite& site, int answer)
{
    platform::SetLogLevels(answer);

    site.reach();

    EXPECT_EQ(platform::LevelQueries().size(), site.records.size());
    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::Calls("clock_gettime"), IsEmpty());
}

TEST_P(ClientLogSites, WriteNothingAndReadNoClockWhenTheLevelIsOff)
{
    ExpectSilence(GetParam(), 0);
}

TEST_P(ClientLogSites, WriteNothingForAnAnswerOf2)
{
    ExpectSilence(GetParam(), 2);
}

TEST_P(ServerLogSites, WriteNothingAndReadNoClockWhenTheLevelIsOff)
{
    ExpectSilence(GetParam(), 0);
}

TEST_P(ServerLogSites, WriteNothingForAnAnswerOf2)
{
    ExpectSilence(GetParam(), 2);
}

INSTANTIATE_TEST_SUITE_P(Codecs, ClientLogSites, ::testing::ValuesIn(ClientSites()), SiteName);
INSTANTIATE_TEST_SUITE_P(Codecs, ServerLogSites, ::testing::ValuesIn(ServerSites()), SiteName);

#if !defined(__aarch64__)  // where the processor itself is the counter

class WithoutBootClock : public PlatformTest {
protected:
    WithoutBootClock() { platform::SetStanding("clock_gettime", platform::Fails(EINVAL)); }
};

TEST_F(WithoutBootClock, TracedRecordsStartWithABlank)
{
    const auto request = RequestWithText("0#");
    std::vector<AppInfo> apps;

    ProcMgr::SS::UnPackChangeAppInfoRequestMsg(&request, apps);

    EXPECT_THAT(platform::Milestones(),
                ::testing::ElementsAre(" ChangeAppState owner unpack request:0# timeout=5000 ms"));
}

#endif

}  // namespace
