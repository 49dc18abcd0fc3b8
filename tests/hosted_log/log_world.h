// What a test of the log stands on: a directory of its own, standard error caught in a file, and
// syslog(3) replaced by one that keeps its calls. The log reads its variable once, so each test has
// a process to itself.
#ifndef OWNERLINK_TESTS_HOSTED_LOG_LOG_WORLD_H
#define OWNERLINK_TESTS_HOSTED_LOG_LOG_WORLD_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Every call of syslog(3) and its relatives, as "priority text", "openlog" or "closelog".
std::vector<std::string> SyslogCalls();

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

// "pid:tid name" of the caller, as lines carry it.
std::string Caller();

// The lines of `text`, each without its time; a line that starts otherwise is left whole.
std::vector<std::string> LinesWithoutTime(const std::string& text);

class LogWorld : public testing::Test {
protected:
    LogWorld();
    ~LogWorld() override;

    // Before the first use of the log.
    static void Configure(const std::string& variable);

    const std::string& Directory() const { return directory_; }
    std::string Path(const std::string& name) const { return directory_ + '/' + name; }
    std::string StderrText() const { return ReadFile(Path("stderr")); }
    std::vector<std::string> StderrLines() const { return LinesWithoutTime(StderrText()); }
    std::vector<std::string> FileLines(const std::string& name) const;

private:
    std::string directory_;
    int savedStderr_;
};

#endif
