#include "tests/hosted_log/log_world.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string_view>

namespace {

std::mutex callsMutex;
std::vector<std::string> calls;

void Keep(const std::string& call)
{
    const std::lock_guard lock(callsMutex);
    calls.push_back(call);
}

__attribute__((format(printf, 2, 0))) void KeepRecord(int priority, const char* format,
                                                      va_list arguments)
{
    char* text = nullptr;
    if (vasprintf(&text, format, arguments) >= 0) {
        Keep(std::to_string(priority) + ' ' + text);
        free(text);
    }
}

constexpr std::string_view kTimeForm = "0000-00-00T00:00:00.000000Z ";

bool StartsWithTime(const std::string& line)
{
    const auto fits = [](char form, char character) {
        return form == '0' ? std::isdigit(static_cast<unsigned char>(character)) != 0
                           : form == character;
    };
    return line.size() >= kTimeForm.size() &&
           std::equal(kTimeForm.begin(), kTimeForm.end(), line.begin(), fits);
}

}  // namespace

// These stand in the place of the C library's in this program.
extern "C" void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    KeepRecord(priority, format, arguments);
    va_end(arguments);
}

extern "C" void __syslog_chk(int priority, int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    KeepRecord(priority, format, arguments);
    va_end(arguments);
}

extern "C" void openlog(const char*, int, int)
{
    Keep("openlog");
}

extern "C" void closelog()
{
    Keep("closelog");
}

std::vector<std::string> SyslogCalls()
{
    const std::lock_guard lock(callsMutex);
    return calls;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string Caller()
{
    std::array<char, 17> name{};
    prctl(PR_GET_NAME, name.data());
    return std::to_string(getpid()) + ':' + std::to_string(gettid()) + ' ' + name.data();
}

std::vector<std::string> LinesWithoutTime(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(StartsWithTime(line) ? line.substr(kTimeForm.size()) : line);
    }
    return lines;
}

LogWorld::LogWorld() : savedStderr_(dup(STDERR_FILENO))
{
    std::string pattern = std::filesystem::temp_directory_path() / "ownerlink_log_XXXXXX";
    directory_ = mkdtemp(pattern.data());
    const int caught = open(Path("stderr").c_str(), O_CREAT | O_RDWR | O_APPEND, 0600);
    dup2(caught, STDERR_FILENO);
    close(caught);
    unsetenv("OWNERLINK_LOG");
}

LogWorld::~LogWorld()
{
    dup2(savedStderr_, STDERR_FILENO);
    close(savedStderr_);
    std::filesystem::remove_all(directory_);
}

void LogWorld::Configure(const std::string& variable)
{
    setenv("OWNERLINK_LOG", variable.c_str(), 1);
}

std::vector<std::string> LogWorld::FileLines(const std::string& name) const
{
    return LinesWithoutTime(ReadFile(Path(name)));
}
