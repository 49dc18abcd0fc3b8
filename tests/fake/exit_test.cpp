// Exits while a thread is held in a sleep and a static object's destructor joins that thread, as
// that of the client does. The argument chooses who holds the thread and who ends the process.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "platform/fake/fake_platform.h"
#include "tests/fake/bound_calls.h"

namespace {

// Sleeps in a thread of its own for as long as it lives.
class Sleeper {
public:
    Sleeper() = default;

    ~Sleeper()
    {
        isExiting_ = true;
        thread_.join();
        OwnerlinkFake::Calls("nanosleep");  // the double is still there
        std::puts("joined");
    }

    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    void Start()
    {
        thread_ = std::thread([this] { Sleep(); });
    }

private:
    void Sleep() const
    {
        const timespec pause{0, 50000000};
        while (!isExiting_) {
            Bound::Nanosleep(&pause, nullptr);
        }
    }

    std::atomic<bool> isExiting_{false};
    std::thread thread_;
};

void StartSleeper()
{
    static Sleeper sleeper;
    sleeper.Start();
}

// The double's own patience is for what comes soon; a slow machine needs longer for a flood. A
// sleeper that is never held is the time-out's to find.
void HoldSleeper()
{
    StartSleeper();
    while (!OwnerlinkFake::WaitForHeld("nanosleep", 1)) {}
}

}  // namespace

int main(int argc, char** argv)
{
    const char* way = argc == 2 ? argv[1] : "";
    if (std::strcmp(way, "by_flood") == 0) {
        HoldSleeper();
        return EXIT_SUCCESS;
    }
    OwnerlinkFake::Hold("nanosleep");
    if (std::strcmp(way, "from_thread") == 0) {
        std::thread([] {
            HoldSleeper();
            std::exit(EXIT_SUCCESS);
        }).join();
    }
    HoldSleeper();
}
