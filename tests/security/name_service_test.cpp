// A name service that never answers costs those who need it, and nobody else.
#include <grp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <new>

#include "tests/hosted/raw_peer.h"
#include "tests/security/test_service.h"
#include "tests/support/sanitizers.h"

namespace {

constexpr int kMostLookUps = 64;
constexpr const char* kChildsName = "dp:/res/test/child";

// How often any process of the test has asked.
std::atomic<int>& Asked()
{
    static void* const shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                     MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *static_cast<std::atomic<int>*>(shared);
}

}  // namespace

extern "C" int __wrap_getgrnam_r(const char*, group*, char*, size_t, group**)
{
    ++Asked();
    while (true) {
        pause();
    }
}

namespace {

class ABlockedNameService : public ServiceTest {
protected:
    void SetUp() override
    {
        new (&Asked()) std::atomic<int>(0);
        ServiceTest::SetUp();
    }

    static bool HasBeenAsked(int times)
    {
        return Eventually([=] { return Asked() >= times; });
    }
    static int UseAs(const User& user)
    {
        return ResultAs(user, [] { return UseOf(Kind::kFile); });
    }
};

// As the owner; once as many look-ups stand as may, also as its child, under a name of its own.
void ServeAndFork(const std::function<void()>& ready)
{
    PublishOf(Kind::kFile);
    ready();
    Eventually([] { return Asked() >= kMostLookUps; });
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const IAMFileOps ops = {};
        const IAMServiceDesc desc = {kChildsName, &ops, 20000};
        IAMRegisterService(&desc);
    }
    pause();
}

// Connects as often as that and waits for ever.
UserProcess::Body Connect(int times)
{
    return [=](const std::function<void()>& ready) {
        const std::vector<RawClient> clients(static_cast<size_t>(times));
        ready();
        pause();
    };
}

}  // namespace

TEST_F(ABlockedNameService, LeavesTheOwnersUserServed)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    const UserProcess members(Member(), Connect(8));

    ASSERT_TRUE(HasBeenAsked(8)) << Asked();

    EXPECT_EQ(UseAs(OwnersUser()), 0);
    EXPECT_EQ(UseAs(Root()), 0);
}

TEST_F(ABlockedNameService, CostsTheOwnerNoMoreThan64Threads)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    const UserProcess hoarder(HostileMember(), Connect(kMostLookUps));
    ASSERT_TRUE(HasBeenAsked(kMostLookUps)) << Asked();

    EXPECT_EQ(UseAs(Member()), EBUSY);

    EXPECT_EQ(UseAs(OwnersUser()), 0);
    EXPECT_EQ(Asked(), kMostLookUps);
}

TEST_F(ABlockedNameService, CostsAForkedOwnerNothing)
{
    if (!kMayEndThreadInChild) {
        GTEST_SKIP() << "the child allocates and starts threads";
    }
    const UserProcess owner(OwnersUser(), ServeAndFork);
    ASSERT_TRUE(owner.HasSaidReady());
    const UserProcess hoarder(HostileMember(), Connect(kMostLookUps));
    ASSERT_TRUE(HasBeenAsked(kMostLookUps)) << Asked();

    const UserProcess member(Member(), [](const std::function<void()>& ready) {
        Eventually([] { return RawClient(kChildsName).IsConnected(); });
        ready();
        pause();
    });

    EXPECT_TRUE(HasBeenAsked(kMostLookUps + 1)) << Asked();
}
