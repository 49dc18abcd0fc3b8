#include "bench/applications.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "bench/world.h"

namespace bench {
namespace {

std::string NumberText(size_t number)
{
    const std::string digits = std::to_string(number);
    return std::string(5 - std::min<size_t>(5, digits.size()), '0') + digits;
}

}  // namespace

std::vector<AppInfo> UsualApplications(size_t count)
{
    std::vector<AppInfo> applications(count);
    for (size_t i = 0; i < count; ++i) {
        AppInfo& app = applications[i];
        app.groupOwner = static_cast<GroupOwner>(i % kOwners);
        app.appName = "application-" + NumberText(i);
        app.args = {"--config=/etc/applications/" + NumberText(i)};
    }
    return applications;
}

std::vector<AppInfo> LargeApplications(size_t count)
{
    std::vector<AppInfo> applications = UsualApplications(count);
    for (AppInfo& app : applications) {
        app.args.assign(10, std::string(370, 'x'));
    }
    return applications;
}

std::vector<AppInfo> ShareOf(const std::vector<AppInfo>& applications, size_t owner)
{
    std::vector<AppInfo> share;
    std::copy_if(applications.begin(), applications.end(), std::back_inserter(share),
                 [owner](const AppInfo& app) { return app.groupOwner == owner; });
    return share;
}

std::vector<ProcMgr::OwnerlinkRequestMsg> RecordsOf(const std::vector<AppInfo>& share)
{
    std::vector<std::pair<unsigned int, std::string>> items;
    std::vector<ProcMgr::OwnerlinkRequestMsg> records;
    if (!Ownerlink::Serialization::PackChangeAppInfoRequest(share, items) ||
        !Ownerlink::Serialization::ProcMgrCombinePiecesMsg(items, records)) {
        throw std::runtime_error("the applications cannot be packed");
    }
    return records;
}

}  // namespace bench
