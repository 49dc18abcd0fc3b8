// The platform's own threads.
#include "platform/hosted/detached_thread.h"

#include <pthread.h>

#include <atomic>
#include <csignal>

#include "tests/hosted/world.h"

namespace {

std::atomic<int> detachState{PTHREAD_CREATE_JOINABLE};
std::atomic<bool> isDeaf{false};
std::atomic<bool> hasRun{false};

bool IsBlocked(int signal)
{
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

class DetachedThread : public testing::Test {
protected:
    DetachedThread() { hasRun = false; }
};

}  // namespace

extern "C" {

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                          void* argument);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                          void* argument)
{
    int state = PTHREAD_CREATE_JOINABLE;
    if (attributes != nullptr) {
        pthread_attr_getdetachstate(attributes, &state);
    }
    detachState = state;
    return __real_pthread_create(thread, attributes, run, argument);
}

}  // extern "C"

// Whoever is detached later may have ended by then, and its record with it.
TEST_F(DetachedThread, IsMadeDetached)
{
    ASSERT_EQ(hosted::StartDetached("test", [] { hasRun = true; }), 0);

    EXPECT_EQ(detachState, PTHREAD_CREATE_DETACHED);
    EXPECT_TRUE(Eventually([] { return hasRun.load(); }));
}

TEST_F(DetachedThread, TakesNoSignalsFromItsFirstStep)
{
    const auto look = [](void*) -> void* {
        isDeaf = IsBlocked(SIGTERM) && IsBlocked(SIGUSR1);
        hasRun = true;
        return nullptr;
    };

    ASSERT_EQ(hosted::StartDetached(look, nullptr), 0);

    ASSERT_TRUE(Eventually([] { return hasRun.load(); }));
    EXPECT_TRUE(isDeaf);
}

TEST_F(DetachedThread, LeavesTheSignalsOfItsMakerAsTheyWere)
{
    sigset_t mine;
    sigemptyset(&mine);
    sigaddset(&mine, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &mine, nullptr);

    ASSERT_EQ(hosted::StartDetached("test", [] {}), 0);

    EXPECT_TRUE(IsBlocked(SIGUSR1));
    EXPECT_FALSE(IsBlocked(SIGTERM));
}
