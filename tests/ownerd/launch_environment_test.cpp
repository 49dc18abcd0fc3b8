#include "tools/ownerd/launch_environment.h"

#include <gmock/gmock.h>

#include <cstdlib>

using namespace ownerd;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

namespace {

ApplicationConfig Camera()
{
    ApplicationConfig config;
    config.name = "camera";
    config.launch.inheritsEnvironment = false;
    return config;
}

}  // namespace

TEST(LaunchEnvironment, NamesTheOwnerTheApplicationAndItsSocket)
{
    EXPECT_THAT(
        MakeEnvironment(Camera(), {"1:2/r", "@socket", {}}),
        ElementsAre("NOTIFY_SOCKET=@socket", "OWNERLINK_APP=camera", "OWNERLINK_OWNERD=1:2/r"));
}

TEST(LaunchEnvironment, HandsOverDynamicParametersByIndex)
{
    const Parameters parameters = {{-7, {"x"}}, {0, {}}, {2, {"a", ""}}};

    EXPECT_THAT(
        MakeEnvironment(Camera(), {"o", "", parameters}),
        ElementsAre("OWNERLINK_APP=camera", "OWNERLINK_OWNERD=o", "OWNERLINK_PARA_0_COUNT=0",
                    "OWNERLINK_PARA_2_0=a", "OWNERLINK_PARA_2_1=", "OWNERLINK_PARA_2_COUNT=2",
                    "OWNERLINK_PARA_N7_0=x", "OWNERLINK_PARA_N7_COUNT=1"));
}

TEST(LaunchEnvironment, InheritsWhatDoesNotBelongToTheOwnersOwnSupervisor)
{
    ApplicationConfig config = Camera();
    config.launch.inheritsEnvironment = true;
    config.launch.environment = {{"CHANGED", "here"}};
    setenv("KEPT", "yes", 1);
    setenv("CHANGED", "there", 1);
    setenv("NOTIFY_SOCKET", "/run/systemd/notify", 1);
    setenv("WATCHDOG_USEC", "1", 1);

    const std::vector<std::string> environment = MakeEnvironment(config, {"o", "", {}});

    EXPECT_THAT(environment, Contains("KEPT=yes"));
    EXPECT_THAT(environment, Contains("CHANGED=here"));
    EXPECT_THAT(environment, Not(Contains(StartsWith("NOTIFY_SOCKET="))));
    EXPECT_THAT(environment, Not(Contains(StartsWith("WATCHDOG_USEC="))));
}

TEST(LaunchEnvironment, TellsAnotherUserItsNameAndHome)
{
    ApplicationConfig config = Camera();
    config.launch.identity = Identity{"nobody", "/nonexistent", 65534, 65534, {}};

    const std::vector<std::string> environment = MakeEnvironment(config, {"o", "", {}});

    EXPECT_THAT(environment, Contains("USER=nobody"));
    EXPECT_THAT(environment, Contains("LOGNAME=nobody"));
    EXPECT_THAT(environment, Contains("HOME=/nonexistent"));
}
