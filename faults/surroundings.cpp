// What both ends stand on is taken away or changed: directories, their space, the clock.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "faults/rounds.h"

namespace fs = std::filesystem;

namespace {

const std::set<std::string> kAnswered = {"answered", "query:answered"};

// Takes all that a file system has left, in bytes or in files, while it stands.
class Filler {
public:
    Filler(const std::string& directory, bool byFiles) : directory_(directory)
    {
        byFiles ? TakeFiles() : TakeBytes();
    }
    ~Filler()
    {
        for (const std::string& file : files_) {
            unlink(file.c_str());
        }
    }
    Filler(const Filler&) = delete;
    Filler& operator=(const Filler&) = delete;

private:
    int Make()
    {
        const std::string file = directory_ + "/filler" + std::to_string(files_.size());
        const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0) {
            files_.push_back(file);
        }
        return fd;
    }
    void TakeFiles()
    {
        int fd = -1;
        while ((fd = Make()) >= 0) {
            close(fd);
        }
    }
    void TakeBytes()
    {
        const int fd = Make();
        const std::vector<char> bytes(4096, 'f');
        while (write(fd, bytes.data(), bytes.size()) > 0) {}
        close(fd);
    }

    std::string directory_;
    std::vector<std::string> files_;
};

void ExitOwnerCleanly(World& world)
{
    world.Owner().Write("exit");
    const int status = world.Owner().AwaitExit();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the owner's exit has status " + std::to_string(status));
    }
}

void AskAndExpect(World& world, const std::set<std::string>& outcomes)
{
    world.Begin(world.Client(), kLongMs);
    world.End(world.Client(), outcomes);
}

}  // namespace

// A second owner cannot publish; the first one's clients do not notice. With room again it can.
void DirectoryFull(World& world)
{
    std::unique_ptr<Process> second;
    {
        const Filler filler(world.RunDirectory(), world.Round() % 2 == 0);
        second = world.StartPeer("owner", "2");
        if (second->FirstLine() != "plain:ENOSPC=1 library:0xF1030A=1 events:0xF10308=1") {
            throw std::runtime_error("on a full disk: " + second->FirstLine());
        }
        world.Account("registration refused with ENOSPC");
        AskAndExpect(world, kAnswered);
    }
    if (second->Tell("publish") != "plain:0=1 library:0x0=1 events:0x0=1") {
        throw std::runtime_error("cannot publish with room again");
    }
    second->Write("exit");
    second->AwaitExit();
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckNothingLeaks(world.Owner(), "owner");
    world.CheckFiles();
}

void LogFull(World& world)
{
    const std::string log = world.LogDirectory() + "/log";
    {
        const Filler filler(world.LogDirectory(), false);
        AskAndExpect(world, kAnswered);
        world.StartOwner();
        AskAndExpect(world, kAnswered);
        world.CheckAllIsWell();
    }
    fs::resize_file(log, 0);
    world.CheckAllIsWell();
    if (!Eventually([&] { return fs::file_size(log) > 0; })) {
        throw std::runtime_error("nothing is logged with room again");
    }
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckFiles();
}

// Standing connections go on, new ones find no owner; the next owner makes the directory anew, and
// events go on with it.
void DirectoryDeleted(World& world)
{
    fs::remove_all(world.RunDirectory());
    AskAndExpect(world, {"answered", "open:ENOENT", "query:answered", "query:0xF1030D"});
    const auto newcomer = world.StartPeer("client");
    world.Begin(*newcomer, kLongMs);
    world.End(*newcomer, {"open:ENOENT", "query:0xF1030D"});
    if (world.Round() % 2 == 0) {
        ExitOwnerCleanly(world);
    }
    world.StartOwner();
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckFiles();
}

// By an hour, in the middle of requests that time out, as both processes see it. The machine's own
// clock cannot be set for some of its processes, so a guard ends a process that waits until a time
// of it; and the owner counts its monotonic clock from elsewhere, where the system has such clocks.
void ClockSetBack(World& world)
{
    if (world.Round() == 0) {
        world.Client().Order("guard-clock");
    }
    world.Owner().Order("guard-clock");
    world.Owner().Order("mode block");
    world.Begin(world.Client(), kShortMs);
    world.Owner().Order("blocked " + std::to_string(kRequests));
    for (Process* const process : {&world.Owner(), &world.Client()}) {
        process->Order("clock -3600");
    }
    world.End(world.Client(), {"ioctl:ETIMEDOUT", "query:0xF1030D"});
    world.Owner().Order("mode echo");
    world.CheckAllIsWell();
    for (Process* const process : {&world.Owner(), &world.Client()}) {
        process->Order("clock 0");
    }
    world.CheckAllIsWell();
    ExitOwnerCleanly(world);
    world.StartOwner();
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckFiles();
}
