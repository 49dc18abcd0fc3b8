#include "bench/event_board.h"

#include <algorithm>
#include <chrono>

#include "bench/shared_file.h"

namespace bench {

int64_t NowNs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

EventBoard::EventBoard(const std::string& path)
    : board_(static_cast<Board*>(MapSharedFile(path, sizeof(Board))))
{
}

EventBoard::~EventBoard()
{
    UnmapSharedFile(board_, sizeof(Board));
}

void EventBoard::Clear(size_t subscribers)
{
    for (size_t i = 0; i < subscribers; ++i) {
        board_->subscribers[i].received.store(0);
        board_->subscribers[i].hasSeenProbe.store(0);
    }
}

uint32_t EventBoard::ReceivedByAll(size_t subscribers) const
{
    uint32_t least = kMostEvents;
    for (size_t i = 0; i < subscribers; ++i) {
        least = std::min(least, board_->subscribers[i].received.load());
    }
    return least;
}

bool EventBoard::HaveAllSeenProbe(size_t subscribers) const
{
    const auto* const first = board_->subscribers.begin();
    return std::all_of(first, first + subscribers,
                       [](const Subscriber& each) { return each.hasSeenProbe.load() != 0; });
}

int64_t EventBoard::Duration(size_t subscribers, uint32_t events) const
{
    int64_t last = 0;
    for (size_t i = 0; i < subscribers; ++i) {
        last = std::max(last, board_->subscribers[i].receivedAt[events - 1].load());
    }
    return last - board_->sentAt[0].load();
}

void EventBoard::AddLatencies(size_t subscribers, uint32_t events,
                              std::vector<double>& latencies) const
{
    for (size_t i = 0; i < subscribers; ++i) {
        for (uint32_t event = 0; event < events; ++event) {
            const int64_t received = board_->subscribers[i].receivedAt[event].load();
            latencies.push_back(static_cast<double>(received - board_->sentAt[event].load()));
        }
    }
}

void EventBoard::NoteReceived(size_t subscriber, uint32_t event)
{
    Subscriber& own = board_->subscribers[subscriber];
    if (event >= kMostEvents) {
        own.hasSeenProbe.store(1);
        return;
    }
    if (event == own.received.load(kRelaxed)) {  // one that is lost or out of order ends the count
        own.receivedAt[event].store(NowNs(), kRelaxed);
        own.received.store(event + 1, std::memory_order_release);
    }
}

}  // namespace bench
