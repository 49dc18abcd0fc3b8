#include "tools/ownerd/gathering.h"

#include <algorithm>
#include <utility>

namespace ownerd {

std::function<void(AppChangeState)> Gathering::Expect(const std::string& name)
{
    const size_t index = results_.size();
    results_.emplace_back(name, PROCESSING);
    ++pending_;
    return [self = shared_from_this(), index](AppChangeState state) {
        self->TakeResult(index, state);
    };
}

void Gathering::TakeResult(size_t index, AppChangeState state)
{
    results_[index].state = state;
    --pending_;
    if (isClosed_ && pending_ == 0) {
        Finish();
    }
}

void Gathering::Close(TimePoint deadline)
{
    isClosed_ = true;
    if (pending_ == 0) {
        Finish();
        return;
    }
    timer_.Set(deadline, [this] { Finish(); });
}

void Gathering::Finish()
{
    timer_.Clear();
    if (const Finished finished = std::exchange(finished_, nullptr)) {
        finished(results_);
    }
}

bool AreAllDone(const Gathering::Results& results)
{
    return std::all_of(results.begin(), results.end(),
                       [](const AppChangeInfo& result) { return result.state == SUCCESS; });
}

}  // namespace ownerd
