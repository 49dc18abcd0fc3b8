// iceoryx's publish/subscribe: chunks of shared memory, and a daemon that introduces the ends.

#include <unistd.h>

#include <csignal>
#include <iceoryx_hoofs/log/logmanager.hpp>
#include <iceoryx_hoofs/posix_wrapper/posix_access_rights.hpp>
#include <iceoryx_posh/internal/roudi/roudi.hpp>
#include <iceoryx_posh/popo/publisher.hpp>
#include <iceoryx_posh/popo/subscriber.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>
#include <iceoryx_posh/roudi/iceoryx_roudi_components.hpp>
#include <iceoryx_posh/runtime/posh_runtime.hpp>
#include <iostream>
#include <stdexcept>

#include "bench/event_system.h"
#include "bench/processes.h"

namespace bench {
namespace {

struct Event {
    uint32_t number;
};

constexpr uint32_t kDepth = 250;  // its subscribers' queues hold 256
constexpr uint32_t kChunkSize = 128;
constexpr uint32_t kChunks = 8192;

constexpr const char* kPublisher = "ownerlink-bench-publisher";

// The daemon tells each step on this stream.
void BeQuiet()
{
    std::clog.setstate(std::ios::failbit);
    iox::log::LogManager::GetLogManager().SetDefaultLogLevel(
        iox::log::LogLevel::kError, iox::log::LogLevelOutput::kHideLogLevel);
}

std::string SubscriberName(size_t number)
{
    return "ownerlink-bench-subscriber-" + std::to_string(number);
}

iox::capro::ServiceDescription Service()
{
    return {"ownerlink-bench", "events", "number"};
}

void Join(const std::string& name)
{
    BeQuiet();
    iox::runtime::PoshRuntime::initRuntime(
        iox::RuntimeName_t(iox::cxx::TruncateToCapacity, name.c_str()));
}

class Publisher : public EventSender {
public:
    Publisher() : publisher_(Service()) {}

    void Send(uint32_t event) override
    {
        auto loan = publisher_.loan();
        if (loan.has_error()) {
            throw std::runtime_error("iceoryx has no chunk");
        }
        loan.value()->number = event;
        loan.value().publish();
    }

private:
    iox::popo::Publisher<Event> publisher_;
};

// The daemon goes after all else of iceoryx in this process, which says farewell to it.
std::unique_ptr<EventSender> Publish(const std::string& /*directory*/)
{
    static RoleProcess daemon({"event-iceoryx"});
    daemon.AwaitReady();
    Join(kPublisher);
    return std::make_unique<Publisher>();
}

// A subscriber that is terminated leaves its socket and its lock.
void RemoveLeftovers()
{
    for (size_t number = 0; number < kMostSubscribers; ++number) {
        const std::string path = "/tmp/" + SubscriberName(number);
        unlink(path.c_str());
        unlink((path + ".lock").c_str());
    }
}

void TakeAll(iox::popo::Subscriber<Event>& subscriber, const EventSink& sink)
{
    for (auto sample = subscriber.take(); !sample.has_error(); sample = subscriber.take()) {
        sink(sample.value()->number);
    }
}

void Receive(const std::string& /*directory*/, size_t number, const EventSink& sink)
{
    Join(SubscriberName(number));
    iox::popo::Subscriber<Event> subscriber(Service());
    iox::popo::WaitSet<> waitSet;
    if (waitSet.attachState(subscriber, iox::popo::SubscriberState::HAS_DATA).has_error()) {
        throw std::runtime_error("iceoryx cannot wait");
    }
    while (true) {
        waitSet.wait();
        TakeAll(subscriber, sink);
    }
}

iox::RouDiConfig_t SmallMemory()
{
    iox::mepoo::MePooConfig pools;
    pools.addMemPool({kChunkSize, kChunks});
    const auto group = iox::posix::PosixGroup::getGroupOfCurrentProcess().getName();
    iox::RouDiConfig_t config;
    config.m_sharedMemorySegments.push_back({group, group, pools});
    config.optimize();
    return config;
}

}  // namespace

EventSystem IceoryxEvents()
{
    return {"iceoryx", kDepth, Publish, Receive, RemoveLeftovers};
}

void ServeIceoryx()
{
    BeQuiet();
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    sigprocmask(SIG_BLOCK, &end, nullptr);  // ahead of the daemon's threads
    iox::roudi::IceOryxRouDiComponents components(SmallMemory());
    const iox::roudi::RouDi daemon(
        components.rouDiMemoryManager, components.portManager,
        iox::roudi::RouDi::RoudiStartupParameters{iox::roudi::MonitoringMode::OFF, false});
    std::cout << "ready" << std::endl;
    int signal = 0;
    sigwait(&end, &signal);
}

}  // namespace bench
