#include "tools/ctl/origins.h"

namespace ctl {

std::string Origins::NextOwner(const std::string& app)
{
    while (next_ < records_.size() &&
           records_[next_].text.find(words_.before) == std::string::npos) {
        ++next_;
    }
    if (next_ == records_.size()) {
        return "";
    }
    const std::string& text = records_[next_++].text;
    // Names of either kind may hold anything, so the record is compared and not taken apart.
    for (const std::string& resource : table_.Resources()) {
        std::string expected = words_.before;
        expected.append(resource).append(words_.between).append(app).append(words_.behind);
        if (text.find(expected) != std::string::npos) {
            return table_.OwnersOf(resource);
        }
    }
    return "";
}

}  // namespace ctl
