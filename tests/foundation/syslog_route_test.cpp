// The routes after the switch to syslog. The records are the core's own: only its calls of syslog
// reach the double.
#include <ownerlink/wire.h>
#include <ownerlink/yaml_node.h>

#include "foundation/log_routes.h"
#include "tests/support/platform_test.h"

namespace {

using namespace ProcMgr;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

class SyslogRoute : public PlatformTest {
protected:
    SyslogRoute() { EnableSyslogState(); }
};

OwnerlinkRequestMsg OversizedRequest()
{
    OwnerlinkRequestMsg request;
    request.size = sizeof(request.data) + 1;
    return request;
}

TEST_F(SyslogRoute, StaysOnOnceItIsOn)
{
    EnableSyslogState();

    EXPECT_TRUE(IsSyslogEnable());
}

TEST_F(SyslogRoute, TakesServerRecordsWithoutAskingForTheirLevel)
{
    const auto request = OversizedRequest();
    int state = 0;

    SS::UnPackSetSystemStateRequest(&request, state);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_ERR, "request size=3889 bytes is invalid")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(SyslogRoute, TakesServerRecordsThatThePlatformLogWouldNotWrite)
{
    platform::SetLogLevels(0);
    const auto request = OversizedRequest();
    int state = 0;

    SS::UnPackSetSystemStateRequest(&request, state);

    EXPECT_THAT(platform::Errors(), ElementsAre("request size=3889 bytes is invalid"));
}

TEST_F(SyslogRoute, LeavesClientRecordsInThePlatformLog)
{
    std::vector<std::pair<unsigned int, std::string>> items;
    std::vector<OwnerlinkRequestMsg> records;

    Ownerlink::Serialization::ProcMgrCombinePiecesMsg(items, records);

    EXPECT_THAT(platform::Records(),
                ElementsAre(FromUnit(
                    "OwnerlinkSerialization",
                    ErrorRecord(54, "ProcMgrCombinePiecesMsg failed: packedRequest is empty!!"))));
    EXPECT_THAT(platform::LevelQueries(), ElementsAre(platform::LevelQuery{54, 3}));
}

TEST_F(SyslogRoute, LeavesTheMessagesOfYamlAsTheyWere)
{
    KvsTypeYaml node;

    node.InitYamlNode("/no/such/file");

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(SyslogRecord(LOG_INFO, EndsWith("file not found, yamlPath=/no/such/file"))));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(SyslogRoute, IsKnownToDropWhatTheMaskDrops)
{
    const int former = setlogmask(LOG_UPTO(LOG_WARNING));

    EXPECT_FALSE(MayWriteServerLog(GRP_LOG_INFO));
    EXPECT_FALSE(MayWriteServerLog(GRP_LOG_NOTICE));
    EXPECT_TRUE(MayWriteServerLog(GRP_LOG_WARN));
    EXPECT_TRUE(MayWriteServerLog(GRP_LOG_ERROR));

    EXPECT_EQ(setlogmask(former), LOG_UPTO(LOG_WARNING));
}

}  // namespace
