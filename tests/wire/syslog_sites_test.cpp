#include <ownerlink/log.h>

#include "tests/wire/log_sites_matchers.h"

namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class OnSyslog : public PlatformTest, public ::testing::WithParamInterface<LogSite> {
protected:
    OnSyslog() { ProcMgr::EnableSyslogState(); }
};

class ClientLogSitesOnSyslog : public OnSyslog {};
class ServerLogSitesOnSyslog : public OnSyslog {};

TEST_P(ServerLogSitesOnSyslog, WriteTheSameTextWithoutAHeadAndAskForNoLevel)
{
    platform::SetLogLevels(0);

    GetParam().reach();

    EXPECT_THAT(platform::Records(), ElementsAreArray(SyslogOf(GetParam())));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_P(ClientLogSitesOnSyslog, StayInThePlatformLog)
{
    GetParam().reach();

    EXPECT_THAT(platform::Records(),
                ElementsAreArray(PlatformLogOf(GetParam(), 54, "OwnerlinkSerialization")));
}

INSTANTIATE_TEST_SUITE_P(Codecs, ServerLogSitesOnSyslog, ::testing::ValuesIn(ServerSites()),
                         SiteName);
INSTANTIATE_TEST_SUITE_P(Codecs, ClientLogSitesOnSyslog, ::testing::ValuesIn(ClientSites()),
                         SiteName);

}  // namespace
