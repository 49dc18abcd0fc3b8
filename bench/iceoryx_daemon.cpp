#include "bench/iceoryx_daemon.h"

#include <unistd.h>

#include <csignal>
#include <iceoryx_hoofs/log/logmanager.hpp>
#include <iceoryx_hoofs/posix_wrapper/posix_access_rights.hpp>
#include <iceoryx_posh/internal/roudi/roudi.hpp>
#include <iceoryx_posh/roudi/iceoryx_roudi_components.hpp>
#include <iceoryx_posh/runtime/posh_runtime.hpp>
#include <iostream>

#include "bench/processes.h"

namespace bench {
namespace {

// An event's number; a record with the headers of a request.
constexpr uint32_t kEventSize = 128;
constexpr uint32_t kEventChunks = 8192;
constexpr uint32_t kRecordSize = 4224;
constexpr uint32_t kRecordChunks = 64;

// The daemon tells each step on this stream.
void BeQuiet()
{
    std::clog.setstate(std::ios::failbit);
    iox::log::LogManager::GetLogManager().SetDefaultLogLevel(
        iox::log::LogLevel::kError, iox::log::LogLevelOutput::kHideLogLevel);
}

iox::RouDiConfig_t SmallMemory()
{
    iox::mepoo::MePooConfig pools;
    pools.addMemPool({kEventSize, kEventChunks});
    pools.addMemPool({kRecordSize, kRecordChunks});
    const auto group = iox::posix::PosixGroup::getGroupOfCurrentProcess().getName();
    iox::RouDiConfig_t config;
    config.m_sharedMemorySegments.push_back({group, group, pools});
    config.optimize();
    return config;
}

}  // namespace

void StartIceoryxDaemon()
{
    static RoleProcess daemon({"iceoryx-daemon"});
    [[maybe_unused]] static const bool isReady = [] {
        daemon.AwaitReady();
        return true;
    }();
}

void JoinIceoryx(const std::string& name)
{
    BeQuiet();
    iox::runtime::PoshRuntime::initRuntime(
        iox::RuntimeName_t(iox::cxx::TruncateToCapacity, name.c_str()));
}

void RemoveIceoryxLeftovers(const std::string& name)
{
    const std::string path = "/tmp/" + name;
    unlink(path.c_str());
    unlink((path + ".lock").c_str());
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
