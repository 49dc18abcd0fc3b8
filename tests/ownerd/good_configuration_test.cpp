#include <gmock/gmock.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include "tests/ownerd/configuration_file.h"

using namespace ownerd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

ApplicationConfig ReadApplicationText(const std::string& body)
{
    const ReadResult result = ReadText(WithApplication(body));
    EXPECT_THAT(result.errors, IsEmpty());
    return result.configuration.applications.at(0);
}

}  // namespace

TEST(GoodConfiguration, NeedsNoMoreThanACommand)
{
    const ReadResult result = ReadText(WithApplication(""));

    ASSERT_THAT(result.errors, IsEmpty());
    EXPECT_EQ(result.configuration.group, APPMGR);
    EXPECT_EQ(result.configuration.resource, "dp:/res/pm/appmgr");
    EXPECT_EQ(result.configuration.eventResource, "");
    EXPECT_EQ(result.configuration.whenOwnerDies, WhenOwnerDies::Stop);
    EXPECT_EQ(result.configuration.logMask, LOG_DEBUG);
    ApplicationConfig expected;
    expected.name = "camera";
    expected.launch.command = {"/bin/true"};
    EXPECT_THAT(result.configuration.applications, ElementsAre(expected));
}

TEST(GoodConfiguration, ReadsEveryKeyOfTheOwner)
{
    const ReadResult result = ReadText(
        "group: IAM\nresource: dp:/r\nevent-resource: dp:/e\nsignal-event: SUSPEND_PRE\n"
        "when-owner-dies: keep\nlog-mask: warning\napplications: {a: {command: [/bin/true]}}\n");

    ASSERT_THAT(result.errors, IsEmpty());
    EXPECT_EQ(result.configuration.group, IAM);
    EXPECT_EQ(result.configuration.resource, "dp:/r");
    EXPECT_EQ(result.configuration.eventResource, "dp:/e");
    EXPECT_EQ(result.configuration.signalEvent, ProcMgr::SUSPEND_PRE);
    EXPECT_EQ(result.configuration.whenOwnerDies, WhenOwnerDies::Keep);
    EXPECT_EQ(result.configuration.logMask, LOG_WARNING);
}

TEST(GoodConfiguration, ReadsHowAnApplicationIsLaunched)
{
    const LaunchConfig launch =
        ReadApplicationText(
            "    environment: {MODE: fast, EMPTY: ''}\n    inherit-environment: false\n"
            "    directory: /tmp\n    output: /tmp/camera.log\n"
            "    limits: {open-files: 64, core: unlimited, stack: 8M, data: 2G, file-size: 3K}\n")
            .launch;

    EXPECT_THAT(launch.environment, ElementsAre(Pair("EMPTY", ""), Pair("MODE", "fast")));
    EXPECT_FALSE(launch.inheritsEnvironment);
    EXPECT_EQ(launch.directory, "/tmp");
    EXPECT_EQ(launch.output, (Output{OutputKind::File, "/tmp/camera.log"}));
    EXPECT_THAT(launch.limits, testing::UnorderedElementsAre(Pair(RLIMIT_NOFILE, 64U),
                                                             Pair(RLIMIT_CORE, RLIM_INFINITY),
                                                             Pair(RLIMIT_STACK, 8U << 20U),
                                                             Pair(RLIMIT_DATA, uint64_t{2} << 30U),
                                                             Pair(RLIMIT_FSIZE, 3072U)));
}

TEST(GoodConfiguration, ReadsWhenAnApplicationRuns)
{
    const ApplicationConfig camera = ReadApplicationText(
        "    states: [WORKING, SUSPEND]\n    start: manual\n    restart: always\n"
        "    restart-delay: 5ms\n    restart-delay-max: 1s\n    restart-limit: 7\n"
        "    restart-window: 2min\n");

    EXPECT_THAT(camera.states, ElementsAre(ProcMgr::WORKING, ProcMgr::SUSPEND));
    EXPECT_EQ(camera.start, StartMode::Manual);
    EXPECT_EQ(camera.restart, RestartPolicy::Always);
    EXPECT_EQ(camera.restartDelay, Milliseconds(5));
    EXPECT_EQ(camera.restartDelayMax, Milliseconds(1000));
    EXPECT_EQ(camera.restartLimit, 7U);
    EXPECT_EQ(camera.restartWindow, Milliseconds(120000));
}

TEST(GoodConfiguration, ReadsHowAnApplicationStartsAndStops)
{
    const ApplicationConfig camera = ReadApplicationText(
        "    ready: notify\n    start-time: 0\n    ready-within: 3s\n    stop-signal: INT\n"
        "    stop-grace: 40ms\n    suspend-pre: SIGUSR1\n    suspend-cancel: SIGUSR2\n");

    EXPECT_EQ(camera.ready, Readiness::Notify);
    EXPECT_EQ(camera.startTime, Milliseconds(0));
    EXPECT_EQ(camera.readyWithin, Milliseconds(3000));
    EXPECT_EQ(camera.stopSignal, SIGINT);
    EXPECT_EQ(camera.stopGrace, Milliseconds(40));
    EXPECT_EQ(camera.suspendPre, SuspendPre::Signal);
    EXPECT_EQ(camera.prepareSignal, SIGUSR1);
    EXPECT_EQ(camera.cancelSignal, SIGUSR2);
}

TEST(GoodConfiguration, ReadsStatesAsAnEmptyList)
{
    EXPECT_THAT(ReadApplicationText("    states: []\n").states, IsEmpty());
}

TEST(GoodConfiguration, OrdersApplicationsBehindThoseTheyStartAfter)
{
    const ReadResult result = ReadText(Globals() +
                                       "applications:\n"
                                       "  c: {command: [/bin/true], after: [b, a]}\n"
                                       "  b: {command: [/bin/true], after: [a]}\n"
                                       "  d: {command: [/bin/true]}\n"
                                       "  a: {command: [/bin/true]}\n");

    ASSERT_THAT(result.errors, IsEmpty());
    std::vector<std::string> names;
    for (const ApplicationConfig& application : result.configuration.applications) {
        names.push_back(application.name);
    }
    EXPECT_THAT(names, ElementsAre("d", "a", "b", "c"));
}

TEST(GoodConfiguration, WarnsOfAProgramThatIsNotThere)
{
    const ReadResult result =
        ReadText(Globals() + "applications: {camera: {command: [/no/such/program]}}\n");

    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_THAT(result.warnings, ElementsAre("FILE: applications.camera.command: /no/such/program: "
                                             "No such file or directory"));
}

TEST(GoodConfiguration, TakesAUserAndAGroupFromRoot)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may name a user";
    }

    const auto identity = ReadApplicationText("    user: nobody\n    group: '0'\n").launch.identity;

    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->user, "nobody");
    EXPECT_NE(identity->uid, 0U);
    EXPECT_EQ(identity->gid, 0U);
}
