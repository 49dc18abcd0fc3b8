// How a callback of the library, on a thread of its own, asks the loop's thread.
#ifndef OWNERLINK_TOOLS_OWNERD_LOOP_CALL_H
#define OWNERLINK_TOOLS_OWNERD_LOOP_CALL_H

#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <utility>

#include "tools/ownerd/event_loop.h"

namespace ownerd {

// Runs `ask` on the loop and waits for what it answers. Nothing if that has not come by `giveUp`,
// or never will, since the loop has ended; an answer that comes later is dropped.
template <typename Answer>
std::optional<Answer> AskLoop(EventLoop& loop, TimePoint giveUp,
                              std::function<void(std::function<void(Answer)>)> ask)
{
    auto promise = std::make_shared<std::promise<Answer>>();
    std::future<Answer> future = promise->get_future();
    loop.Post([promise = std::move(promise), ask = std::move(ask)] {
        ask([promise](Answer answer) { promise->set_value(std::move(answer)); });
    });
    try {
        if (future.wait_until(giveUp) == std::future_status::ready) {
            return future.get();
        }
    } catch (const std::future_error&) {
        return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace ownerd

#endif
