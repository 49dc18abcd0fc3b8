#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/ownerd/configuration_file.h"

using testing::ElementsAre;

namespace {

struct Case {
    const char* name;
    std::string text;
    std::string error;  // behind "FILE: "
};

class BadConfiguration : public testing::TestWithParam<Case> {};

std::string ApplicationError(const std::string& error)
{
    return "applications.camera." + error;
}

// A file that is good but for one key of its application.
Case OfApplication(const char* name, const std::string& line, const std::string& error)
{
    return {name, WithApplication("    " + line + "\n"), ApplicationError(error)};
}

Case OfCommand(const char* name, const std::string& command, const std::string& error)
{
    return {name, Globals() + "applications: {camera: {" + command + "}}\n",
            ApplicationError(error)};
}

Case OfOwner(const char* name, const std::string& lines, const std::string& error)
{
    return {name, lines + "applications: {camera: {command: [/bin/true]}}\n", error};
}

Case OfGlobals(const char* name, const std::string& line, const std::string& error)
{
    return OfOwner(name, Globals() + line + '\n', error);
}

const char* const kTime = "a time, such as 500ms, 5s or 2min, not ";
const char* const kStates = "a list of OFF, WORKING, SUSPEND, UPGRADE or CALIBRATION, not ";
const char* const kOwnerKeys =
    "group, resource, event-resource, signal-event, when-owner-dies, log-mask, applications";
const char* const kApplicationKeys =
    "command, environment, inherit-environment, directory, user, group, limits, output, states, "
    "start, after, restart, restart-delay, restart-delay-max, restart-limit, restart-window, "
    "ready, start-time, ready-within, stop-signal, stop-grace, suspend-pre, suspend-cancel";

std::vector<Case> FileCases()
{
    return {
        {"EmptyFile", "", "empty; expected a mapping"},
        {"OnlyAComment", "# nothing\n", "empty; expected a mapping"},
        {"BrokenYaml", "group: [APPMGR\n",
         "line 2: expected well-formed YAML: did not find expected ',' or ']'"},
        {"TabForIndentation", "group:\n\tAPPMGR\n",
         "line 2: expected well-formed YAML: found character that cannot start any token"},
        {"AListForAFile", "[group, resource]\n", "expected a mapping, not a list"},
        {"ATextForAFile", "APPMGR\n", "expected a mapping, not \"APPMGR\""},
    };
}

std::vector<Case> OwnerCases()
{
    return {
        OfOwner("NoGroup", "resource: dp:/r\n",
                "group: missing; expected DATAMASTER, IAM or APPMGR"),
        OfOwner("UnknownGroup", "group: appmgr\nresource: dp:/r\n",
                "group: expected DATAMASTER, IAM or APPMGR, not \"appmgr\""),
        OfOwner("ANumberForAGroup", "group: 2\nresource: dp:/r\n",
                "group: expected DATAMASTER, IAM or APPMGR, not \"2\""),
        OfOwner("NoResource", "group: IAM\n",
                "resource: missing; expected the name of a resource, such as dp:/res/pm/appmgr"),
        OfOwner("EmptyResource", "group: IAM\nresource:\n",
                "resource: expected the name of a resource, such as dp:/res/pm/appmgr, "
                "not nothing"),
        OfOwner("AListForAResource", "group: IAM\nresource: [a]\n",
                "resource: expected the name of a resource, such as dp:/res/pm/appmgr, "
                "not a list"),
        OfGlobals("ResourceTwice", "resource: dp:/other",
                  "resource: expected once, and stands there again"),
        OfGlobals("UnknownKey", "applicatoins: {}",
                  std::string("applicatoins: no such key; expected one of ") + kOwnerKeys),
        OfGlobals("AMappingForTheEventResource", "event-resource: {a: b}",
                  "event-resource: expected the name of a resource, such as "
                  "dp:/res/pm/sys_event, not a mapping"),
        OfGlobals("UnknownSignalEvent", "signal-event: AWAKE",
                  "signal-event: expected a system state, such as WORKING, not \"AWAKE\""),
        OfGlobals("UnknownWhenOwnerDies", "when-owner-dies: leave",
                  "when-owner-dies: expected stop or keep, not \"leave\""),
        OfGlobals("UnknownLogMask", "log-mask: loud",
                  "log-mask: expected emerg, alert, crit, err, warning, notice, info or debug, "
                  "not \"loud\""),
        {"NoApplications", Globals(),
         "applications: missing; expected a mapping of applications by name"},
        {"AListOfApplications", Globals() + "applications: [camera]\n",
         "applications: expected a mapping, not a list"},
        {"NothingForApplications", Globals() + "applications:\n",
         "applications: expected a mapping, not nothing"},
        {"ApplicationTwice",
         Globals() + "applications:\n  a: {command: [/bin/true]}\n  a: {command: [/bin/true]}\n",
         "applications.a: expected once, and stands there again"},
        {"ApplicationWithAHash", Globals() + "applications: {'a#b': {command: [/bin/true]}}\n",
         "applications.a#b: expected a name of 1 to 255 bytes, printable and without '#'"},
        {"ApplicationWithoutAName", Globals() + "applications: {'': {command: [/bin/true]}}\n",
         "applications.: expected a name of 1 to 255 bytes, printable and without '#'"},
        {"ATextForAnApplication", Globals() + "applications: {camera: /bin/true}\n",
         "applications.camera: expected a mapping, not \"/bin/true\""},
    };
}

std::vector<Case> LaunchCases()
{
    const std::string words =
        "command: expected a list of words, such as [/usr/bin/camera, --fast]";
    return {
        OfCommand("NoCommand", "directory: /",
                  "command: missing; expected a list of words, such as [/usr/bin/camera, --fast]"),
        OfCommand("ATextForACommand", "command: /bin/true --fast",
                  words + ", not \"/bin/true --fast\""),
        OfCommand("AnEmptyCommand", "command: []", words + ", not an empty one"),
        OfCommand("AMappingForACommand", "command: {program: /bin/true}",
                  words + ", not a mapping"),
        OfCommand("AListInACommand", "command: [/bin/true, [--fast]]",
                  words + ", not one with a list"),
        OfCommand("ARelativeProgram", "command: [true]",
                  "command: expected the absolute path of a program first, not \"true\""),
        OfApplication("AListForTheEnvironment", "environment: [A=b]",
                      "environment: expected a mapping, not a list"),
        OfApplication("AListForAVariable", "environment: {A: [b]}",
                      "environment.A: expected a text, not a list"),
        OfApplication("ABadVariableName", "environment: {1A: b}",
                      "environment.1A: expected the name of a variable, not \"1A\""),
        OfApplication("AVariableOfTheOwner", "environment: {NOTIFY_SOCKET: /x}",
                      "environment.NOTIFY_SOCKET: expected a name that is not set by the owner "
                      "itself"),
        OfApplication("AYesForASwitch", "inherit-environment: yes",
                      "inherit-environment: expected true or false, not \"yes\""),
        OfApplication("ARelativeDirectory", "directory: tmp",
                      "directory: expected an absolute path, not \"tmp\""),
        OfApplication("UnknownLimit", "limits: {files: 3}",
                      "limits.files: no such key; expected one of address-space, core, "
                      "cpu-seconds, data, file-size, locked-memory, nice, open-files, processes, "
                      "realtime-priority, stack"),
        OfApplication("ANegativeLimit", "limits: {open-files: -1}",
                      "limits.open-files: expected a number, such as 64M, or unlimited, "
                      "not \"-1\""),
        OfApplication("AnUnknownUnit", "limits: {stack: 8MB}",
                      "limits.stack: expected a number, such as 64M, or unlimited, not \"8MB\""),
        OfApplication("ALimitBeyondAllNumbers", "limits: {stack: 99999999999G}",
                      "limits.stack: expected a number, such as 64M, or unlimited, "
                      "not \"99999999999G\""),
        OfApplication("UnknownOutput", "output: syslog",
                      "output: expected inherit, null, log or the absolute path of a file, "
                      "not \"syslog\""),
        {"OutputToTheLogOfAnOwnerThatMayDie",
         WithApplication("    output: log\n") + "when-owner-dies: keep\n",
         ApplicationError("output: expected inherit, null or a file, since when-owner-dies is "
                          "keep, not \"log\"")},
    };
}

std::vector<Case> LifeCases()
{
    return {
        OfApplication("ATextForStates", "states: WORKING",
                      std::string("states: expected ") + kStates + "\"WORKING\""),
        OfApplication("UnknownState", "states: [WORKING, PARKED]",
                      std::string("states: expected ") + kStates + "one with \"PARKED\""),
        OfApplication("APassingState", "states: [SUSPEND_PRE]",
                      std::string("states: expected ") + kStates + "one with \"SUSPEND_PRE\""),
        OfApplication(
            "AStateThatIsNeverSent", "states: [HIGH_LEVEL_ADS_EXIT]",
            std::string("states: expected ") + kStates + "one with \"HIGH_LEVEL_ADS_EXIT\""),
        OfApplication("UnknownStart", "start: later",
                      "start: expected auto or manual, not \"later\""),
        OfApplication("AfterAnUnknownOne", "after: [bus]",
                      "after: expected names of applications of this file, not \"bus\""),
        OfApplication("AfterItself", "after: [camera]",
                      "after: expected no cycle: camera after camera"),
        {"ACycleOfThree",
         Globals() + "applications:\n  a: {command: [/bin/true], after: [b]}\n"
                     "  b: {command: [/bin/true], after: [c]}\n"
                     "  c: {command: [/bin/true], after: [a]}\n",
         "applications.a.after: expected no cycle: a after b after c after a"},
        OfApplication("UnknownRestart", "restart: sometimes",
                      "restart: expected never, on-failure or always, not \"sometimes\""),
        OfApplication("ATimeWithoutAUnit", "restart-delay: 5",
                      std::string("restart-delay: expected ") + kTime + "\"5\""),
        OfApplication("ANegativeTime", "restart-window: -5s",
                      std::string("restart-window: expected ") + kTime + "\"-5s\""),
        OfApplication("ATimeOfTwoDays", "stop-grace: 2880min",
                      std::string("stop-grace: expected ") + kTime + "\"2880min\""),
        OfApplication("ABrokenTime", "start-time: 1.5s",
                      std::string("start-time: expected ") + kTime + "\"1.5s\""),
        OfApplication("AMaximumBelowTheDelay", "restart-delay-max: 10ms",
                      "restart-delay-max: expected no less than restart-delay"),
        OfApplication("ALimitOfNone", "restart-limit: 0",
                      "restart-limit: expected a number from 1 to 1000, not \"0\""),
        OfApplication("UnknownReadiness", "ready: forking",
                      "ready: expected alive or notify, not \"forking\""),
        OfApplication("UnknownSignal", "stop-signal: SIGSTOPPED",
                      "stop-signal: expected a signal, such as SIGTERM, not \"SIGSTOPPED\""),
        OfApplication("ANumberForASignal", "stop-signal: 15",
                      "stop-signal: expected a signal, such as SIGTERM, not \"15\""),
        OfApplication("UnknownSuspendPre", "suspend-pre: freeze",
                      "suspend-pre: expected keep, stop or a signal, not \"freeze\""),
        OfApplication("ACancelOfNothing", "suspend-cancel: SIGUSR2",
                      "suspend-cancel: expected only where suspend-pre is a signal"),
        OfApplication("UnknownKeyOfAnApplication", "comand: [a]",
                      std::string("comand: no such key; expected one of ") + kApplicationKeys),
    };
}

std::string NameOf(const testing::TestParamInfo<Case>& info)
{
    return info.param.name;
}

}  // namespace

