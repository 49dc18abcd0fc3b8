#include "bench/owner_role.h"

#include <ownerlink/server.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

namespace bench {
namespace {

using Lists = const std::vector<AppInfoForServer>&;
using Names = const std::vector<std::string>&;

bool Change(Lists terminate, Lists start, Lists restart, std::vector<AppChangeInfo>& results)
{
    results.reserve(terminate.size() + start.size() + restart.size());
    for (const auto* list : {&terminate, &start, &restart}) {
        for (const AppInfoForServer& app : *list) {
            results.emplace_back(app.appName, SUCCESS);
        }
    }
    return true;
}

// Knows every name that it is asked for: the longest answer there can be.
bool Query(Names names, std::vector<AppStatus>& answers)
{
    answers.reserve(names.size());
    for (const std::string& name : names) {
        answers.push_back({name, 1234, 2});
    }
    return true;
}

bool Register(OwnerlinkServer& server, const std::string& resource)
{
    return server.RegSetSystemStateTimeoutCallBackImpl([](int, int) { return true; }, resource) ==
               0 &&
           server.RegSsChangeAppCallBackImpl(Change, resource) == 0 &&
           server.RegSsQueryAppStateCallBackImpl([](Names names, std::vector<AppStatus>& answers,
                                                    int, int) { return Query(names, answers); },
                                                 resource) == 0 &&
           server.RegDumpCallBackImpl([] { return true; }, resource) == 0;
}

}  // namespace

void ServeAsOwner(const std::string& resource)
{
    if (!Register(OwnerlinkServer::GetInstance(), resource)) {
        throw std::runtime_error("cannot publish " + resource);
    }
    std::cout << "ready" << std::endl;
    while (true) {
        pause();
    }
}

}  // namespace bench
