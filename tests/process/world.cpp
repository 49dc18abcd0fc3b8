#include "tests/process/world.h"

#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

namespace {

constexpr const char* kWorldVariable = "OWNERLINK_TEST_WORLD";
constexpr int kRefusedNamespace = 77;

// A sanitizer's report ends its process and stays, also when the test kills that process.
void KeepSanitizerReports(const std::string& directory)
{
    for (const char* variable : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        const char* const before = getenv(variable);
        const std::string options = before == nullptr ? "" : std::string(before) + ':';
        setenv(variable, (options + "halt_on_error=1:log_path=" + directory + "/sanitizer").c_str(),
               1);
    }
}

bool PrintSanitizerReports(const std::string& directory)
{
    bool isAny = false;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().filename().string().rfind("sanitizer.", 0) == 0) {
            isAny = true;
            std::cerr << std::ifstream(entry.path()).rdbuf() << std::endl;
        }
    }
    return isAny;
}

std::string MakeWorld()
{
    std::string directory = (std::filesystem::temp_directory_path() / "olworldXXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) {
        return "";
    }
    std::filesystem::create_directory(directory + "/run");
    setenv(kWorldVariable, directory.c_str(), 1);
    setenv("OWNERLINK_RUNTIME_DIR", (directory + "/run").c_str(), 1);
    // One file for each process of the world; each process has its own number.
    setenv("OWNERLINK_LOG", ("info,file:" + directory + "/%p.log").c_str(), 1);
    unsetenv("DATAMASTER_RUN_MODE");
    KeepSanitizerReports(directory);
    std::ofstream(directory + "/owners.yaml") << UsualConfig();
    return directory;
}

// Runs this program again behind the script that makes the namespace; its exit code.
int RunInside(const std::string& directory, char** argv)
{
    std::string config = directory + "/owners.yaml";
    std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    std::string script = WITH_CONFIG;
    std::vector<char*> words = {script.data(), config.data(), self.data()};
    for (char** argument = argv + 1; *argument != nullptr; ++argument) {
        words.push_back(*argument);
    }
    words.push_back(nullptr);
    pid_t process = -1;
    int status = -1;
    if (posix_spawn(&process, WITH_CONFIG, nullptr, nullptr, words.data(), environ) != 0 ||
        waitpid(process, &status, 0) != process) {
        std::fprintf(stderr, "cannot run %s\n", WITH_CONFIG);
        return 1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int MakeWorldAndRun(char** argv)
{
    const std::string directory = MakeWorld();
    if (directory.empty()) {
        std::perror("no directory for the test");
        return 1;
    }
    const int status = RunInside(directory, argv);
    const bool isUnclean = PrintSanitizerReports(directory);
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    if (status == kRefusedNamespace) {
        std::fprintf(stderr,
                     "FAILED: this test needs a mount namespace for its configuration, "
                     "which this system refuses\n");
        return 1;
    }
    return isUnclean ? 1 : status;
}

}  // namespace

int RunTestsInWorld(int argc, char** argv)
{
    const std::vector<std::string> words(argv, argv + argc);
    std::vector<char*> copy;
    for (const std::string& word : words) {
        copy.push_back(const_cast<char*>(word.c_str()));
    }
    copy.push_back(nullptr);
    testing::InitGoogleMock(&argc, argv);  // takes its own arguments away
    if (!GTEST_FLAG_GET(list_tests) && getenv(kWorldVariable) == nullptr) {
        return MakeWorldAndRun(copy.data());
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);  // a peer that is gone is seen by the write's result
    return RUN_ALL_TESTS();
}

std::string WorldDirectory()
{
    return getenv(kWorldVariable);
}

std::string LogOf(pid_t process)
{
    return WorldDirectory() + '/' + std::to_string(process) + ".log";
}

std::string ResourceOf(GroupOwner group)
{
    static const char* const kNames[] = {"datamaster", "iam", "appmgr"};
    const std::string world = std::filesystem::path(WorldDirectory()).filename().string();
    return "dp:/res/" + world + '/' + kNames[group];
}

std::string ConfigEntry(const std::string& name, const std::string& body)
{
    return name + ": {" + body + "}\n";
}

std::string UsualConfig()
{
    std::string text;
    for (const GroupOwner group : {DATAMASTER, IAM, APPMGR}) {
        const std::string number = std::to_string(group);
        text += ConfigEntry("owner" + number, "OsType: 0, GroupOwner: " + number + ", SecVfs: \"" +
                                                  ResourceOf(group) + '"');
    }
    return text;
}

void WriteConfig(const std::string& text)
{
    std::ofstream(kConfigFile) << text;
}

void RemoveConfig()
{
    std::filesystem::remove(kConfigFile);
}

int main(int argc, char** argv)
{
    return RunTestsInWorld(argc, argv);
}
