#include "bench/rest_figures.h"

#include <fcntl.h>
#include <ownerlink/client.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "bench/applications.h"
#include "bench/bare_connection.h"
#include "bench/cases.h"
#include "bench/processes.h"
#include "bench/table.h"
#include "bench/world.h"
#include "platform/iam_file.h"

namespace bench {
namespace {

constexpr size_t kConnections = 64;
constexpr const char* kResource = "dp:/res/bench/at-rest";
// A manager's, behind each look at an owner and behind each round of them.
constexpr auto kPause = std::chrono::milliseconds(50);
// An owner's threads beyond those that it keeps end a second after their last work.
constexpr auto kComingToRest = std::chrono::milliseconds(2500);

double IdlePart(const RoleProcess& process, std::chrono::milliseconds duration)
{
    std::this_thread::sleep_for(kComingToRest);
    const std::chrono::nanoseconds before = process.ProcessorTime();
    std::this_thread::sleep_for(duration);
    const std::chrono::nanoseconds taken = process.ProcessorTime() - before;
    return 100 * std::chrono::duration<double>(taken) / std::chrono::duration<double>(duration);
}

void AddIdle(std::vector<RestFigure>& figures, std::chrono::milliseconds duration)
{
    const World world;
    RoleProcess manager({"watching-manager"});
    manager.AwaitReady();
    figures.push_back({"idle: a manager that watches three owners", IdlePart(manager, duration),
                       0.1, "% of a core"});
    const TemporaryDirectory directory;
    const std::string path = directory.Path() + "/bare";
    RoleProcess bareEnds({"bare-threads", path});
    bareEnds.AwaitReady();
    RoleProcess bare({"bare-watch", path});
    bare.AwaitReady();
    figures.push_back({"idle: bare, the same pauses and an exchange for each look",
                       IdlePart(bare, duration), 0, "% of a core"});
    RoleProcess owner({"owner", kResource});
    owner.AwaitReady();
    figures.push_back(
        {"idle: an owner with no traffic", IdlePart(owner, duration), 0.01, "% of a core"});
}

// In KiB. What the kernel counts for the whole process, shared pages in full.
double ResidentOf(const RoleProcess& process, const char* field)
{
    std::ifstream rollup("/proc/" + std::to_string(process.Id()) + "/smaps_rollup");
    for (std::string line; std::getline(rollup, line);) {
        if (line.rfind(field, 0) == 0) {
            return std::stod(line.substr(line.find(':') + 1));
        }
    }
    throw std::runtime_error(std::string("no field ") + field);
}

struct Resident {
    double all;
    double own;
};

Resident ResidentOf(const RoleProcess& process)
{
    return {ResidentOf(process, "Rss"), ResidentOf(process, "Private_Dirty")};
}

// Each does one exchange and stays open.
void OpenConnections(std::array<int, kConnections>& files)
{
    std::array<std::byte, 3904> record = {};
    for (int& file : files) {
        file = IAMFileOpen(kResource, O_RDWR);
        IAMIoctlArg argument = {record.size(), record.data()};
        Require(IAMFileIoctl(file, 4, &argument) >= 0, "an exchange with the owner at rest");
    }
}

void AddMemory(std::vector<RestFigure>& figures)
{
    const TemporaryDirectory directory;
    // Made beforehand, as the package makes it: an owner that makes its own looks a group up.
    const std::string runtime = directory.Path() + "/run";
    Require(mkdir(runtime.c_str(), 0750) == 0, "making the runtime directory");
    setenv("OWNERLINK_RUNTIME_DIR", runtime.c_str(), 1);
    RoleProcess owner({"program", OWNERLINK_BENCH_OWNER_AT_REST, kResource});
    owner.AwaitReady();
    const Resident without = ResidentOf(owner);
    kill(owner.Id(), SIGUSR1);
    owner.AwaitReady();
    std::this_thread::sleep_for(kComingToRest);
    const Resident with = ResidentOf(owner);
    std::array<int, kConnections> files = {};
    OpenConnections(files);
    std::this_thread::sleep_for(kComingToRest);
    const double grown = ResidentOf(owner).all - with.all;
    for (const int file : files) {
        IAMFileClose(file);
    }
    figures.push_back(
        {"memory: what the library adds to an owner", with.all - without.all, 1024, "KiB"});
    figures.push_back({"memory: of this, the process's own", with.own - without.own, 1024, "KiB"});
    figures.push_back({"memory: each connection adds, of " + std::to_string(kConnections),
                       grown / kConnections, 16, "KiB"});
}

}  // namespace

std::vector<RestFigure> MeasureRest(std::chrono::milliseconds duration)
{
    std::vector<RestFigure> figures;
    AddMemory(figures);
    AddIdle(figures, duration);
    return figures;
}

std::string LineOf(const RestFigure& figure)
{
    std::ostringstream stream;
    stream << figure.name << '\t' << figure.unit << '\t' << figure.value << ' ' << figure.aim;
    return stream.str();
}

RestFigure RestFigureFrom(const std::string& line)
{
    std::istringstream stream(line);
    RestFigure figure;
    std::getline(stream, figure.name, '\t');
    std::getline(stream, figure.unit, '\t');
    stream >> figure.value >> figure.aim;
    if (stream.fail()) {
        throw std::runtime_error("not a figure: " + line);
    }
    return figure;
}

void PrintRest(const std::vector<RestFigure>& figures)
{
    std::printf("\n| at rest | value | aim: under | |\n|---|---|---|---|\n");
    for (const RestFigure& figure : figures) {
        const std::string value = Text("%.4g %s", figure.value, figure.unit.c_str());
        if (figure.aim == 0) {
            std::printf("| %s | %s | - | |\n", figure.name.c_str(), value.c_str());
            continue;
        }
        std::printf("| %s | %s | %g %s | %s |\n", figure.name.c_str(), value.c_str(), figure.aim,
                    figure.unit.c_str(), figure.value < figure.aim ? "met" : "MISSED");
    }
}

void ServeAsWatchingManager()
{
    std::vector<AppChangeInfo> results;
    Require(OwnerlinkClient::GetInstance().ChangeAppState(UsualApplications(kOwners), results,
                                                          5000) == 0,
            "ChangeAppState");
    std::cout << "ready" << std::endl;
    while (true) {
        pause();
    }
}

void ServeAsBareWatch(const std::string& path)
{
    std::array<BareConnection, kOwners> owners = {BareConnection(path), BareConnection(path),
                                                  BareConnection(path)};
    std::cout << "ready" << std::endl;
    while (true) {
        for (BareConnection& owner : owners) {
            owner.Exchange();
            std::this_thread::sleep_for(kPause);
        }
        std::this_thread::sleep_for(kPause);
    }
}

void BecomeProgram(const std::string& program, const std::string& argument)
{
    execl(program.c_str(), program.c_str(), argument.c_str(), nullptr);
    throw std::system_error(errno, std::generic_category(), program);
}

}  // namespace bench
