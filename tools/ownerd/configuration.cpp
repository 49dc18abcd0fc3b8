#include "tools/ownerd/configuration.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/ownerd/application_reader.h"
#include "tools/ownerd/config_section.h"
#include "tools/ownerd/config_values.h"
#include "tools/ownerd/start_order.h"

namespace ownerd {
namespace {

using ProcMgr::KvsTypeYaml;

std::optional<GroupOwner> ParseGroup(const std::string& text)
{
    for (const GroupOwner group : {DATAMASTER, IAM, APPMGR}) {
        if (text == ProcMgr::GetGroupOwner(group)) {
            return group;
        }
    }
    return std::nullopt;
}

std::optional<WhenOwnerDies> ParseWhenOwnerDies(const std::string& text)
{
    if (text == "stop") {
        return WhenOwnerDies::Stop;
    }
    return text == "keep" ? std::optional(WhenOwnerDies::Keep) : std::nullopt;
}

// The node class says only in syslog why a file cannot be read; a person wants it here.
std::string WhyMalformed(const std::string& path)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "rbe"), fclose);
    yaml_parser_t parser;
    if (!file || yaml_parser_initialize(&parser) == 0) {
        return "cannot be read";
    }
    yaml_parser_set_input_file(&parser, file.get());
    yaml_document_t document;
    std::string why = "empty; expected a mapping";
    if (yaml_parser_load(&parser, &document) != 0) {
        yaml_document_delete(&document);
    } else {
        why = "line " + std::to_string(parser.problem_mark.line + 1) +
              ": expected well-formed YAML: " + (parser.problem ? parser.problem : "unreadable");
    }
    yaml_parser_delete(&parser);
    return why;
}

std::string WhyUnreadable(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
        return std::string("expected a readable file: ") + strerror(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return "expected a regular file";
    }
    return "";
}

void ReadGlobals(Section& section, Configuration& configuration)
{
    section.Require(section.Read<GroupOwner>("group", configuration.group, ParseGroup,
                                             "DATAMASTER, IAM or APPMGR"),
                    "group", "DATAMASTER, IAM or APPMGR");
    const std::string resource = "the name of a resource, such as dp:/res/pm/appmgr";
    section.Require(
        section.Read<std::string>("resource", configuration.resource, ParseResource, resource),
        "resource", resource);
    section.Read<std::string>("event-resource", configuration.eventResource, ParseResource,
                              "the name of a resource, such as dp:/res/pm/sys_event");
    section.Read<uint32_t>("signal-event", configuration.signalEvent, ParseState,
                           "a system state, such as WORKING");
    section.Read<WhenOwnerDies>("when-owner-dies", configuration.whenOwnerDies, ParseWhenOwnerDies,
                                "stop or keep");
    section.Read<int>("log-mask", configuration.logMask, ParsePriority,
                      "emerg, alert, crit, err, warning, notice, info or debug");
}

void ReadApplications(Section& section, Configuration& configuration)
{
    const KvsTypeYaml* const node = section.ReadNode("applications");
    section.Require(node != nullptr, "applications", "a mapping of applications by name");
    if (node == nullptr) {
        return;
    }
    Section applications(*node, "applications", section.Report());
    for (const KvsTypeYaml& entry : applications.Entries()) {
        configuration.applications.push_back(ReadApplication(
            entry, applications.PathOf(entry.GetKey()), configuration, section.Report()));
    }
}

void WarnOfMissingPrograms(const Configuration& configuration, Findings& warnings)
{
    for (const ApplicationConfig& application : configuration.applications) {
        const std::string& program = application.launch.command.front();
        if (access(program.c_str(), X_OK) != 0) {
            warnings.Add("applications." + application.name + ".command",
                         program + ": " + strerror(errno));
        }
    }
}

}  // namespace

ReadResult ReadConfiguration(const std::string& path)
{
    ReadResult result;
    Findings findings(path);
    Findings warnings(path);
    KvsTypeYaml root;
    if (const std::string why = WhyUnreadable(path); !why.empty()) {
        findings.Add("", why);
    } else if (!root.InitYamlNode(path)) {
        findings.Add("", WhyMalformed(path));
    } else {
        Section section(root, "", findings);
        ReadGlobals(section, result.configuration);
        ReadApplications(section, result.configuration);
        section.RefuseOthers();
        OrderByStart(result.configuration.applications, findings);
    }
    if (findings.Lines().empty()) {
        WarnOfMissingPrograms(result.configuration, warnings);
    }
    result.errors = findings.Lines();
    result.warnings = warnings.Lines();
    return result;
}

}  // namespace ownerd
