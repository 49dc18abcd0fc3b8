// What the file says of one application.
#ifndef OWNERLINK_TOOLS_OWNERD_APPLICATION_CONFIG_H
#define OWNERLINK_TOOLS_OWNERD_APPLICATION_CONFIG_H

#include <ownerlink/enum_text.h>
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace ownerd {

using Milliseconds = std::chrono::milliseconds;

// Whom an application runs as.
struct Identity {
    std::string user;
    std::string home;
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;

    bool operator==(const Identity&) const = default;
};

enum class StartMode { Auto, Manual };
enum class RestartPolicy { Never, OnFailure, Always };
enum class Readiness { Alive, Notify };
enum class OutputKind { Inherit, Null, Log, File };

struct Output {
    OutputKind kind = OutputKind::Inherit;
    std::string path;

    bool operator==(const Output&) const = default;
};

// What an application does when a suspend is near.
enum class SuspendPre { Keep, Stop, Signal };

// How it is launched; a running application that is to be launched otherwise is restarted.
struct LaunchConfig {
    std::vector<std::string> command;
    std::map<std::string, std::string> environment;
    bool inheritsEnvironment = true;
    std::string directory = "/";
    std::optional<Identity> identity;
    std::map<int, uint64_t> limits;  // by RLIMIT_ number
    Output output;

    bool operator==(const LaunchConfig&) const = default;
};

struct ApplicationConfig {
    std::string name;
    LaunchConfig launch;

    std::set<uint32_t> states = {ProcMgr::WORKING};
    StartMode start = StartMode::Auto;
    std::vector<std::string> after;

    RestartPolicy restart = RestartPolicy::OnFailure;
    Milliseconds restartDelay{100};
    Milliseconds restartDelayMax{10000};
    uint32_t restartLimit = 5;
    Milliseconds restartWindow{60000};

    Readiness ready = Readiness::Alive;
    Milliseconds startTime{200};
    Milliseconds readyWithin{10000};

    int stopSignal = SIGTERM;
    Milliseconds stopGrace{5000};

    SuspendPre suspendPre = SuspendPre::Keep;
    int prepareSignal = 0;
    int cancelSignal = 0;

    bool operator==(const ApplicationConfig&) const = default;
};

}  // namespace ownerd

#endif
