// The results that the test has set.
#include <deque>
#include <map>
#include <utility>

#include "platform/fake/call.h"
#include "platform/fake/history.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

using Key = std::pair<std::string, std::string>;  // function and resource; "" for all resources

struct Results {
    std::map<Key, std::deque<Result>> next;
    std::map<Key, Result> standing;
};

std::optional<Result> TakeNext(const Key& key)
{
    const auto found = Immortal<Results>().next.find(key);
    if (found == Immortal<Results>().next.end() || found->second.empty()) {
        return std::nullopt;
    }
    const Result result = found->second.front();
    found->second.pop_front();
    return result;
}

std::optional<Result> Standing(const Key& key)
{
    const auto found = Immortal<Results>().standing.find(key);
    return found == Immortal<Results>().standing.end() ? std::nullopt
                                                       : std::optional<Result>(found->second);
}

std::optional<Result> FirstResult(const Key& own, const Key& all)
{
    if (const auto result = TakeNext(own)) {
        return result;
    }
    if (const auto result = TakeNext(all)) {
        return result;
    }
    const auto result = Standing(own);
    return result ? result : Standing(all);
}

template <class Map>
void EraseFunction(Map& map, const std::string& function)
{
    auto position = map.lower_bound({function, ""});
    while (position != map.end() && position->first.first == function) {
        position = map.erase(position);
    }
}

}  // namespace

std::optional<Result> TakeResult(const Lock& /*lock*/, const std::string& function,
                                 const std::string& resource)
{
    const auto result = FirstResult({function, resource}, {function, ""});
    return result && result->usual ? std::nullopt : result;
}

void ResetResults()
{
    Immortal<Results>() = {};
}

}  // namespace detail

void SetNext(const std::string& function, const std::vector<Result>& results,
             const std::string& resource)
{
    detail::RequireFunction(function);
    const detail::Lock lock = detail::LockState();
    auto& next = detail::Immortal<detail::Results>().next[{function, resource}];
    next.insert(next.end(), results.begin(), results.end());
}

void SetStanding(const std::string& function, Result result, const std::string& resource)
{
    detail::RequireFunction(function);
    const detail::Lock lock = detail::LockState();
    auto& standing = detail::Immortal<detail::Results>().standing;
    standing.erase({function, resource});
    if (!result.usual) {
        standing.insert({{function, resource}, result});
    }
}

void ClearResults(const std::string& function)
{
    detail::RequireFunction(function);
    const detail::Lock lock = detail::LockState();
    detail::EraseFunction(detail::Immortal<detail::Results>().next, function);
    detail::EraseFunction(detail::Immortal<detail::Results>().standing, function);
}

}  // namespace OwnerlinkFake
