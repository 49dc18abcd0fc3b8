#include <sys/prctl.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;

class Threads : public PlatformTest {};

TEST_F(Threads, Start)
{
    bool hasRun = false;

    Bound::StartThread([&] { hasRun = true; }).join();

    EXPECT_TRUE(hasRun);
    EXPECT_THAT(platform::Calls("std::thread"), ElementsAre("std::thread()"));
}

TEST_F(Threads, FailToStartWhereItIsSet)
{
    platform::SetNext("std::thread", {platform::Usual(), platform::Fails(EAGAIN)});
    Bound::StartThread([] {}).join();

    try {
        Bound::StartThread([] { FAIL() << "started"; }).join();
        FAIL() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EAGAIN);
    }
}

TEST_F(Threads, ThatFailToStartLeaveNothingBehind)
{
    platform::SetNext("std::thread", {platform::Fails(EAGAIN)});
    const auto owned = std::make_shared<int>(1);

    EXPECT_THROW(Bound::StartThread([owned] {}), std::system_error);

    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(Threads, TakeTheirNamesForReal)
{
    char name[16] = "";

    Bound::StartThread([&] {
        Bound::NameThread("SET_SYSTEM_STATE");
        prctl(PR_GET_NAME, name);
    }).join();

    EXPECT_STREQ(name, "SET_SYSTEM_STAT");
    EXPECT_THAT(platform::Calls("prctl"), ElementsAre("prctl(PR_SET_NAME,SET_SYSTEM_STATE)=0"));
}

TEST_F(Threads, AreRefusedWhatIsNoName)
{
    EXPECT_EQ(Bound::GetThreadName(), -1);

    EXPECT_EQ(errno, EINVAL);
    EXPECT_THAT(platform::Calls("prctl"), ElementsAre("prctl(16)=-1 EINVAL"));
}

TEST_F(Threads, NamingFailsWhereItIsSet)
{
    platform::SetNext("prctl", {platform::Fails(EPERM)});

    Bound::StartThread([] { EXPECT_EQ(Bound::NameThread("name"), -1); }).join();
}

}  // namespace
