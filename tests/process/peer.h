// A program that a test starts, steers by lines, stops, kills and reaps.
#ifndef OWNERLINK_TESTS_PROCESS_PEER_H
#define OWNERLINK_TESTS_PROCESS_PEER_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Bounds a wait for what must come; nothing is measured by it.
inline constexpr std::chrono::seconds kPatience{60};

// Used by one thread but for what it reads. Killed and reaped with its object.
class Peer {
public:
    using Lines = std::vector<std::string>;

    Peer(const std::string& program, const Lines& arguments);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Returns when the peer has answered "ok"; false if it ended instead.
    bool Tell(const std::string& line);
    void Write(const std::string& line);

    // Returns when the peer has said "ready"; false if it ended instead.
    bool AwaitReady() const;

    // What it has reported so far, all its lines but "ok" and "ready". A report of a callback is
    // there once the manager has its answer.
    Lines Reports() const;
    Lines Reports(const std::string& kind) const;  // those whose first word it is
    size_t Count(const std::string& line) const;
    bool Await(const std::string& line, size_t count = 1) const;  // false: it did not come
    bool AwaitAny(const std::string& kind, size_t count = 1) const;
    void Forget();

    void Stop();  // returns when it has stopped
    void Continue();
    void Kill();      // returns when it is gone
    int AwaitExit();  // its wait status
    pid_t Process() const { return process_; }

private:
    void Read();
    void Drain() const;
    void Take(const std::string& line) const;
    bool AwaitThat(const std::function<bool()>& condition) const;

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::thread reader_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable std::string rest_;  // of a line that has not ended
    mutable Lines reports_;
    mutable size_t answers_ = 0;
    mutable bool isReady_ = false;
    mutable bool hasEnded_ = false;
};

#endif
