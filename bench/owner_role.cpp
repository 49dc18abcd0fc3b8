#include "bench/owner_role.h"

#include <ownerlink/enum_text.h>
#include <ownerlink/server.h>
#include <unistd.h>

#include <condition_variable>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <thread>

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

// Where a coming suspend waits until it is let go.
class Gate {
public:
    void Wait()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        isHeld_ = true;
        released_.wait(lock, [this] { return !isHeld_; });
    }
    void Release()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isHeld_ = false;
        released_.notify_all();
    }
    bool IsHeld()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return isHeld_;
    }

private:
    std::mutex mutex_;
    std::condition_variable released_;
    bool isHeld_ = false;
};

Gate& SuspendGate()
{
    static Gate gate;
    return gate;
}

bool SetState(int state, int /*timeOut*/)
{
    if (state == ProcMgr::SUSPEND_PRE) {
        SuspendGate().Wait();
    }
    return true;
}

// Stop all lets a suspend go, the list's verdict says whether one waits, and a reload takes its
// time.
bool RegisterSlowOnes(OwnerlinkServer& server, const std::string& resource)
{
    return server.RegSsCancelSuspendPreCallBackImpl([](int, int) { return true; }, resource) == 0 &&
           server.RegStopAllAppCallBackImpl(
               [] {
                   SuspendGate().Release();
                   return true;
               },
               resource) == 0 &&
           server.RegQueryAppListCallBackImpl(
               [](std::vector<std::string>&) { return SuspendGate().IsHeld(); }, resource) == 0 &&
           server.RegReloadCallBackImpl(
               [] {
                   std::this_thread::sleep_for(kSlowCallback);
                   return true;
               },
               resource) == 0;
}

bool Register(OwnerlinkServer& server, const std::string& resource)
{
    return server.RegSetSystemStateTimeoutCallBackImpl(SetState, resource) == 0 &&
           server.RegSsChangeAppCallBackImpl(Change, resource) == 0 &&
           server.RegSsQueryAppStateCallBackImpl([](Names names, std::vector<AppStatus>& answers,
                                                    int, int) { return Query(names, answers); },
                                                 resource) == 0 &&
           server.RegDumpCallBackImpl([] { return true; }, resource) == 0;
}

}  // namespace

void PublishOwner(const std::string& resource)
{
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();
    if (!Register(server, resource) || !RegisterSlowOnes(server, resource)) {
        throw std::runtime_error("cannot publish " + resource);
    }
}

void ServeAsOwner(const std::string& resource)
{
    PublishOwner(resource);
    std::cout << "ready" << std::endl;
    while (true) {
        pause();
    }
}

}  // namespace bench
