// One exchange with an owner in another process, open and close included.

#include <fcntl.h>
#include <ownerlink/client.h>

#include <chrono>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "bench/cases.h"
#include "bench/exchange_peer.h"
#include "client/OwnerlinkClientImpl.h"
#include "platform/iam_file.h"

namespace bench {
namespace {

constexpr const char* kFreshExchange = "bare: connect, exchange, close";
constexpr const char* kKeptAfterSilence = "bare: kept connection after 30 ms";
constexpr int kCalls = 200;
constexpr int kIdleCalls = 1;
constexpr int kTimeOut = 5000;
// Longer than an owner's thread stays with a silent connection.
constexpr auto kSilence = std::chrono::milliseconds(30);

void CallPlatform(ProcMgr::OwnerlinkRequestMsg& record)
{
    const int fd = IAMFileOpen(kResources[0], O_RDWR);
    IAMResetFileConfig(fd, kTimeOut);
    record.size = 0;
    IAMIoctlArg argument = {sizeof record, &record};
    Require(IAMFileIoctl(fd, ProcMgr::DUMP_APP, &argument) > 0, "IAMFileIoctl");
    Require(IAMFileClose(fd) == 0, "IAMFileClose");
}

void CallTransport(const Ownerlink::OwnerlinkClientImpl& client)
{
    static const std::string resource = kResources[0];
    static const ProcMgr::OwnerlinkRequestMsg request;
    ProcMgr::OwnerlinkResponseMsg response;
    Require(client.SendRequestToOwnerByVfs(ProcMgr::DUMP_APP, resource, request, response, -1),
            "SendRequestToOwnerByVfs");
}

void CallPublicInterface()
{
    Require(OwnerlinkClientInner::GetInstance().DumpGrp(DP, DATAMASTER), "DumpGrp");
}

void StaySilent()
{
    std::this_thread::sleep_for(kSilence);
}

// Empty when the peer is not installed or does not start.
std::function<void()> CallOf(const ExchangePeer& peer, const std::string& directory)
{
    if (!peer.connect) {
        return {};
    }
    try {
        const std::shared_ptr<PeerConnection> connection = peer.connect(directory);
        return [connection] {
            connection->Exchange();
        };
    } catch (const std::runtime_error& error) {
        std::cerr << peer.name << ": " << error.what() << std::endl;
        return {};
    }
}

}  // namespace

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(std::string(what) + " did not succeed");
    }
}

void AddFloors(std::vector<Case>& cases, World& world)
{
    cases.push_back({kKeptExchange, {}, kCalls, [&world] {
                         world.Kept(0).Exchange();
                     }});
    cases.push_back({kThreeThreads, {}, 20, [&world] {
                         world.ExchangeOnThreads({1, 1, 1});
                     }});
}

void AddExchanges(std::vector<Case>& cases, World& world)
{
    cases.push_back({kFreshExchange, {}, kCalls, [&world] {
                         BareConnection(world.FreshPath()).Exchange();
                     }});
    const auto record = std::make_shared<ProcMgr::OwnerlinkRequestMsg>();
    cases.push_back(
        {"exchange: the platform's calls", {{kKeptExchange}, {kFreshExchange}}, kCalls, [record] {
             CallPlatform(*record);
         }});
    const auto client = std::make_shared<Ownerlink::OwnerlinkClientImpl>();
    cases.push_back({"exchange: the client's transport",
                     {{kKeptExchange, 1.2}, {kFreshExchange, 0.5}},
                     kCalls,
                     [client] {
                         CallTransport(*client);
                     }});
    AddPublicExchange(cases);
    cases.back().floors.push_back({kFreshExchange, 0.5});
}

void AddPeerExchanges(std::vector<Case>& cases, World& world)
{
    const size_t exchange = cases.size() - 1;
    for (const ExchangePeer& peer : AllExchangePeers()) {
        cases[exchange].floors.push_back({peer.name, peer.aim});
        cases.push_back({peer.name, {}, kCalls, CallOf(peer, world.Directory())});
    }
}

void AddPublicExchange(std::vector<Case>& cases)
{
    cases.push_back({"exchange: DumpGrp", {{kKeptExchange, 1.2}}, kCalls, CallPublicInterface});
}

void AddIdleExchanges(std::vector<Case>& cases, World& world)
{
    cases.push_back(
        {kKeptAfterSilence, {}, kIdleCalls, [&world] { world.Kept(0).Exchange(); }, StaySilent});
    cases.push_back({"exchange: DumpGrp after 30 ms",
                     {{kKeptAfterSilence}},
                     kIdleCalls,
                     CallPublicInterface,
                     StaySilent});
}

}  // namespace bench