TEST_P(BadConfiguration, IsRefusedWithFileKeyAndWhatWasExpected)
{
    const ownerd::ReadResult result = ReadText(GetParam().text);

    EXPECT_THAT(result.errors, ElementsAre("FILE: " + GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(File, BadConfiguration, testing::ValuesIn(FileCases()), NameOf);
INSTANTIATE_TEST_SUITE_P(Owner, BadConfiguration, testing::ValuesIn(OwnerCases()), NameOf);
INSTANTIATE_TEST_SUITE_P(Launch, BadConfiguration, testing::ValuesIn(LaunchCases()), NameOf);
INSTANTIATE_TEST_SUITE_P(Life, BadConfiguration, testing::ValuesIn(LifeCases()), NameOf);

TEST(BadConfigurations, AreReportedWithAllTheirMistakesAtOnce)
{
    const ownerd::ReadResult result =
        ReadText("group: none\napplications:\n  a: {command: [/bin/true], restart: no}\n");

    EXPECT_THAT(result.errors,
                ElementsAre("FILE: group: expected DATAMASTER, IAM or APPMGR, not \"none\"",
                            "FILE: resource: missing; expected the name of a resource, such as "
                            "dp:/res/pm/appmgr",
                            "FILE: applications.a.restart: expected never, on-failure or always, "
                            "not \"no\""));
}

TEST(BadConfigurations, WithUsersThatAreNotThereAreRefused)
{
    const ownerd::ReadResult result = ReadText(WithApplication("    user: no-such-user\n"));

    const std::string error = geteuid() == 0
                                  ? "user: expected the name of a user, not \"no-such-user\""
                                  : "user: expected only where the owner runs as root";
    EXPECT_THAT(result.errors, ElementsAre("FILE: " + ApplicationError(error)));
}

TEST(BadConfigurations, ThatCannotBeReadSayWhy)
{
    EXPECT_THAT(ownerd::ReadConfiguration("/no/such/file").errors,
                ElementsAre("/no/such/file: expected a readable file: No such file or directory"));
    EXPECT_THAT(ownerd::ReadConfiguration("/proc").errors,
                ElementsAre("/proc: expected a regular file"));
}
