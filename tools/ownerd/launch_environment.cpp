#include "tools/ownerd/launch_environment.h"

#include <unistd.h>

#include "tools/ownerd/process_table.h"

namespace ownerd {
namespace {

using Variables = std::map<std::string, std::string>;

// What belongs to the owner's own supervisor is not handed on.
void Inherit(Variables& variables)
{
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const size_t equals = text.find('=');
        if (equals != std::string::npos) {
            variables[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    for (const char* own : {"NOTIFY_SOCKET", "WATCHDOG_PID", "WATCHDOG_USEC", "LISTEN_FDS",
                            "LISTEN_PID", "LISTEN_FDNAMES", "MAINPID"}) {
        variables.erase(own);
    }
}

void AddIdentity(const ApplicationConfig& config, Variables& variables)
{
    if (config.launch.identity) {
        variables["USER"] = config.launch.identity->user;
        variables["LOGNAME"] = config.launch.identity->user;
        variables["HOME"] = config.launch.identity->home;
    }
}

void AddParameters(const Parameters& parameters, Variables& variables)
{
    for (const auto& [index, values] : parameters) {
        const std::string number = std::to_string(index);
        std::string name = "OWNERLINK_PARA_";
        name.append(index < 0 ? 'N' + number.substr(1) : number).append("_");
        variables[name + "COUNT"] = std::to_string(values.size());
        for (size_t i = 0; i < values.size(); ++i) {
            variables[name + std::to_string(i)] = values[i];
        }
    }
}

}  // namespace

std::vector<std::string> MakeEnvironment(const ApplicationConfig& config, const LaunchFacts& facts)
{
    Variables variables;
    if (config.launch.inheritsEnvironment) {
        Inherit(variables);
    }
    AddIdentity(config, variables);
    for (const auto& [name, value] : config.launch.environment) {
        variables[name] = value;
    }
    AddParameters(facts.parameters, variables);
    variables[kOwnerVariable] = facts.owner;
    variables[kApplicationVariable] = config.name;
    if (!facts.notifySocket.empty()) {
        variables["NOTIFY_SOCKET"] = facts.notifySocket;
    }
    std::vector<std::string> environment;
    for (const auto& [name, value] : variables) {
        environment.emplace_back(name).append("=").append(value);
    }
    return environment;
}

}  // namespace ownerd
