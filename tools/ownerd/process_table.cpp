#include "tools/ownerd/process_table.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace ownerd {
namespace {

// What can be read: a process that ends meanwhile would make a stream iterator throw.
std::string ReadWhole(pid_t pid, const char* file)
{
    const std::ifstream stream("/proc/" + std::to_string(pid) + '/' + file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

// The value of a variable in an environment, whose entries end with a zero byte.
std::optional<std::string> ValueOf(const std::string& environment, const std::string& name)
{
    const std::string wanted = name + '=';
    for (size_t at = 0; at < environment.size();) {
        const size_t end = std::min(environment.find('\0', at), environment.size());
        if (environment.compare(at, wanted.size(), wanted) == 0) {
            return environment.substr(at + wanted.size(), end - at - wanted.size());
        }
        at = end + 1;
    }
    return std::nullopt;
}

std::optional<std::string> ApplicationOf(pid_t pid, const std::string& owner,
                                         const std::map<pid_t, std::string>& sessions)
{
    const std::optional<ProcessStat> stat = ReadStat(pid);
    if (!stat || stat->isGone) {
        return std::nullopt;
    }
    const std::string environment = ReadWhole(pid, "environ");
    if (ValueOf(environment, kOwnerVariable) == owner) {
        return ValueOf(environment, kApplicationVariable);
    }
    const auto session = sessions.find(stat->session);
    return session == sessions.end() ? std::nullopt : std::optional(session->second);
}

std::vector<pid_t> AllProcesses()
{
    std::vector<pid_t> pids;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
        const std::string name = entry.path().filename().string();
        if (std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            pids.push_back(static_cast<pid_t>(std::stol(name)));
        }
    }
    return pids;
}

}  // namespace

std::optional<ProcessStat> ReadStat(pid_t pid)
{
    // The second field is the program's name in parentheses, and may hold anything.
    const std::string text = ReadWhole(pid, "stat");
    const size_t nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream words(text.substr(nameEnd + 1));
    const std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
    constexpr size_t kState = 0;
    constexpr size_t kSession = 3;
    constexpr size_t kStartTime = 19;
    if (fields.size() <= kStartTime) {
        return std::nullopt;
    }
    ProcessStat stat;
    stat.isGone = fields[kState] == "Z" || fields[kState] == "X";
    stat.session = static_cast<pid_t>(std::stol(fields[kSession]));
    stat.startTime = std::stoull(fields[kStartTime]);
    return stat;
}

ProcessesByApplication FindProcesses(const std::string& owner,
                                     const std::map<pid_t, std::string>& sessions)
{
    ProcessesByApplication found;
    for (const pid_t pid : AllProcesses()) {
        if (pid == getpid()) {
            continue;
        }
        if (const auto application = ApplicationOf(pid, owner, sessions)) {
            found[*application].push_back(pid);
        }
    }
    return found;
}

}  // namespace ownerd
