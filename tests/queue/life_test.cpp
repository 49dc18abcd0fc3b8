// Deaths and restarts at both ends.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "tests/queue/queue_world.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

using OwnersLife = HostedTest;
using SubscribersLife = HostedTest;

long CpuTicksOf(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string word;
    for (int i = 0; i < 13; ++i) {
        file >> word;  // the name has no space in it
    }
    long user = 0;
    long kernel = 0;
    file >> user >> kernel;
    return user + kernel;
}

}  // namespace

TEST_F(OwnersLife, AfterAKillTheNextOneDeliversToTheSameSubscription)
{
    auto owner = std::make_unique<QueueOwner>();
    Subscriber subscriber;
    owner->Tell("report 1");
    ASSERT_EQ(subscriber.Tell("await 1"), "1");

    for (int life = 2; life < 6; ++life) {
        owner->Kill();
        owner = std::make_unique<QueueOwner>();
        ASSERT_EQ(owner->FirstLine(), "ready");
        ASSERT_EQ(owner->Tell("files 1"), "opens=1 closes=0");
        EXPECT_EQ(owner->Tell("report " + std::to_string(life)), "0");
        EXPECT_EQ(subscriber.Tell("await " + std::to_string(life)), Numbers(1, life));
    }
    EXPECT_THAT(subscriber.Log(), HasSubstr("the owner of dp:/res/test/queue is gone"));
    EXPECT_THAT(subscriber.Log(), HasSubstr("the owner of dp:/res/test/queue is back"));
}

TEST_F(OwnersLife, WhatItReportedBeforeItsDeathIsStillDelivered)
{
    QueueOwner owner;
    Subscriber subscriber;
    subscriber.Tell("block");
    owner.Tell("burst 0 100");
    ASSERT_EQ(subscriber.Tell("blocked"), "blocked");

    owner.Kill();
    subscriber.Tell("unblock");

    EXPECT_EQ(subscriber.Tell("await 100"), Numbers(0, 100));
}

TEST_F(OwnersLife, ThatEndsWithAnExitLeavesNoNameAndTheNextOneIsFound)
{
    auto owner = std::make_unique<QueueOwner>();
    Subscriber subscriber;
    owner->Write("exit");
    ASSERT_EQ(owner->AwaitExit(), 0);
    EXPECT_EQ(Open(kQueue), (CallResult{-1, ENOENT}));

    owner = std::make_unique<QueueOwner>();
    owner->Tell("files 1");
    owner->Tell("report 9");

    EXPECT_EQ(subscriber.Tell("await 1"), "9");
}

TEST_F(OwnersLife, IsAwaitedWithoutPolling)
{
    auto owner = std::make_unique<QueueOwner>();
    Subscriber subscriber;
    owner->Kill();
    // The one look after a second tells a dead owner from one that has ended this subscription.
    ASSERT_TRUE(Eventually([&] { return subscriber.Log().find("gone") != std::string::npos; }));

    EXPECT_TRUE(Eventually([&] {
        const long before = CpuTicksOf(subscriber.Process());
        std::this_thread::sleep_for(std::chrono::seconds(2));
        return CpuTicksOf(subscriber.Process()) - before <= 1;
    }));
}

TEST_F(OwnersLife, IsFoundWhenTheDirectoryIsMadeAnew)
{
    const std::string path = directory_.Path() + "/above/run";
    fs::create_directories(directory_.Path() + "/above");
    setenv("OWNERLINK_RUNTIME_DIR", path.c_str(), 1);
    auto owner = std::make_unique<QueueOwner>();
    Subscriber subscriber;
    owner->Kill();
    fs::remove_all(directory_.Path() + "/above");
    ASSERT_TRUE(Eventually([&] { return subscriber.Log().find("gone") != std::string::npos; }));

    fs::create_directories(directory_.Path() + "/above");
    owner = std::make_unique<QueueOwner>();
    ASSERT_EQ(owner->FirstLine(), "ready");
    owner->Tell("files 1");
    owner->Tell("report 3");

    EXPECT_EQ(subscriber.Tell("await 1"), "3");
}

