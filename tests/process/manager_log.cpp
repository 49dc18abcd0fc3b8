#include "tests/process/manager_log.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "tests/process/peer.h"
#include "tests/process/world.h"

size_t LoggedCount(const std::string& text, pid_t process)
{
    std::ifstream file(LogOf(process));
    const std::string log(std::istreambuf_iterator<char>(file), {});
    size_t count = 0;
    for (size_t at = 0; (at = log.find(text, at)) != std::string::npos; at += text.size()) {
        ++count;
    }
    return count;
}

bool AwaitLogged(const std::string& text, size_t count, pid_t process)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (LoggedCount(text, process) < count) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
