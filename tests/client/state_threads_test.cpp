// The senders of a state change: started back to back, and joined whatever happens.
#include <ownerlink/enum_text.h>

#include <cerrno>
#include <system_error>

#include "tests/client/client_test.h"

namespace {

using platform::Fails;
using platform::Usual;
using ProcMgr::SUSPEND;
using ProcMgr::SUSPEND_PRE;
using ProcMgr::WORKING;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kBusy = 0xF10300;

class StateThreads : public ClientTest {
protected:
    StateThreads() { platform::AnswerAll(Replies("1#")); }
};

TEST_F(StateThreads, AllOwnersAreAskedAtOnce)
{
    platform::Hold("ioctl");
    auto result = InBackground([this] { return client.SetSystemState(SUSPEND, 100); });

    EXPECT_TRUE(platform::WaitForHeld("ioctl", 3));

    platform::StopHolding("ioctl");
    EXPECT_EQ(result.get(), 0u);
}

TEST_F(StateThreads, FailedStartReachesTheCaller)
{
    platform::SetNext("std::thread", {Fails(EAGAIN)});

    try {
        client.SetSystemState(SUSPEND, 100);
        FAIL() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EAGAIN);
    }

    EXPECT_THAT(platform::Exchanges(), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), IsEmpty());
}

// Senders start in the byte order of their files, so that the first alone has one.
TEST_F(StateThreads, FailedStartEndsTheStarting)
{
    platform::SetNext("std::thread", {Usual(), Fails(EAGAIN)});

    EXPECT_THROW(client.SetSystemState(SUSPEND, 100), std::system_error);

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/app 2"));
    EXPECT_EQ(platform::Calls("std::thread").size(), 2u);
}

TEST_F(StateThreads, FailedStartJoinsTheSendersThatRun)
{
    platform::SetNext("std::thread", {Usual(), Usual(), Fails(EAGAIN)});
    platform::Hold("ioctl");
    auto result = InBackground([this] { return client.SetSystemState(SUSPEND, 100); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 2));
    EXPECT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    platform::StopHolding("ioctl");

    EXPECT_THROW(result.get(), std::system_error);

    EXPECT_EQ(platform::Calls("close").size(), 2u);
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(StateThreads, FailedStartKeepsTheGuardUntilACancel)
{
    platform::SetNext("std::thread", {Fails(EAGAIN)});
    EXPECT_THROW(client.SetSystemState(SUSPEND, 100), std::system_error);

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kBusy);
    EXPECT_EQ(client.SetSystemState(SUSPEND_PRE, 100), kBusy);
    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);
    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);
}

TEST_F(StateThreads, FailedStartOfASuspendPreIsFreedByItsCancel)
{
    platform::SetNext("std::thread", {Fails(EAGAIN)});
    EXPECT_THROW(client.SetSystemState(SUSPEND_PRE, 100), std::system_error);

    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);
    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);
}

}  // namespace