TEST_F(OwnersLife, ThatRefusesForAWhileIsAskedAgain)
{
    auto owner = std::make_unique<QueueOwner>();
    Subscriber subscriber;
    owner->Kill();
    ASSERT_TRUE(Eventually([&] { return subscriber.Log().find("gone") != std::string::npos; }));
    ASSERT_EQ(subscriber.Tell("block"), "done");  // its commands are still answered

    owner = std::make_unique<QueueOwner>("dp:/res/test/unrelated");
    owner->Tell("open-result -1");
    ASSERT_EQ(owner->Tell(std::string("publish ") + kQueue), "ready");
    owner->Tell("closes 1");
    owner->Tell("open-result 0");
    owner->Tell("files 1");

    EXPECT_THAT(subscriber.Log(),
                HasSubstr("the owner of dp:/res/test/queue does not let this process in"));
}

TEST_F(OwnersLife, IsNoMatterToADescriptorThatIsClosedMeanwhile)
{
    auto owner = std::make_unique<QueueOwner>();
    Subscriber subscriber;
    owner->Kill();
    ASSERT_TRUE(Eventually([&] { return subscriber.Log().find("gone") != std::string::npos; }));

    EXPECT_EQ(subscriber.Tell("close"), "0");

    EXPECT_TRUE(Eventually([&] { return subscriber.Tell("memories") == "0"; }));
    owner = std::make_unique<QueueOwner>();
    Subscriber other;
    EXPECT_EQ(owner->Tell("files 1"), "opens=1 closes=0");
}

TEST_F(SubscribersLife, EndsWithAKillWhileItSleeps)
{
    QueueOwner owner;
    Subscriber other;
    {
        Subscriber subscriber;
        owner.Tell("report 1");
        subscriber.Tell("await 1");
        EXPECT_EQ(owner.Tell("files 2"), "opens=2 closes=0");
    }

    EXPECT_EQ(owner.Tell("files 1"), "opens=2 closes=1");
    EXPECT_EQ(owner.Tell("report 2"), "0");
    EXPECT_EQ(other.Tell("await 2"), "1,2");
}

TEST_F(SubscribersLife, EndsWithAKillInTheCallbackWithEntriesOnTheWay)
{
    QueueOwner owner;
    const std::string before = owner.Tell("memories");
    {
        Subscriber subscriber;
        subscriber.Tell("block");
        owner.Tell("burst 0 500");
        subscriber.Tell("blocked");
        EXPECT_NE(owner.Tell("memories"), before);
    }

    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
    EXPECT_TRUE(Eventually([&] { return owner.Tell("memories") == before; }));
    EXPECT_EQ(owner.Tell("report 2"), "");
}

TEST_F(SubscribersLife, EndsWithAKillDuringTheOpenHook)
{
    QueueOwner owner;
    owner.Tell("hold");
    const pid_t subscriber = fork();
    if (subscriber == 0) {
        Open(kQueue);
        _exit(0);
    }
    owner.Tell("held");

    kill(subscriber, SIGKILL);
    waitpid(subscriber, nullptr, 0);
    owner.Tell("release");

    EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
}

TEST_F(SubscribersLife, EndsWithAKillAtAnyMoment)
{
    QueueOwner owner;
    const std::string before = owner.Tell("memories");
    for (int i = 1; i <= 30; ++i) {
        {
            Subscriber subscriber;
            owner.Tell("burst 0 " + std::to_string(i * 7));
        }
        ASSERT_EQ(owner.Tell("closes " + std::to_string(i)),
                  "opens=" + std::to_string(i) + " closes=" + std::to_string(i));
    }
    EXPECT_TRUE(Eventually([&] { return owner.Tell("memories") == before; }));
}

TEST_F(SubscribersLife, CostsNoProcessorTimeWhileNothingHappens)
{
    QueueOwner owner;
    Subscriber subscriber;
    owner.Tell("report 1");
    subscriber.Tell("await 1");
    const auto ticks = [&] {
        return CpuTicksOf(subscriber.Process()) + CpuTicksOf(owner.Process());
    };

    // What comes before may still go on in the first look.
    EXPECT_TRUE(Eventually([&] {
        const long before = ticks();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        return ticks() - before <= 1;
    }));
}
