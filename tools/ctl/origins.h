// Who a result of the library comes from.
#ifndef OWNERLINK_TOOLS_CTL_ORIGINS_H
#define OWNERLINK_TOOLS_CTL_ORIGINS_H

#include <string>
#include <vector>

#include "tools/ctl/log_capture.h"
#include "tools/ctl/owner_table.h"

namespace ctl {

// The library's results name no owner, but it writes a record of each that does, in the same order.
class Origins {
public:
    // `words` are what the record says before the resource, between it and the application, and
    // behind that.
    struct Words {
        std::string before;
        std::string between;
        std::string behind;
    };

    Origins(const std::vector<LogRecord>& records, const OwnerTable& table, Words words)
        : records_(records), table_(table), words_(std::move(words))
    {
    }

    // Of the next result, which is that of `app`. Empty where the record does not fit it.
    std::string NextOwner(const std::string& app);

private:
    const std::vector<LogRecord>& records_;
    const OwnerTable& table_;
    Words words_;
    size_t next_ = 0;
};

}  // namespace ctl

#endif
