// watch: events as owners report them, and the applications' states.

#include <csignal>

#include "tests/ctl/ctl_test.h"
#include "tests/ctl/example_owner.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

namespace {

const char kEvents[] = "dp:/res/pm/sys_event";
const char kTime[] = "[0-9-]+T[0-9:.]+Z";

bool AwaitSubscription(const Program& watch)
{
    return AwaitLogged("register async fastRead", 1, watch.Process());
}

}  // namespace

TEST_F(CtlTest, WatchPrintsEachEventInOrder)
{
    ExampleOwner owner(APPMGR, {kEvents});
    Program watch({"watch", "--count", "3"});
    ASSERT_TRUE(AwaitSubscription(watch));

    owner.Tell("event WORKING");
    owner.Tell("event SUSPEND");
    owner.Tell("event WORKING");

    const Ended ended = watch.AwaitEnd();
    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_THAT(ended.out,
                MatchesRegex(std::string(kTime) + "  event  WORKING \\(1\\)\n" + kTime +
                             "  event  SUSPEND \\(2\\)\n" + kTime + "  event  WORKING \\(1\\)\n"));
    EXPECT_EQ(ended.err, "");
}

TEST_F(CtlTest, WatchGoesOnWithTheNextLifeOfTheOwner)
{
    auto owner = std::make_unique<ExampleOwner>(APPMGR, Words{kEvents});
    Program watch({"watch", "--count", "2"});
    ASSERT_TRUE(AwaitSubscription(watch));
    owner->Tell("event WORKING");
    ASSERT_TRUE(watch.AwaitOut("WORKING"));

    owner = nullptr;
    owner = std::make_unique<ExampleOwner>(APPMGR, Words{kEvents});
    // The reader attaches by itself; events before that reach nobody.
    while (watch.Out().find("SUSPEND") == std::string::npos) {
        owner->Tell("event SUSPEND");
        if (watch.AwaitOutSoon("SUSPEND")) {
            break;
        }
    }

    EXPECT_EQ(watch.AwaitEnd().code, kExitDone);
}

TEST_F(CtlTest, WatchWithoutAPublisherSaysSoAndFails)
{
    StartAll();

    const Ended ended = Ctl({"watch"});

    EXPECT_EQ(ended.code, kExitFailed);
    EXPECT_THAT(ended.err, HasSubstr("ownerlinkctl: no owner publishes events "
                                     "(dp:/res/pm/sys_event): not running; start the owner"));
}

TEST_F(CtlTest, WatchOfStatesShowsChangesAlone)
{
    auto owner = std::make_unique<ExampleOwner>(APPMGR);
    ASSERT_EQ(Ctl({"start", "APPMGR/nav"}).code, kExitDone);
    Program watch({"watch", "--states", "--interval", "100ms"});
    ASSERT_TRUE(watch.AwaitOut("APPMGR/nav  RUNNING pid 0\n"));
    ASSERT_TRUE(watch.AwaitErr("no owner publishes events"));

    ASSERT_EQ(Ctl({"stop", "APPMGR/nav"}).code, kExitDone);
    ASSERT_TRUE(watch.AwaitOut("APPMGR/nav  TERMINATED pid 0\n"));
    owner = nullptr;
    ASSERT_TRUE(watch.AwaitOut("APPMGR  not running\n"));
    owner = std::make_unique<ExampleOwner>(APPMGR, Words{kEvents});
    ASSERT_TRUE(watch.AwaitOut("APPMGR  answers\n"));
    ASSERT_TRUE(watch.AwaitOut("APPMGR/nav  gone\n"));
    ASSERT_TRUE(AwaitSubscription(watch));
    owner->Tell("event WORKING");
    ASSERT_TRUE(watch.AwaitOut("event  WORKING (1)\n"));

    watch.Signal(SIGINT);
    const Ended ended = watch.AwaitEnd();
    EXPECT_EQ(ended.code, 128 + SIGINT);
    const std::string running = "APPMGR/nav  RUNNING";
    EXPECT_EQ(ended.out.find(running), ended.out.rfind(running));
}

TEST_F(CtlTest, WatchEndsQuietlyWhenNobodyReadsItAnyMore)
{
    ExampleOwner owner(APPMGR, {kEvents});
    Program watch({"watch"});
    ASSERT_TRUE(AwaitSubscription(watch));

    watch.CloseOutput();

    const Ended ended = watch.AwaitEnd();
    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(ended.err, "");
}

TEST_F(CtlTest, WatchChecksItsNumbers)
{
    EXPECT_EQ(Ctl({"watch", "--interval", "10ms"}).code, kExitUsage);
    EXPECT_EQ(Ctl({"watch", "--count", "x"}).code, kExitUsage);
    EXPECT_EQ(Ctl({"watch", "--count", "-1"}).code, kExitUsage);
}
