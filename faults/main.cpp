// `ownerlink-faults PEER FAULT ROUNDS` injects one fault again and again into processes that use
// the library, PEER being their program, and prints how their requests have ended.
// `ownerlink-faults` alone lists the faults.

#include <sys/prctl.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "faults/rounds.h"

const std::vector<Fault>& AllFaults()
{
    constexpr World::Options kUsual{};
    constexpr World::Options kAlone{.isClientAlone = true};
    constexpr World::Options kNobody{.isOfNobody = true};
    static const std::vector<Fault> faults = {
        {"owner-killed-before-accept", OwnerKilledBeforeAccept, kUsual},
        {"owner-killed-in-callback", OwnerKilledInCallback, kUsual},
        {"owner-killed-before-answer", OwnerKilledBeforeAnswer, kUsual},
        {"owner-killed-after-answer", OwnerKilledAfterAnswer, kUsual},
        {"client-killed-before-send", ClientKilledBeforeSend, kUsual},
        {"client-killed-in-callback", ClientKilledInCallback, kUsual},
        {"client-killed-before-answer-is-read", ClientKilledBeforeAnswerIsRead, kUsual},
        {"owner-stopped", OwnerStopped, kUsual},
        {"client-stopped", ClientStopped, kUsual},
        {"owner-without-descriptors", OwnerWithoutDescriptors, kUsual},
        {"client-without-descriptors", ClientWithoutDescriptors, kUsual},
        {"owner-without-memory", OwnerWithoutMemory, kUsual},
        {"client-without-memory", ClientWithoutMemory, kUsual},
        {"query-without-memory", QueryWithoutMemory, kAlone},
        {"owner-without-allocations", OwnerWithoutAllocations, kUsual},
        {"client-without-allocations", ClientWithoutAllocations, kUsual},
        {"owner-without-threads", OwnerWithoutThreads, kNobody},
        {"client-without-threads", ClientWithoutThreads, kNobody},
        {"directory-full", DirectoryFull, {.isRunTiny = true}},
        {"log-full", LogFull, {.isLogTiny = true}},
        {"directory-deleted", DirectoryDeleted, kUsual},
        {"clock-set-back", ClockSetBack, {.isClockApart = true}},
    };
    return faults;
}

namespace {

int Inject(const std::string& peer, const Fault& fault, int rounds)
{
    const auto start = std::chrono::steady_clock::now();
    World world(peer, fault.options);
    try {
        world.CheckAllIsWell();
        for (; world.Round() < rounds; world.NextRound()) {
            fault.round(world);
        }
    } catch (const std::exception& failure) {
        std::printf("FAILED: %s, round %d: %s\n", fault.name, world.Round() + 1, failure.what());
        std::printf("    %s\n", world.Report().c_str());
        return 1;
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::printf("%s: %d rounds in %.1f s; %s\n", fault.name, rounds, time.count(),
                world.Report().c_str());
    return 0;
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);
    if (count < 4) {
        for (const Fault& fault : AllFaults()) {
            std::puts(fault.name);
        }
        return 0;
    }
    for (const Fault& fault : AllFaults()) {
        if (fault.name == std::string(arguments[2])) {
            return Inject(arguments[1], fault, std::atoi(arguments[3]));
        }
    }
    std::fprintf(stderr, "no such fault: %s\n", arguments[2]);
    return 2;
}
