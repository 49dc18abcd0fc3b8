#include "bench/wait_cases.h"

#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "bench/cases.h"
#include "bench/owner_role.h"
#include "client/OwnerlinkClientImpl.h"

namespace bench {
namespace {

using Ownerlink::OwnerlinkClientImpl;

constexpr int kTimeOut = 60000;
constexpr size_t kThreads = 8;
constexpr int kCallsPerThread = 10;
constexpr int kWarmUps = 3;
// A suspend that follows a cancel within 50 ms never reaches the owner's callback.
constexpr auto kAfterCancel = std::chrono::milliseconds(55);
constexpr auto kBetweenLooks = std::chrono::microseconds(200);
constexpr const char* kSleepers = "bare: eight threads that sleep 1 ms ten times";
constexpr const char* kWarmExchange = "bare: kept connection, single calls";
constexpr const char* kWarmThreads = "bare: three threads, single calls";

template <typename Body>
void OnThreads(Body body)
{
    std::array<std::thread, kThreads> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([body] {
            for (int i = 0; i < kCallsPerThread; ++i) {
                body();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// Whether the exchange took place and the owner said yes.
bool Ask(const OwnerlinkClientImpl& client, ProcMgr::OwnerlinkRequestType command,
         const std::string& resource)
{
    static const ProcMgr::OwnerlinkRequestMsg request;
    ProcMgr::OwnerlinkResponseMsg response;
    return client.SendRequestToOwnerByVfs(command, resource, request, response, -1) &&
           client.GetResultFromResponse(response);
}

// A suspend whose callback blocks in all three owners, until the destructor or the next `Hold`.
class HeldSuspend {
public:
    ~HeldSuspend() { Release(); }

    void Hold(const OwnerlinkClientImpl& client)
    {
        Release();
        std::this_thread::sleep_for(kAfterCancel);
        suspend_ = std::thread(
            [] { OwnerlinkClient::GetInstance().SetSystemState(ProcMgr::SUSPEND_PRE, kTimeOut); });
        for (const char* const resource : kResources) {
            while (!Ask(client, ProcMgr::QUERY_APP_LIST, resource)) {
                std::this_thread::sleep_for(kBetweenLooks);
            }
        }
    }

    void Release()
    {
        if (!suspend_.joinable()) {
            return;
        }
        for (const char* const resource : kResources) {
            Ask(client_, ProcMgr::STOP_ALL_APP, resource);
        }
        suspend_.join();
    }

private:
    OwnerlinkClientImpl client_;
    std::thread suspend_;
};

struct Waits {
    World world;
    OwnerlinkClientImpl client;
    HeldSuspend suspend;

    void Hold() { suspend.Hold(client); }

    // Ahead of a single call, so that silence is not what is measured.
    void WarmUp()
    {
        for (int i = 0; i < kWarmUps; ++i) {
            world.ExchangeOnThreads({1, 1, 1});
            std::vector<AppStatus> answers;  // by a sender for each owner, as the cancel is
            OwnerlinkClient::GetInstance().QueryAppState({"any"}, answers, kTimeOut, 1);
            for (const char* const resource : kResources) {
                Ask(client, ProcMgr::DUMP_APP, resource);
            }
        }
    }
};

void AddSlowCallbacks(std::vector<Case>& cases, Waits& waits)
{
    cases.push_back({kSleepers, {}, 1, [] {
                         OnThreads([] { std::this_thread::sleep_for(kSlowCallback); });
                     }});
    cases.push_back({"eight threads, an owner's callback of 1 ms, ten calls each",
                     {{kSleepers, 1.1}},
                     1,
                     [&waits] {
                         OnThreads([&waits] {
                             Require(Ask(waits.client, ProcMgr::RELOAD_CFG, kResources[0]),
                                     "reload");
                         });
                     },
                     [&waits] {
                         waits.suspend.Release();
                     }});
}

void AddWaitFloors(std::vector<Case>& cases, Waits& waits)
{
    const auto warmUp = [&waits] {
        waits.suspend.Release();
        waits.WarmUp();
    };
    cases.push_back({kWarmExchange, {}, 1, [&waits] { waits.world.Kept(0).Exchange(); }, warmUp});
    cases.push_back({kWarmThreads,
                     {},
                     1,
                     [&waits] {
                         waits.world.ExchangeOnThreads({1, 1, 1});
                     },
                     warmUp});
}

void AddCancels(std::vector<Case>& cases, Waits& waits)
{
    const auto hold = [&waits] {
        waits.Hold();
        waits.WarmUp();
    };
    cases.push_back(
        {"a cancel's exchange while the state callback blocks",
         {{kWarmExchange, 1.5}},
         1,
         [&waits] { Require(Ask(waits.client, ProcMgr::CANCEL_SUSPEND, kResources[0]), "cancel"); },
         hold});
    cases.push_back(
        {"SetSystemState that cancels while all state callbacks block",
         {{kWarmThreads, 1.5}},
         1,
         [] {
             Require(OwnerlinkClient::GetInstance().SetSystemState(ProcMgr::WORKING, kTimeOut) == 0,
                     "cancel");
         },
         hold});
}

}  // namespace

std::vector<Figure> MeasureWaits(int rounds)
{
    Waits waits;
    std::vector<Case> cases;
    AddSlowCallbacks(cases, waits);
    AddWaitFloors(cases, waits);
    AddCancels(cases, waits);
    return RunRounds(cases, rounds);
}

}  // namespace bench
