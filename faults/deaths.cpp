// One end dies or stops at a chosen point; the other goes on.
#include <sys/wait.h>

#include <csignal>
#include <stdexcept>

#include "faults/rounds.h"

namespace {

const std::set<std::string> kGone = {"ioctl:EPIPE", "open:ENOENT", "query:0xF1030D"};
const std::set<std::string> kAnsweredOrGone = {"answered", "query:answered", "ioctl:EPIPE",
                                               "open:ENOENT", "query:0xF1030D"};

void AwaitDeathBy(Process& process, int signal)
{
    const int status = process.AwaitExit();
    if (!WIFSIGNALED(status) || WTERMSIG(status) != signal) {
        throw std::runtime_error("ended with status " + std::to_string(status) +
                                 " instead of signal " + std::to_string(signal));
    }
}

void CheckSurvivingClient(World& world)
{
    world.StartOwner();
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckFiles();
}

// The owner dies in the first callback that it runs in `mode`.
void KillOwnerInMode(World& world, const std::string& mode, int signal,
                     const std::set<std::string>& outcomes)
{
    world.Owner().Order("mode " + mode);
    world.Begin(world.Client(), kLongMs);
    world.End(world.Client(), outcomes);
    AwaitDeathBy(world.Owner(), signal);
    CheckSurvivingClient(world);
}

void CheckSurvivingOwner(World& world)
{
    world.Owner().Order("mode echo");
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Owner(), "owner");
    world.CheckFiles();
}

// Its requests are accounted for by its death: nobody is left to hear of them.
void KillClientAtCall(World& world, const std::string& call)
{
    const auto victim = world.StartPeer("client");
    world.CheckAllIsWell(*victim);
    victim->Order("trap " + call);
    victim->Write("ask 1 0 " + std::to_string(kLongMs));
    AwaitDeathBy(*victim, SIGSYS);
    world.Account("ended with its client");
    CheckSurvivingOwner(world);
}

}  // namespace

void OwnerKilledBeforeAccept(World& world)
{
    world.StartOwner();
    world.Owner().Stop();
    world.Begin(world.Client(), kLongMs);
    world.Client().Order("begun " + std::to_string(kRequests));
    world.Owner().Kill();
    world.End(world.Client(), kGone);
    CheckSurvivingClient(world);
}

void OwnerKilledInCallback(World& world)
{
    KillOwnerInMode(world, "die", SIGKILL, kGone);
}

void OwnerKilledBeforeAnswer(World& world)
{
    KillOwnerInMode(world, "die-before-answer", SIGSYS, kGone);
}

void OwnerKilledAfterAnswer(World& world)
{
    KillOwnerInMode(world, "die-after-answer", SIGSYS, kAnsweredOrGone);
}

void ClientKilledBeforeSend(World& world)
{
    KillClientAtCall(world, "send");
}

void ClientKilledInCallback(World& world)
{
    const auto victim = world.StartPeer("client");
    world.Owner().Order("mode block");
    victim->Order("ask 1 1 " + std::to_string(kLongMs));
    world.Owner().Order("blocked " + std::to_string(kRequests));
    victim->Kill();
    world.Account("ended with its client");
    CheckSurvivingOwner(world);
}

// Once with the answers in its socket, once while they are on their way.
void ClientKilledBeforeAnswerIsRead(World& world)
{
    if (world.Round() % 2 == 0) {
        KillClientAtCall(world, "receive");
        return;
    }
    const auto victim = world.StartPeer("client");
    world.Owner().Order("mode block");
    victim->Order("ask 1 1 " + std::to_string(kLongMs));
    world.Owner().Order("blocked " + std::to_string(kRequests));
    victim->Stop();
    world.Owner().Order("mode echo");
    world.Owner().Order("idle");
    victim->Kill();
    world.Account("ended with its client");
    CheckSurvivingOwner(world);
}

// Half of the rounds outlast the time-out; what the owner then answers late meets the next request.
void OwnerStopped(World& world)
{
    const bool isLong = world.Round() % 2 == 0;
    world.Owner().Stop();
    world.Begin(world.Client(), isLong ? kShortMs : kLongMs);
    world.Client().Order("begun " + std::to_string(kRequests));
    if (isLong) {
        world.End(world.Client(), {"ioctl:ETIMEDOUT", "query:0xF1030D"});
        world.Owner().Continue();
    } else {
        world.Owner().Continue();
        world.End(world.Client(), {"answered", "query:answered"});
    }
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckNothingLeaks(world.Owner(), "owner");
}

// Others are served meanwhile. What it finds when it goes on is its own answer, or the time is
// over.
void ClientStopped(World& world)
{
    world.Owner().Order("mode block");
    world.Begin(world.Client(), kLongMs);
    world.Owner().Order("blocked " + std::to_string(kRequests));
    world.Client().Stop();
    world.Owner().Order("mode echo");
    const auto witness = world.StartPeer("client");
    world.CheckAllIsWell(*witness);
    world.Client().Continue();
    world.End(world.Client(), {"answered", "query:answered"});
    world.CheckAllIsWell();
    world.CheckNothingLeaks(world.Client(), "client");
    world.CheckNothingLeaks(world.Owner(), "owner");
}
