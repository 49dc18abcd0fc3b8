// A runtime directory of the test's own, owners in processes of their own, and short forms of the
// four calls.
#ifndef OWNERLINK_TESTS_HOSTED_WORLD_H
#define OWNERLINK_TESTS_HOSTED_WORLD_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/iam_file.h"
#include "tests/hosted/commands.h"

inline constexpr const char* kName = "dp:/res/test/owner";

// Made before the layer's first call and named in the environment; removed with all it holds.
class RuntimeDirectory {
public:
    RuntimeDirectory();
    ~RuntimeDirectory();
    const std::string& Path() const { return path_; }
    std::vector<std::string> Files() const;

private:
    std::string path_;
};

// Takes away the modes of a runtime directory that keep others out: what remains is the owner's own
// look at who connects.
void AdmitAllTo(const std::string& directory);

// A test owner. Killed and reaped with its object.
inline constexpr const char* kLongTimeOut = "60000";  // of a service; never meant to pass

class OwnerProcess {
public:
    explicit OwnerProcess(const std::string& name = kName, const std::string& timeoutMs = "5000");
    ~OwnerProcess();
    OwnerProcess(const OwnerProcess&) = delete;
    OwnerProcess& operator=(const OwnerProcess&) = delete;

    const std::string& FirstLine() const { return firstLine_; }  // "ready", or "failed ERRNO"
    std::string Tell(const std::string& line);                   // the line that it answers
    void Write(const std::string& line);
    void Signal(int number) const;
    void Stop();      // returns when it has stopped
    void Kill();      // returns when it is gone
    int AwaitExit();  // its wait status
    std::string Log() const;
    pid_t Process() const { return process_; }

private:
    std::string ReadLine();

    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string logPath_;
    std::string firstLine_;
};

// One exchange's outcome; `error` is errno behind a negative result.
struct CallResult {
    long result;
    int error;
};
bool operator==(const CallResult& left, const CallResult& right);
std::ostream& operator<<(std::ostream& stream, const CallResult& result);

CallResult Open(const std::string& name = kName, int flags = 2 /* O_RDWR */);
CallResult Ioctl(int fd, uint32_t command, std::string& buffer);
CallResult Ioctl(int fd, uint32_t command);  // with a buffer of 64 bytes that nobody looks at
CallResult Read(int fd, std::string& buffer);
CallResult ReadInTheEnd(int fd, std::string& buffer);  // again where its one second has passed
CallResult Close(int fd);

// Publishes `name` in this process with an open hook that lets everybody in.
using IoctlHook = int (*)(IAMMgrFile*, unsigned int, IAMIoctlArg*);
int AnswerSize(IAMMgrFile* file, unsigned int command, IAMIoctlArg* argument);
CallResult RegisterHere(const char* name, IoctlHook ioctl = AnswerSize);

int OpenOrFail(const std::string& name = kName);
TestCounts CountsOf(int fd);

// Waits until `condition` holds; false after `limit`.
bool Eventually(const std::function<bool()>& condition,
                std::chrono::seconds limit = std::chrono::seconds(20));

int64_t MillisecondsOf(const std::function<void()>& action);

size_t OpenDescriptors();  // the kernel's, of this process

class HostedTest : public testing::Test {
protected:
    RuntimeDirectory directory_;
};

#endif
