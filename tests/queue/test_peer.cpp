// Both ends of a queue for the tests, in a process of their own, driven by lines on standard input.
//
// `test_peer NAME` publishes the queue NAME; `test_peer "subscribe NAME"` subscribes to it. The
// first line that it writes is "ready", or "failed ERRNO". Each command is answered with one line.
//
// As owner:       report TEXT     the results of one event for each open file, in order of opening
//                 burst FIRST N   reports N numbers; how many of the reports failed
//                 files N         waits until N files are open; "opens=O closes=C"
//                 closes N        waits until N close hooks have run; the same
//                 pool SIZE N     what later files get as their pool
//                 open-result N   what the open hook answers from now on; "throw" makes it throw
//                 close-result N  the same for the close hook
//                 hold, hold-close, release   open or close hooks block from now on, or no more
//                 held            waits until a hook blocks; counts as above
//                 report-in-open TEXT  open hooks report TEXT to their file
//                 publish NAME    publishes one more
//                 serve NAME      publishes a resource file whose requests block for ever
//                 called          waits until one does; counts as above
// As subscriber:  await N         waits for N events; all that came so far, with commas
//                 block, unblock  the callback blocks from now on, or no more
//                 blocked         waits until the callback blocks
//                 close-inside, throw-inside, exit-inside   what the next callback does
//                 close           closes the descriptor; 0, or "failed ERRNO"
//                 subscribe NAME  opens and reads one more
// Both obey the commands of the other role too, and:
//                 memories        how many rings and pools this process has open or mapped
//                 exit            leaves main
#include <dirent.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tests/queue/peer_commands.h"

namespace {

bool IsMemory(const char* text)
{
    return std::strstr(text, "memfd:ownerlink") != nullptr;
}

int MappedMemories()
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    int count = 0;
    while (std::getline(maps, line)) {
        count += IsMemory(line.c_str()) ? 1 : 0;
    }
    return count;
}

int OpenMemories()
{
    DIR* const directory = opendir("/proc/self/fd");
    int count = 0;
    while (const dirent* const entry = readdir(directory)) {
        char target[256] = {};
        const ssize_t size = readlinkat(dirfd(directory), entry->d_name, target, sizeof target - 1);
        count += size > 0 && IsMemory(target) ? 1 : 0;
    }
    closedir(directory);
    return count;
}

std::string Obey(const Commands& commands, const std::string& line)
{
    std::istringstream text(line);
    std::string verb;
    text >> verb;
    Words words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    if (verb == "memories") {
        return std::to_string(MappedMemories() + OpenMemories());
    }
    const auto found = commands.find(verb);
    return found != commands.end() ? found->second(words) : "unknown";
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (count < 2) {
        return 2;
    }
    const std::string role = arguments[1];
    const std::string prefix = "subscribe ";
    const bool isSubscriber = role.rfind(prefix, 0) == 0;
    Commands commands = OwnerCommands();
    commands.merge(SubscriberCommands());
    std::cout << (isSubscriber ? Subscribe(role.substr(prefix.size())) : Publish(role))
              << std::endl;
    std::string line;
    while (std::getline(std::cin, line) && line != "exit") {
        std::cout << Obey(commands, line) << std::endl;
    }
    return 0;
}
