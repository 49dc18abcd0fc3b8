#include "tests/ownerd/ownerd_test.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

namespace {

constexpr const char* kResourceName = "/appmgr";

std::string Resource()
{
    return "dp:/res/" + std::filesystem::path(WorldDirectory()).filename().string() + kResourceName;
}

// Applications that an owner leaves to a next start which does not come.
void EndLeftApplications()
{
    const std::string world = "OWNERLINK_TEST_WORLD=" + WorldDirectory() + '\0';
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string environment = FileText(entry.path().string() + "/environ");
        if (environment.find(world) != std::string::npos &&
            environment.find("OWNERLINK_APP=") != std::string::npos) {
            kill(std::stoi(entry.path().filename().string()), SIGKILL);
        }
    }
}

}  // namespace

bool Eventually(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool IsAlive(pid_t pid)
{
    const std::string stat = FileText("/proc/" + std::to_string(pid) + "/stat");
    const size_t nameEnd = stat.rfind(')');
    return nameEnd != std::string::npos && stat.compare(nameEnd, 3, ") Z") != 0;
}

std::string FileText(const std::string& path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;  // a stream's iterator would throw where a process has ended meanwhile
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> FileLines(const std::string& path)
{
    std::istringstream text(FileText(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

OwnerdTest::OwnerdTest()
{
    WriteConfig(ConfigEntry("appmgr", "OsType: 0, GroupOwner: 2, SecVfs: \"" + Resource() + '"'));
}

// The owner's log says more than an expectation that was not met.
OwnerdTest::~OwnerdTest()
{
    if (owner_ && HasFailure()) {
        for (const std::string& line : owner_->Reports()) {
            std::cout << "    " << line << std::endl;
        }
    }
    // Its guardian ends what it leaves; the world may not go before.
    if (owner_ && owner_->Process() > 0) {
        SignalOwner(SIGTERM);
        SignalOwner(SIGINT);  // the second kills what does not end; two of one kind may come as one
        owner_->AwaitExit();
    }
    EndLeftApplications();
}

std::string OwnerdTest::Path(const std::string& name)
{
    return WorldDirectory() + '/' + name;
}

std::string OwnerdTest::Doing(const std::string& words)
{
    std::istringstream text(words);
    std::string command = "command: [" TEST_APPLICATION;
    for (std::string word; text >> word;) {
        command += ", \"" + word + '"';
    }
    return command + ']';
}

std::string OwnerdTest::Entry(const std::string& name, const std::string& keys)
{
    return "  " + name + ": {" + keys + "}\n";
}

void OwnerdTest::Write(const std::string& applications, const std::string& globals)
{
    std::ofstream(Path("owner.yaml")) << "group: APPMGR\nresource: \"" << Resource() << "\"\n"
                                      << globals << "applications:\n"
                                      << applications;
}

void OwnerdTest::Begin(const std::string& applications, const std::string& globals)
{
    Write(applications, globals);
    Start();
}

void OwnerdTest::Start()
{
    const std::string command = "exec " OWNERD_PROGRAM " " + Path("owner.yaml") + " 2>&1";
    owner_ = std::make_unique<Peer>("/bin/sh", Peer::Lines{"-c", command});
    ASSERT_TRUE(AwaitLogged("serves " + Resource()));
}

void OwnerdTest::StartAgain()
{
    owner_.reset();
    Start();
}

void OwnerdTest::KillOwner()
{
    owner_->Kill();
}

void OwnerdTest::SignalOwner(int signal) const
{
    kill(owner_->Process(), signal);
}

int OwnerdTest::EndOwner()
{
    SignalOwner(SIGTERM);
    const int status = owner_->AwaitExit();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

size_t OwnerdTest::Logged(const std::string& text) const
{
    size_t count = 0;
    for (const std::string& line : owner_->Reports()) {
        count += line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

bool OwnerdTest::AwaitLogged(const std::string& text, size_t count) const
{
    return Eventually([&] { return Logged(text) >= count; });
}

std::string OwnerdTest::ChangeOne(const std::string& name, uint32_t option,
                                  std::vector<std::string> args, int timeOut)
{
    const ChangeOutcome outcome = Change({App(APPMGR, name, option, std::move(args))}, timeOut);
    return outcome.results.empty() ? "nothing" : outcome.results[0].substr(name.size() + 1);
}

AppStatus OwnerdTest::StatusOf(const std::string& name)
{
    std::vector<AppStatus> answers;
    OwnerlinkClient::GetInstance().QueryAppState({name}, answers, kLongTimeOut, 1);
    return answers.empty() ? AppStatus{"", -1, 99} : answers[0];
}

bool OwnerdTest::IsRunning(const std::string& name)
{
    return StatusOf(name).status == 0;
}

bool OwnerdTest::AwaitRunning(const std::string& name)
{
    return Eventually([&] { return IsRunning(name); });
}

bool OwnerdTest::AwaitNotRunning(const std::string& name)
{
    return Eventually([&] { return !IsRunning(name); });
}
