// What a fault happens in: directories for sockets and logs, an owner, a client that has subscribed
// to its events, and the accounts of all that was asked.
#ifndef OWNERLINK_FAULTS_WORLD_H
#define OWNERLINK_FAULTS_WORLD_H

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "faults/process.h"
#include "faults/tally.h"

inline constexpr int kPlainRequests = 4;  // of an order of one for each lane
inline constexpr int kRequests = kPlainRequests + 1;
inline constexpr int kShortMs = 150;   // a time-out that is to pass
inline constexpr int kLongMs = 20000;  // one that is not

// What an order may take beyond its time-out: `open`'s own bound, and what a busy machine adds.
inline constexpr int kBeyondMs = 500 + 10000;

class World {
public:
    struct Options {
        bool isOfNobody = false;     // runs as a user whose threads can be refused
        bool isRunTiny = false;      // the runtime directory can be filled
        bool isLogTiny = false;      // the log's directory
        bool isClockApart = false;   // the owner has another monotonic clock than the client
        bool isClientAlone = false;  // without a subscription
    };

    World(std::string peer, const Options& options);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // In the place of the former, which is killed if it lives.
    void StartOwner();
    Process& Owner() { return *owner_; }
    Process& Client() { return *client_; }
    std::unique_ptr<Process> StartPeer(const std::string& role, const std::string& suffix = "");

    // Everything works: each request is answered, and an event reaches the client.
    void CheckAllIsWell();
    void CheckAllIsWell(Process& client);

    // Of the requests that the fault meets.
    void Begin(Process& client, int timeoutMs, int plain = 1, int queries = 1);
    // By outcome, how many.
    std::map<std::string, int64_t> End(Process& client, std::set<std::string> outcomes);
    void Account(const std::string& outcome) { faulty_.Add(outcome); }

    // That the process, known as `role`, holds no more than in the first rounds; waits a while for
    // it to let go.
    void CheckNothingLeaks(Process& process, const std::string& role);
    void CheckFiles();
    void NextRound() { ++round_; }
    int Round() const { return round_; }

    std::string RunDirectory() const { return directory_ + "/run"; }
    std::string LogDirectory() const { return directory_ + "/log"; }
    std::string Report() const;

private:
    void Prepare();
    void MountTiny(const std::string& directory) const;
    bool AwaitEvent();

    const std::string peer_;
    const Options options_;
    std::string directory_;
    std::unique_ptr<Process> owner_;
    std::unique_ptr<Process> client_;
    int round_ = 0;
    uint32_t lastEvent_ = 0;
    struct Asked {
        int64_t requests = 0;
        int timeoutMs = 0;
    };
    std::map<pid_t, Asked> asked_;
    std::map<std::string, Census> baselines_;
    size_t files_ = 0;
    Tally faulty_;
    Tally well_;
};

// Waits until `condition` holds; false after ten seconds.
bool Eventually(const std::function<bool()>& condition);

#endif
