// The process that a fault is done to, or that must outlive it: `peer owner [SUFFIX]` or
// `peer client`. Obeys the lines on its standard input, each answered with one:
//
//   publish                       owner: again, what has failed
//   mode MODE | blocked N | idle  owner: callbacks
//   event STATE                   owner: reports it
//   ask PLAIN QUERIES TIMEOUT     client: its lanes begin
//   begun N | results             client: waits for them
//   trap CALL                     client: dies there
//   subscribe | seen STATE MS | wrong-events
//   starve WHAT | feed WHAT | clock SECONDS | guard-clock
//   exit                          leaves main
//
// Reads and answers without an allocation: memory may be what is short.

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "faults/client_role.h"
#include "faults/owner_role.h"
#include "faults/shortage.h"
#include "faults/trap.h"

namespace {

constexpr uid_t kNobody = 65534;

char line[256];
char answer[1024];
std::string suffix;

// False at the end of the input.
bool ReadLine()
{
    size_t size = 0;
    while (size + 1 < sizeof line && read(STDIN_FILENO, line + size, 1) == 1) {
        if (line[size] == '\n') {
            line[size] = '\0';
            return true;
        }
        ++size;
    }
    return false;
}

void SayAnswer()
{
    const size_t size = std::strlen(answer);
    answer[size] = '\n';
    if (write(STDOUT_FILENO, answer, size + 1) != static_cast<ssize_t>(size) + 1) {
        _exit(3);
    }
}

// The words of the line; those that are missing are empty.
struct Command {
    const char* verb = "";
    const char* words[3] = {"", "", ""};

    explicit Command(char* text)
    {
        char* rest = nullptr;
        verb = NotNull(strtok_r(text, " ", &rest));
        for (const char*& word : words) {
            word = NotNull(strtok_r(nullptr, " ", &rest));
        }
    }
    int Number(size_t place) const { return std::atoi(words[place]); }
    bool Is(const char* wanted) const { return std::strcmp(verb, wanted) == 0; }

private:
    static const char* NotNull(const char* word) { return word != nullptr ? word : ""; }
};

bool ObeyAsOwner(const Command& command)
{
    if (command.Is("publish")) {
        OwnerRole::Publish(suffix, answer, sizeof answer);
    } else if (command.Is("mode")) {
        return OwnerRole::SetMode(command.words[0]);
    } else if (command.Is("blocked")) {
        OwnerRole::AwaitBlocked(command.Number(0));
    } else if (command.Is("idle")) {
        OwnerRole::AwaitIdle();
    } else if (command.Is("event")) {
        const int code = OwnerRole::Report(static_cast<uint32_t>(command.Number(0)));
        std::snprintf(answer, sizeof answer, "0x%X", static_cast<unsigned>(code));
    } else {
        return false;
    }
    return true;
}

bool ObeyAsClient(const Command& command)
{
    if (command.Is("ask")) {
        ClientRole::Ask({command.Number(0), command.Number(1), command.Number(2)});
    } else if (command.Is("begun")) {
        ClientRole::AwaitBegun(command.Number(0));
    } else if (command.Is("results")) {
        ClientRole::Results(answer, sizeof answer);
    } else if (command.Is("trap")) {
        return ClientRole::SetTrap(command.words[0]);
    } else if (command.Is("subscribe")) {
        return ClientRole::Subscribe();
    } else if (command.Is("seen")) {
        return ClientRole::HasSeen(static_cast<uint32_t>(command.Number(0)), command.Number(1));
    } else if (command.Is("wrong-events")) {
        std::snprintf(answer, sizeof answer, "%d", ClientRole::WrongEvents());
    } else {
        return false;
    }
    return true;
}

bool ObeyAsAnybody(const Command& command)
{
    if (command.Is("starve")) {
        return Starve(command.words[0]);
    }
    if (command.Is("feed")) {
        return Feed(command.words[0]);
    }
    if (command.Is("clock")) {
        ShiftWallClock(command.Number(0));
    } else if (command.Is("guard-clock")) {
        DieAtWaitOnWallClock();
    } else {
        return false;
    }
    return true;
}

void Obey(bool isOwner)
{
    while (ReadLine()) {
        const Command command(line);
        if (command.Is("exit")) {
            return;
        }
        std::strcpy(answer, "ok");
        if (!ObeyAsAnybody(command) && !(isOwner ? ObeyAsOwner(command) : ObeyAsClient(command))) {
            std::strcpy(answer, "no");
        }
        SayAnswer();
    }
}

// Root may start threads whatever its limit.
void BecomeNobody()
{
    if (setresgid(kNobody, kNobody, kNobody) != 0 || setresuid(kNobody, kNobody, kNobody) != 0) {
        return;  // a user namespace has no other user, and its root no privilege over the limit
    }
    prctl(PR_SET_DUMPABLE, 1);
}

}  // namespace

int main(int count, char** arguments)
{
    if (getenv("OWNERLINK_FAULTS_AS_NOBODY") != nullptr) {
        BecomeNobody();
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    TellAbortsApart();
    const SpareThisThread spared;
    const bool isOwner = count > 1 && std::strcmp(arguments[1], "owner") == 0;
    std::strcpy(answer, "ok");
    if (isOwner) {
        suffix = count > 2 ? arguments[2] : "";
        OwnerRole::Publish(suffix, answer, sizeof answer);
    } else {
        ClientRole::Start();
    }
    SayAnswer();
    Obey(isOwner);
    return 0;
}
