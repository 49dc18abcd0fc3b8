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

    // The map's end if there is no such key.
    template <typename Key>
    auto Find(const Key& key)
    {
        const auto found = IsNext(key) ? next_ : map_.find(key);
        StepBehind(found);
        return found;
    }

    // The value of a key, which is added when it is missing.
    template <typename Key>
    auto& ValueOf(const Key& key)
    {
        const auto entry = IsNext(key) ? next_ : map_.try_emplace(next_, key);
        StepBehind(entry);
        return entry->second;
    }

private:
    template <typename Key>
    bool IsNext(const Key& key) const
    {
        return next_ != map_.end() && next_->first == key;
    }

    template <typename Iterator>
    void StepBehind(Iterator entry)
    {
        if (entry != map_.end()) {
            next_ = std::next(entry);
        }
    }

    Map& map_;
    decltype(std::declval<Map&>().begin()) next_;
};

}  // namespace ProcMgr

#endif
