#include "tools/ownerd/application_reader.h"

#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

#include "tools/ownerd/config_values.h"

namespace ownerd {
namespace {

const char* const kTimeExpected = "a time, such as 500ms, 5s or 2min";
const char* const kSignalExpected = "a signal, such as SIGTERM";

template <typename Value>
Section::Parser<Value> OneOf(std::map<std::string, Value> values)
{
    return [values = std::move(values)](const std::string& text) {
        const auto found = values.find(text);
        return found == values.end() ? std::nullopt : std::optional<Value>(found->second);
    };
}

std::optional<std::string> ParseText(const std::string& text)
{
    return text;
}

std::optional<std::string> ParseName(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

void ReadCommand(Section& section, LaunchConfig& launch)
{
    const std::string expected = "words, such as [/usr/bin/camera, --fast]";
    const size_t reports = section.Report().Lines().size();
    section.Require(section.ReadList<std::string>("command", launch.command, ParseText, expected),
                    "command", "a list of " + expected);
    if (!section.IsThere() || section.Report().Lines().size() != reports) {
        return;
    }
    if (launch.command.empty()) {
        section.Report().Add(section.PathOf("command"),
                             "expected a list of " + expected + ", not an empty one");
    } else if (!ParseAbsolutePath(launch.command.front())) {
        section.Report().Expected(section.PathOf("command"), "the absolute path of a program first",
                                  '"' + launch.command.front() + '"');
    }
}

void ReadEnvironment(Section& section, LaunchConfig& launch)
{
    section.ReadTexts("environment", launch.environment, "a text");
    for (const auto& [name, value] : launch.environment) {
        const std::string key = section.PathOf("environment") + '.' + name;
        if (!IsVariableName(name)) {
            section.Report().Expected(key, "the name of a variable", '"' + name + '"');
        } else if (name == "NOTIFY_SOCKET" || name.rfind("OWNERLINK_APP", 0) == 0 ||
                   name.rfind("OWNERLINK_OWNERD", 0) == 0 || name.rfind("OWNERLINK_PARA", 0) == 0) {
            section.Report().Add(key, "expected a name that is not set by the owner itself");
        }
    }
    section.Read<bool>("inherit-environment", launch.inheritsEnvironment, ParseSwitch,
                       "true or false");
}

void ReadOutput(Section& section, const Configuration& whole, Output& output)
{
    const auto parse = [](const std::string& text) -> std::optional<Output> {
        const std::map<std::string, OutputKind> kinds = {
            {"inherit", OutputKind::Inherit}, {"null", OutputKind::Null}, {"log", OutputKind::Log}};
        if (const auto kind = kinds.find(text); kind != kinds.end()) {
            return Output{kind->second, ""};
        }
        return ParseAbsolutePath(text) ? std::optional(Output{OutputKind::File, text})
                                       : std::nullopt;
    };
    section.Read<Output>("output", output, parse,
                         "inherit, null, log or the absolute path of a file");
    // Its pipe would break with the owner.
    if (output.kind == OutputKind::Log && whole.whenOwnerDies == WhenOwnerDies::Keep) {
        section.Report().Expected(section.PathOf("output"),
                                  "inherit, null or a file, since when-owner-dies is keep",
                                  "\"log\"");
    }
}

// From a name or a number; false if there is no such user.
bool LookUpUser(const std::string& name, Identity& identity)
{
    const bool isNumber = !name.empty() && ProcMgr::IsStrDigits(name) && name.size() < 10;
    const passwd* const entry =
        isNumber ? getpwuid(static_cast<uid_t>(std::stoul(name))) : getpwnam(name.c_str());
    if (entry == nullptr) {
        return false;
    }
    identity.user = entry->pw_name;
    identity.home = entry->pw_dir;
    identity.uid = entry->pw_uid;
    identity.gid = entry->pw_gid;
    return true;
}

std::optional<gid_t> LookUpGroup(const std::string& name)
{
    const bool isNumber = !name.empty() && ProcMgr::IsStrDigits(name) && name.size() < 10;
    if (isNumber) {
        return static_cast<gid_t>(std::stoul(name));
    }
    const group* const entry = getgrnam(name.c_str());
    return entry == nullptr ? std::nullopt : std::optional(entry->gr_gid);
}

void AddSupplementaryGroups(Identity& identity)
{
    int count = 256;
    identity.groups.resize(static_cast<size_t>(count));
    getgrouplist(identity.user.c_str(), identity.gid, identity.groups.data(), &count);
    identity.groups.resize(static_cast<size_t>(std::clamp(count, 0, 256)));
}

void ReadIdentity(Section& section, LaunchConfig& launch)
{
    std::string user;
    std::string group;
    const bool hasUser = section.Read<std::string>("user", user, ParseName, "the name of a user");
    const bool hasGroup =
        section.Read<std::string>("group", group, ParseName, "the name of a group");
    if (!hasUser && !hasGroup) {
        return;
    }
    if (geteuid() != 0) {
        section.Report().Add(section.PathOf(hasUser ? "user" : "group"),
                             "expected only where the owner runs as root");
        return;
    }
    Identity identity;
    if (!LookUpUser(hasUser ? user : "0", identity)) {
        section.Report().Expected(section.PathOf("user"), "the name of a user", '"' + user + '"');
        return;
    }
    if (hasGroup) {
        const std::optional<gid_t> found = LookUpGroup(group);
        if (!found) {
            section.Report().Expected(section.PathOf("group"), "the name of a group",
                                      '"' + group + '"');
            return;
        }
        identity.gid = *found;
    }
    AddSupplementaryGroups(identity);
    launch.identity = identity;
}

void ReadLimits(Section& section, LaunchConfig& launch)
{
    static const std::map<std::string, int> numbers = {
        {"address-space", RLIMIT_AS}, {"core", RLIMIT_CORE},
        {"cpu-seconds", RLIMIT_CPU},  {"data", RLIMIT_DATA},
        {"file-size", RLIMIT_FSIZE},  {"locked-memory", RLIMIT_MEMLOCK},
        {"nice", RLIMIT_NICE},        {"open-files", RLIMIT_NOFILE},
        {"processes", RLIMIT_NPROC},  {"realtime-priority", RLIMIT_RTPRIO},
        {"stack", RLIMIT_STACK}};
    const ProcMgr::KvsTypeYaml* const node = section.ReadNode("limits");
    if (node == nullptr) {
        return;
    }
    Section limits(*node, section.PathOf("limits"), section.Report());
    for (const auto& [name, number] : numbers) {
        uint64_t value = 0;
        if (limits.Read<uint64_t>(name, value, ParseLimit, "a number, such as 64M, or unlimited")) {
            launch.limits[number] = value;
        }
    }
    limits.RefuseOthers();
}

void ReadLaunch(Section& section, const Configuration& whole, LaunchConfig& launch)
{
    ReadCommand(section, launch);
    ReadEnvironment(section, launch);
    section.Read<std::string>("directory", launch.directory, ParseAbsolutePath, "an absolute path");
    ReadIdentity(section, launch);
    ReadLimits(section, launch);
    ReadOutput(section, whole, launch.output);
}

void ReadWhenItRuns(Section& section, ApplicationConfig& application)
{
    std::vector<uint32_t> states(application.states.begin(), application.states.end());
    section.ReadList<uint32_t>("states", states, ParseLastingState,
                               "OFF, WORKING, SUSPEND, UPGRADE or CALIBRATION");
    application.states = {states.begin(), states.end()};
    section.Read<StartMode>(
        "start", application.start,
        OneOf<StartMode>({{"auto", StartMode::Auto}, {"manual", StartMode::Manual}}),
        "auto or manual");
    section.ReadList<std::string>("after", application.after, ParseName, "names of applications");
}

void ReadRestart(Section& section, ApplicationConfig& application)
{
    section.Read<RestartPolicy>("restart", application.restart,
                                OneOf<RestartPolicy>({{"never", RestartPolicy::Never},
                                                      {"on-failure", RestartPolicy::OnFailure},
                                                      {"always", RestartPolicy::Always}}),
                                "never, on-failure or always");
    section.Read<Milliseconds>("restart-delay", application.restartDelay, ParseTime, kTimeExpected);
    section.Read<Milliseconds>("restart-delay-max", application.restartDelayMax, ParseTime,
                               kTimeExpected);
    section.Read<uint32_t>("restart-limit", application.restartLimit, ParseCount,
                           "a number from 1 to 1000");
    section.Read<Milliseconds>("restart-window", application.restartWindow, ParseTime,
                               kTimeExpected);
    if (application.restartDelayMax < application.restartDelay) {
        section.Report().Add(section.PathOf("restart-delay-max"),
                             "expected no less than restart-delay");
    }
}

void ReadStartAndStop(Section& section, ApplicationConfig& application)
{
    section.Read<Readiness>(
        "ready", application.ready,
        OneOf<Readiness>({{"alive", Readiness::Alive}, {"notify", Readiness::Notify}}),
        "alive or notify");
    section.Read<Milliseconds>("start-time", application.startTime, ParseTime, kTimeExpected);
    section.Read<Milliseconds>("ready-within", application.readyWithin, ParseTime, kTimeExpected);
    section.Read<int>("stop-signal", application.stopSignal, ParseSignal, kSignalExpected);
    section.Read<Milliseconds>("stop-grace", application.stopGrace, ParseTime, kTimeExpected);
}

void ReadSuspendPre(Section& section, ApplicationConfig& application)
{
    std::string word;
    const auto parse = [](const std::string& text) -> std::optional<std::string> {
        const bool isKnown = text == "keep" || text == "stop" || ParseSignal(text);
        return isKnown ? std::optional(text) : std::nullopt;
    };
    if (section.Read<std::string>("suspend-pre", word, parse, "keep, stop or a signal")) {
        application.prepareSignal = ParseSignal(word).value_or(0);
        application.suspendPre = word == "stop"                   ? SuspendPre::Stop
                                 : application.prepareSignal != 0 ? SuspendPre::Signal
                                                                  : SuspendPre::Keep;
    }
    if (section.Read<int>("suspend-cancel", application.cancelSignal, ParseSignal,
                          kSignalExpected) &&
        application.suspendPre != SuspendPre::Signal) {
        section.Report().Add(section.PathOf("suspend-cancel"),
                             "expected only where suspend-pre is a signal");
    }
}

}  // namespace

ApplicationConfig ReadApplication(const ProcMgr::KvsTypeYaml& node, const std::string& path,
                                  const Configuration& whole, Findings& findings)
{
    ApplicationConfig application;
    application.name = node.GetKey();
    if (!IsApplicationName(application.name)) {
        findings.Add(path, "expected a name of 1 to 255 bytes, printable and without '#'");
    }
    Section section(node, path, findings);
    ReadLaunch(section, whole, application.launch);
    ReadWhenItRuns(section, application);
    ReadRestart(section, application);
    ReadStartAndStop(section, application);
    ReadSuspendPre(section, application);
    section.RefuseOthers();
    return application;
}

}  // namespace ownerd
