// The configuration of ownerlink-ownerd: any file is either refused with reasons, or gives a
// configuration that keeps what the program relies on.
#include <cstdint>
#include <set>
#include <string>

#include "fuzz/script.h"
#include "fuzz/temporary_file.h"
#include "platform/fake/fake_platform.h"
#include "tools/ownerd/configuration.h"

namespace {

using fuzz::Require;

void RequireLines(const std::vector<std::string>& lines, const std::string& path)
{
    for (const std::string& line : lines) {
        Require(line.rfind(path + ": ", 0) == 0 && line.size() > path.size() + 2);
    }
}

void RequireSound(const ownerd::Configuration& configuration)
{
    Require(!configuration.resource.empty());
    Require(configuration.group <= APPMGR);
    std::set<std::string> names;
    for (const ownerd::ApplicationConfig& application : configuration.applications) {
        Require(!application.name.empty() && names.insert(application.name).second);
        Require(application.name.find('#') == std::string::npos);
        Require(!application.launch.command.empty());
        Require(application.launch.command.front().front() == '/');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const fuzz::TemporaryFile file;
    file.Fill(std::string(reinterpret_cast<const char*>(data), size));
    const ownerd::ReadResult result = ownerd::ReadConfiguration(file.Path());
    RequireLines(result.errors, file.Path());
    RequireLines(result.warnings, file.Path());
    if (result.errors.empty()) {
        RequireSound(result.configuration);
    }
    OwnerlinkFake::ClearHistory();
    return 0;
}
