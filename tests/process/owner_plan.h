// What a test owner is to do at which of its callbacks.
#ifndef OWNERLINK_TESTS_PROCESS_OWNER_PLAN_H
#define OWNERLINK_TESTS_PROCESS_OWNER_PLAN_H

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>

// Thread-safe. Callbacks are told apart by kind: "state", "cancel", "change", ...
class OwnerPlan {
public:
    // The actions: "accept", "refuse", "throw", "die" (SIGKILL inside the callback), and "block"
    // until `Release` gives the verdict.
    void Always(const std::string& kind, const std::string& action);
    // Only at the `number`th callback of the kind from now on, the next being 1.
    void Once(const std::string& kind, const std::string& action, int number);
    void Release(const std::string& kind, const std::string& verdict);

    // Called by a callback: the first before it reports, so that a test that has seen the report
    // cannot change what is planned for it; the second afterwards, for the verdict.
    std::string Next(const std::string& kind);
    bool Follow(const std::string& kind, const std::string& action);

private:
    struct Kind {
        std::string usual = "accept";
        std::map<int, std::string> planned;  // by callbacks from now
        std::string release;                 // empty: not released
    };

    bool AwaitRelease(const std::string& kind);

    std::mutex mutex_;
    std::condition_variable released_;
    std::map<std::string, Kind> kinds_;
};

#endif
