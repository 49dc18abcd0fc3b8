// Writes records for the tests of the DLT sink, and prints what the calls have answered.
//
//   ownerlink_dlt_logger WHAT...     "levels", "modules", "milestone", "long", "child" or a text
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "platform/dlog.h"
#include "platform/hosted/log/levels.h"

using namespace hosted::log;

namespace {

void Log(uint32_t module, uint32_t level, const std::string& text)
{
    std::printf("%d\n", DlogRecord(module, level, "%s", text.c_str()));
    std::fflush(stdout);
}

void LogInChild()
{
    const pid_t child = fork();
    if (child == 0) {
        Log(kClientModule, kError, "child");
        _exit(0);
    }
    waitpid(child, nullptr, 0);
}

void LogEachLevel()
{
    for (const uint32_t level : {kDebug, kInformation, kNotice, kWarning, kError}) {
        Log(kClientModule, level, LevelName(level));
    }
}

void LogEachModule()
{
    for (const uint32_t module : {kClientModule, kServerModule, kPlatformModule, 7U, 300U}) {
        Log(module, kError, "x");
    }
}

// Two pieces and a bit, with a character of two bytes where the first piece would end.
std::string LongText()
{
    const size_t head =
        ("[" + std::to_string(getpid()) + ":" + std::to_string(getpid()) + " ownerlink_dlt_l] ")
            .size();
    return std::string(1299 - head, 'a') + "\u00e4" + std::string(1298, 'b') + "ccc";
}

void Do(const std::string& what)
{
    if (what == "levels") {
        LogEachLevel();
    } else if (what == "modules") {
        LogEachModule();
    } else if (what == "milestone") {
        Log(kServerModule | kMilestoneBit, kInformation, "reached");
    } else if (what == "long") {
        Log(kClientModule, kError, LongText());
    } else if (what == "child") {
        LogInChild();
    } else {
        Log(kClientModule, kError, what);
    }
}

}  // namespace

int main(int count, char** arguments)
{
    for (int i = 1; i < count; ++i) {
        Do(arguments[i]);
    }
    struct sigaction pipe {};
    sigaction(SIGPIPE, nullptr, &pipe);
    return pipe.sa_handler == SIG_DFL ? 0 : 1;
}
