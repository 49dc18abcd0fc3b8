// Looks keys up in a map one after the other, where the next is most often the map's next.
#ifndef OWNERLINK_FOUNDATION_ORDERED_WALK_H
#define OWNERLINK_FOUNDATION_ORDERED_WALK_H

#include <iterator>
#include <utility>

namespace ProcMgr {

// One comparison where the guess is right, a usual look-up where it is not. The map may grow behind
// its back, but lose nothing.
template <typename Map>
class OrderedWalk {
public:
    explicit OrderedWalk(Map& map) : map_(map), next_(map.begin()) {}

    // The value of a key, which is added when it is missing.
    template <typename Key>
    auto& ValueOf(const Key& key)
    {
        const auto entry =
            IsNext(key) ? next_ : map_.try_emplace(next_, typename Map::key_type(key));
        next_ = std::next(entry);
        return entry->second;
    }

private:
    template <typename Key>
    bool IsNext(const Key& key) const
    {
        return next_ != map_.end() && next_->first == key;
    }

    Map& map_;
    decltype(std::declval<Map&>().begin()) next_;
};

}  // namespace ProcMgr

#endif
