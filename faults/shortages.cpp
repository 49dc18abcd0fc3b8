// One end runs short of something, then has it again; neither may end.
#include <sys/wait.h>

#include <csignal>
#include <stdexcept>

#include "faults/rounds.h"

namespace {

using Outcomes = std::set<std::string>;

void CheckBothSurvive(World& world)
{
    if (world.Owner().HasEnded() || world.Client().HasEnded()) {
        throw std::runtime_error("a process has ended");
    }
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckNothingLeaks(world.Owner(), "owner");
    world.CheckFiles();
}

// A client whose connections are new meets the shortage; then the standing one does.
void StarveOwner(World& world, const std::string& what, const Outcomes& outcomes)
{
    const auto newcomer = world.StartPeer("client");
    world.Owner().Order("starve " + what);
    world.Begin(*newcomer, kLongMs, 3, 1);
    world.End(*newcomer, outcomes);
    world.Begin(world.Client(), kLongMs, 3, 1);
    world.End(world.Client(), outcomes);
    world.Owner().Order("feed " + what);
    CheckBothSurvive(world);
}

// Its kept connections serve it; then the owner has another life, and new ones are needed. The
// subscription is back a second after a failure to find that life, which is not waited for in each
// round.
void StarveClient(World& world, const std::string& what, const Outcomes& outcomes)
{
    constexpr int kRoundsWithEvents = 20;
    world.Client().Order("starve " + what);
    world.Begin(world.Client(), kLongMs, 3, 0);
    world.End(world.Client(), outcomes);
    world.StartOwner();
    world.Begin(world.Client(), kLongMs, 3, 0);
    world.End(world.Client(), outcomes);
    world.Client().Order("feed " + what);
    if (world.Round() % kRoundsWithEvents == 0) {
        CheckBothSurvive(world);
    } else {
        world.CheckAllIsWell(world.Client());
    }
}

// What may come of requests where an end gets no memory, whichever way it is refused.
Outcomes OfAnOwnerWithoutMemory()
{
    return {"answered",    "query:answered", "ioctl:EBUSY",
            "ioctl:EPIPE", "ioctl:EIO",      "query:0xF1030D"};
}

Outcomes OfAClientWithoutMemory()
{
    return {"answered", "open:ENOMEM", "ioctl:ENOMEM"};
}

bool WasAborted(Process& process)
{
    const int status = process.AwaitExit();
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

// A refusal comes when the owner comes to it; what it does not refuse waits for as long.
constexpr int kRefusalMs = 3000;

}  // namespace

// First with connections that are idle and can be ended for others, then with none. A connection
// that has ended a moment too late for the shortage leaves its descriptor to a newcomer, whose
// request then blocks as well.
void OwnerWithoutDescriptors(World& world)
{
    StarveOwner(world, "descriptors",
                {"answered", "query:answered", "ioctl:EBUSY", "query:0xF1030D"});
    const auto newcomer = world.StartPeer("client");
    world.Owner().Order("mode block");
    world.Begin(world.Client(), kLongMs);
    world.Owner().Order("blocked " + std::to_string(kRequests));
    world.Owner().Order("starve descriptors");
    world.Begin(*newcomer, kRefusalMs, 3, 1);
    const auto refused = world.End(*newcomer, {"ioctl:EBUSY", "ioctl:ETIMEDOUT", "query:0xF1030D"});
    const auto busy = refused.find("ioctl:EBUSY");
    if (busy == refused.end() || busy->second < 2 * kPlainRequests) {
        throw std::runtime_error("newcomers are not refused");
    }
    world.Owner().Order("mode echo");
    world.End(world.Client(), {"answered", "query:answered"});
    world.Owner().Order("feed descriptors");
    CheckBothSurvive(world);
}

void ClientWithoutDescriptors(World& world)
{
    StarveClient(world, "descriptors", {"answered", "open:EMFILE"});
}

void OwnerWithoutMemory(World& world)
{
    StarveOwner(world, "memory", OfAnOwnerWithoutMemory());
}

void ClientWithoutMemory(World& world)
{
    StarveClient(world, "memory", OfAClientWithoutMemory());
}

// Memory that is refused inside a sender's thread ends the process: nothing is caught there.
void QueryWithoutMemory(World& world)
{
    const std::string what = world.Round() % 2 == 0 ? "some-allocations" : "memory";
    const auto victim = world.StartPeer("client");
    world.CheckAllIsWell(*victim);
    victim->Order("starve " + what);
    std::string results;
    try {
        victim->Order("ask 0 1 " + std::to_string(kLongMs));
        results = victim->Tell("results");
    } catch (const std::runtime_error&) {
        if (!WasAborted(*victim)) {
            throw;
        }
        world.Account("query:aborted");
        return CheckBothSurvive(world);
    }
    for (const char* const outcome : {"query:answered", "query:0xF1030D", "query:exception"}) {
        if (Parse(results).count(outcome) != 0) {
            world.Account(outcome);
        }
    }
    victim->Order("feed " + what);
    world.CheckAllIsWell(*victim);
    CheckBothSurvive(world);
}

void OwnerWithoutAllocations(World& world)
{
    StarveOwner(world, "allocations", OfAnOwnerWithoutMemory());
}

void ClientWithoutAllocations(World& world)
{
    StarveClient(world, "allocations", OfAClientWithoutMemory());
}

// Blocked callbacks take up the threads that there are; what then has none is refused at once.
void OwnerWithoutThreads(World& world)
{
    const auto newcomer = world.StartPeer("client");
    world.Owner().Order("starve threads");
    world.Owner().Order("mode block");
    world.Begin(world.Client(), kLongMs);
    world.Owner().Order("blocked 1");
    world.Begin(*newcomer, kShortMs, 3, 1);
    world.End(*newcomer, {"ioctl:EBUSY", "ioctl:ETIMEDOUT", "query:0xF1030D"});
    world.Owner().Order("mode echo");
    world.End(world.Client(), {"answered", "query:answered", "ioctl:EBUSY", "query:0xF1030D"});
    world.Owner().Order("feed threads");
    CheckBothSurvive(world);
}

void ClientWithoutThreads(World& world)
{
    world.Client().Order("starve threads");
    world.Begin(world.Client(), kLongMs, 3, 3);
    world.End(world.Client(), {"answered", "query:exception"});
    world.Client().Order("feed threads");
    CheckBothSurvive(world);
}
