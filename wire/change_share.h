// One owner's share of a change: the applications, and the state of each.
#ifndef OWNERLINK_WIRE_CHANGE_SHARE_H
#define OWNERLINK_WIRE_CHANGE_SHARE_H

#include <ownerlink/records.h>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Ownerlink {

// In the order of the input, where they stay: a copy of each was most of the time that a change of
// many took.
using ChangeShare = std::vector<const AppInfo*>;

// The state of each application of a share, by its name in the share, and of what else an owner
// names. Costs one comparison where the next name asked for is the next in order.
class ChangeStates {
public:
    // Every application at INIT, once. The share must outlive this.
    void Init(const ChangeShare& share)
    {
        asked_.reserve(share.size());
        for (const AppInfo* const app : share) {
            asked_.push_back({app->appName, INIT});
        }
        if (std::adjacent_find(asked_.begin(), asked_.end(), IsNotBehind) != asked_.end()) {
            std::sort(asked_.begin(), asked_.end());
            asked_.erase(std::unique(asked_.begin(), asked_.end(), IsSame), asked_.end());
        }
    }

    void Set(std::string_view name, AppChangeState state)
    {
        Entry* const entry = Find(name);
        if (entry != nullptr) {
            entry->state = state;
        } else {
            others_[std::string(name)] = state;
        }
    }

    // Of an application of the share.
    AppChangeState Of(std::string_view name)
    {
        const Entry* const entry = Find(name);
        return entry == nullptr ? INIT : entry->state;
    }

    size_t Size() const { return asked_.size() + others_.size(); }

    // Calls `visit` with each name and its state, in the order of the names.
    template <typename Visit>
    void ForEach(const Visit& visit) const
    {
        auto other = others_.begin();
        for (const Entry& entry : asked_) {
            for (; other != others_.end() && entry.name.compare(other->first) > 0; ++other) {
                visit(std::string_view(other->first), other->second);
            }
            visit(entry.name, entry.state);
        }
        for (; other != others_.end(); ++other) {
            visit(std::string_view(other->first), other->second);
        }
    }

private:
    struct Entry {
        std::string_view name;
        AppChangeState state;

        bool operator<(const Entry& other) const { return name < other.name; }
    };

    static bool IsNotBehind(const Entry& one, const Entry& next) { return !(one < next); }
    static bool IsSame(const Entry& one, const Entry& next) { return one.name == next.name; }

    Entry* Find(std::string_view name)
    {
        if (next_ == asked_.size() || asked_[next_].name != name) {
            const auto found = std::lower_bound(asked_.begin(), asked_.end(), Entry{name, INIT});
            if (found == asked_.end() || found->name != name) {
                return nullptr;
            }
            next_ = static_cast<size_t>(found - asked_.begin());
        }
        return &asked_[next_++];
    }

    std::vector<Entry> asked_;  // in the order of the names
    size_t next_ = 0;           // behind what was found last
    std::map<std::string, AppChangeState> others_;
};

}  // namespace Ownerlink

#endif
