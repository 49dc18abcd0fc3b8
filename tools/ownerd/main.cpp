// ownerlink-ownerd FILE: a group owner of the applications that FILE describes.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>

#include "tools/ownerd/configuration.h"
#include "tools/ownerd/guardian.h"
#include "tools/ownerd/owner.h"
#include "tools/ownerd/owner_log.h"

namespace {

constexpr int kNoOwner = 1;
constexpr int kUnusableFile = 1;
constexpr int kWrongUsage = 2;

int Check(const std::string& file)
{
    const ownerd::ReadResult result = ownerd::ReadConfiguration(file);
    for (const std::string& line : result.errors) {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
    for (const std::string& line : result.warnings) {
        std::fprintf(stderr, "warning: %s\n", line.c_str());
    }
    if (!result.errors.empty()) {
        return kUnusableFile;
    }
    std::printf("%s: good, %zu applications\n", file.c_str(),
                result.configuration.applications.size());
    return 0;
}

int Serve(const std::string& file)
{
    ownerd::ReadResult read = ownerd::ReadConfiguration(file);
    for (const std::string& line : read.errors) {
        ownerd::LogError(line);
    }
    if (!read.errors.empty()) {
        return kUnusableFile;
    }
    ownerd::PrepareSignals();
    // Both stay until the process has gone: callbacks may run as long.
    static ownerd::Guardian guardian;
    if (read.configuration.whenOwnerDies == ownerd::WhenOwnerDies::Stop) {
        guardian.Start();
    }
    static ownerd::Owner* const owner =
        new ownerd::Owner(file, std::move(read.configuration), guardian);
    return owner->Run();
}

int Run(int argc, char** argv)
{
    CLI::App command("Owns the applications that FILE describes, as a group owner of the system.");
    std::string file;
    bool isCheck = false;
    command.add_option("FILE", file, "The configuration")->required();
    command.add_flag("--check", isCheck, "Only read FILE, and say what is wrong with it");
    command.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "ownerlink-ownerd: " + std::string(error.what()) +
               "\nTry \"ownerlink-ownerd --help\".\n";
    });
    command.set_version_flag("--version", "ownerlink-ownerd " OWNERLINK_VERSION);
    try {
        command.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return command.exit(error) == 0 ? 0 : kWrongUsage;
    }
    // A program that reloads may not depend on where it was started.
    const std::string path = std::filesystem::absolute(file).lexically_normal().string();
    return isCheck ? Check(file) : Serve(path);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ownerlink-ownerd: %s\n", error.what());
        return kNoOwner;
    }
}
