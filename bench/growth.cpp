#include "bench/growth.h"

#include <ownerlink/client.h>
#include <syslog.h>

#include <array>
#include <atomic>
#include <iostream>
#include <memory>
#include <thread>

#include "bench/applications.h"
#include "bench/cases.h"
#include "bench/event_world.h"
#include "bench/rounds.h"
#include "bench/world.h"

namespace bench {
namespace {

constexpr int kRounds = 20;
constexpr int kCalls = 5;  // for all sizes alike: the first of a round finds its code cold
constexpr int kTimeOut = 5000;
constexpr int kEveryOwner = 1;
constexpr int kExchanges = 20;  // of each thread, to spread what starting it takes
constexpr std::array<size_t, 7> kShares = {1, 3, 10, 30, 100, 300, 1000};
constexpr std::array<size_t, 8> kNames = {1, 2, 5, 10, 20, 40, 80, 128};  // about a record full
constexpr size_t kMostThreads = 64;  // what an owner takes from one process at a time
constexpr uint32_t kEvents = 2000;

void AddSize(std::vector<Case>& cases, const std::string& curve, size_t size,
             const std::function<void()>& call)
{
    cases.push_back({curve + "\t" + std::to_string(size), {}, kCalls, call});
}

// The size is one owner's share: fewer than three applications would not reach all owners.
void AddChangeSizes(std::vector<Case>& cases)
{
    for (const size_t size : kShares) {
        AddSize(cases, "ChangeAppState, applications of an owner", size,
                [applications = UsualApplications(kOwners * size)] {
                    std::vector<AppChangeInfo> results;
                    Require(OwnerlinkClient::GetInstance().ChangeAppState(applications, results,
                                                                          kTimeOut) == 0,
                            "ChangeAppState");
                });
    }
}

void AddQuerySizes(std::vector<Case>& cases)
{
    for (const size_t size : kNames) {
        std::vector<std::string> names;
        for (const AppInfo& app : UsualApplications(size)) {
            names.push_back(app.appName);
        }
        AddSize(cases, "QueryAppState, names", size, [names] {
            std::vector<AppStatus> answers;
            Require(OwnerlinkClient::GetInstance().QueryAppState(names, answers, kTimeOut,
                                                                 kEveryOwner) == 0 &&
                        answers.size() == names.size() * kOwners,
                    "QueryAppState");
        });
    }
}

// `exchange` is given the number of its thread.
void OnThreads(size_t count, const std::function<void(size_t)>& exchange)
{
    std::vector<std::thread> threads;
    for (size_t number = 0; number < count; ++number) {
        threads.emplace_back([number, &exchange] {
            for (int done = 0; done < kExchanges; ++done) {
                exchange(number);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void ExchangeOnThreads(size_t count)
{
    std::atomic<bool> allGood = true;
    OnThreads(count, [&allGood](size_t /*number*/) {
        if (!OwnerlinkClientInner::GetInstance().DumpGrp(DP, DATAMASTER)) {
            allGood = false;
        }
    });
    Require(allGood, "an exchange on many threads");
}

// A kept connection for each thread, and a process with a thread for each connection.
class BareThreads {
public:
    explicit BareThreads(const std::string& path) : process_({"bare-threads", path})
    {
        process_.AwaitReady();
        for (size_t i = 0; i < kMostThreads; ++i) {
            connections_.push_back(std::make_unique<BareConnection>(path));
        }
    }
    void Exchange(size_t thread) { connections_[thread]->Exchange(); }

private:
    RoleProcess process_;
    std::vector<std::unique_ptr<BareConnection>> connections_;
};

void AddThreadSizes(std::vector<Case>& cases, const std::string& directory)
{
    const auto bare = std::make_shared<BareThreads>(directory + "/threads");
    for (size_t size = 1; size <= kMostThreads; size *= 2) {
        AddSize(cases, "one exchange, threads at once", size, [size] { ExchangeOnThreads(size); });
        AddSize(cases, "bare exchange, threads at once", size, [size, bare] {
            OnThreads(size, [&bare](size_t thread) { bare->Exchange(thread); });
        });
    }
}

void PrintPoint(const std::string& curveAndSize, double microseconds)
{
    std::cout << curveAndSize << '\t' << microseconds << '\n';
}

void PrintCalls(const std::string& directory)
{
    std::vector<Case> cases;
    AddChangeSizes(cases);
    AddQuerySizes(cases);
    const size_t firstOfThreads = cases.size();
    AddThreadSizes(cases, directory);
    const std::vector<Figure> figures = RunRounds(cases, kRounds);
    for (size_t i = 0; i < figures.size(); ++i) {
        const double calls = i < firstOfThreads ? 1 : kExchanges;
        PrintPoint(figures[i].name, figures[i].median / 1e3 / calls);
    }
}

// An event back to back, until all subscribers have it.
void PrintEventSizes(const std::string& directory)
{
    setlogmask(LOG_UPTO(LOG_ERR));
    EventWorld world(LibraryEvents(), directory);
    for (size_t subscribers = 1; subscribers <= kMostSubscribers; subscribers *= 2) {
        world.GrowTo(subscribers);
        std::vector<double> times;
        for (int round = 0; round < kRounds; ++round) {
            world.Run(kEvents, {});
            times.push_back(1e6 * static_cast<double>(subscribers) / world.Rate());
        }
        PrintPoint("an event, subscribers\t" + std::to_string(subscribers), Median(times));
    }
}

}  // namespace

void PrintGrowth()
{
    KeepToCores(1);
    const World world;
    PrintCalls(world.Directory());
    PrintEventSizes(world.Directory());
    std::cout << std::flush;
}

}  // namespace bench
