// Memory that a sender of events and its subscribers note their times in: the same for each system,
// so that all are timed in the same way.
#ifndef OWNERLINK_BENCH_EVENT_BOARD_H
#define OWNERLINK_BENCH_EVENT_BOARD_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/event_system.h"

namespace bench {

inline constexpr uint32_t kMostEvents = 4096;    // in one burst
inline constexpr uint32_t kProbe = kMostEvents;  // an event that only shows the way is open

int64_t NowNs();  // of the clock that all processes share

// A file's memory, mapped by each process. One burst is on it at a time.
class EventBoard {
public:
    // Makes the file, or maps the one that is there.
    explicit EventBoard(const std::string& path);
    ~EventBoard();
    EventBoard(const EventBoard&) = delete;
    EventBoard& operator=(const EventBoard&) = delete;

    // The sender's.
    void Clear(size_t subscribers);
    void NoteSent(uint32_t event) { board_->sentAt[event].store(NowNs(), kRelaxed); }
    uint32_t ReceivedByAll(size_t subscribers) const;
    bool HaveAllSeenProbe(size_t subscribers) const;
    // From the first event's sending until the last subscriber had the last, and each one's way.
    int64_t Duration(size_t subscribers, uint32_t events) const;
    void AddLatencies(size_t subscribers, uint32_t events, std::vector<double>& latencies) const;

    // A subscriber's.
    void NoteReceived(size_t subscriber, uint32_t event);

private:
    static constexpr auto kRelaxed = std::memory_order_relaxed;

    struct alignas(128) Subscriber {
        std::atomic<uint32_t> received;
        std::atomic<uint32_t> hasSeenProbe;
        alignas(128) std::array<std::atomic<int64_t>, kMostEvents> receivedAt;
    };
    struct Board {
        std::array<std::atomic<int64_t>, kMostEvents> sentAt;
        std::array<Subscriber, kMostSubscribers> subscribers;
    };

    Board* board_;
};

}  // namespace bench

#endif
