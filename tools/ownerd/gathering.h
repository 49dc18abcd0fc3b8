// Collects the results of several applications until all are in or the time is over.
#ifndef OWNERLINK_TOOLS_OWNERD_GATHERING_H
#define OWNERLINK_TOOLS_OWNERD_GATHERING_H

#include <ownerlink/records.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/ownerd/event_loop.h"

namespace ownerd {

// Lives as long as somebody has a result to bring in.
class Gathering : public std::enable_shared_from_this<Gathering> {
public:
    using Results = std::vector<AppChangeInfo>;
    using Finished = std::function<void(const Results&)>;

    Gathering(EventLoop& loop, Finished finished) : timer_(loop), finished_(std::move(finished)) {}

    // Adds an application. Until its result comes it counts as PROCESSING.
    std::function<void(AppChangeState)> Expect(const std::string& name);
    void Add(const std::string& name, AppChangeState state) { results_.emplace_back(name, state); }

    // Nobody else is expected: finishes now, with the last result, or at `deadline`.
    void Close(TimePoint deadline);
    // Finishes with what there is.
    void Finish();
    bool IsOpen() const { return static_cast<bool>(finished_); }

private:
    void TakeResult(size_t index, AppChangeState state);

    Timer timer_;
    Finished finished_;
    Results results_;
    size_t pending_ = 0;
    bool isClosed_ = false;
};

// Whether all have succeeded.
bool AreAllDone(const Gathering::Results& results);

}  // namespace ownerd

#endif
