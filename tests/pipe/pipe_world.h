// Short forms of the pipe calls, and records that free themselves.
#ifndef OWNERLINK_TESTS_PIPE_PIPE_WORLD_H
#define OWNERLINK_TESTS_PIPE_PIPE_WORLD_H

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <future>
#include <memory>
#include <string>

#include "platform/ezcom.h"
#include "tests/hosted/world.h"

inline constexpr const char* kPipeName = "dp:/res/test/pipe";
inline constexpr int kFirstPipe = 0x70000000;
inline constexpr int kNoLimit = -1;
inline constexpr int kTypeOfTests = 7;

class Request {
public:
    Request() : record_(EzcomMakeRequest(), EzcomFreeRequest) {}
    explicit Request(const std::string& text, uint32_t type = kTypeOfTests) : Request()
    {
        EXPECT_EQ(EzcomFillRequest(*this, type, text.data(), text.size()), 0);
    }
    operator EzcomRequest*() const { return record_.get(); }
    uint32_t Type() const { return EzcomRequestType(record_.get()); }
    std::string Text() const
    {
        return {static_cast<const char*>(EzcomRequestData(record_.get())),
                EzcomRequestSize(record_.get())};
    }

private:
    std::unique_ptr<EzcomRequest, void (*)(EzcomRequest*)> record_;
};

class Response {
public:
    Response() : record_(EzcomMakeResponse(), EzcomFreeResponse) {}
    explicit Response(const std::string& text, uint32_t type = kTypeOfTests) : Response()
    {
        EXPECT_EQ(EzcomFillResponse(*this, type, text.data(), text.size()), 0);
    }
    operator EzcomResponse*() const { return record_.get(); }
    uint32_t Type() const { return EzcomResponseType(record_.get()); }
    std::string Text() const
    {
        return {static_cast<const char*>(EzcomResponseData(record_.get())),
                EzcomResponseSize(record_.get())};
    }

private:
    std::unique_ptr<EzcomResponse, void (*)(EzcomResponse*)> record_;
};

// Both ends of a pipe in this process.
class PipePair {
public:
    PipePair()
    {
        int socket = -1;
        near = EzcomMakePipe(&socket);
        far = EzcomAdoptPipe(socket);
        EXPECT_GE(near, kFirstPipe);
        EXPECT_GE(far, kFirstPipe);
    }
    ~PipePair()
    {
        EzcomClosePipe(near);
        EzcomClosePipe(far);
    }
    PipePair(const PipePair&) = delete;
    PipePair& operator=(const PipePair&) = delete;

    int near = -1;
    int far = -1;
};

// What the next request at `pipe` says, or how waiting for it failed.
inline std::string ReceiveText(int pipe, int timeout = 20000)
{
    const Request request;
    const int result = EzcomReceiveRequest(pipe, request, timeout);
    return result == 0 ? request.Text() : "failed " + std::to_string(result);
}

// Takes the next request and answers it.
inline int Respond(int pipe, const std::string& text)
{
    const Request request;
    if (const int result = EzcomReceiveRequest(pipe, request, 20000); result != 0) {
        return result;
    }
    const Response response(text);
    const int result = EzcomAnswer(response, request);
    return result != 0 ? result : EzcomSendResponse(pipe, response);
}

// Sends until the pipe is busy, and says how many requests it has taken with the `count` before.
// They say 0, 1 and so on.
inline int SendUntilBusy(int pipe, int count = 0)
{
    int result = 0;
    while ((result = EzcomSendRequest(pipe, Request(std::to_string(count)))) == 0) {
        ++count;
    }
    EXPECT_EQ(result, -EAGAIN);
    return count;
}

// How often the kernel has put a thread of this process to sleep.
inline long SleepsOf(pid_t thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    const std::string key = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(key, 0) == 0) {
            return std::stol(line.substr(key.size()));
        }
    }
    return 0;
}

// A call on a thread of its own.
class LaterCall {
public:
    template <typename Call>
    explicit LaterCall(Call call)
        : result_(std::async(std::launch::async, [this, call] {
              thread_ = static_cast<pid_t>(syscall(SYS_gettid));
              return call();
          }))
    {
    }

    // Waits until it has slept at least `count` times.
    bool HasPaused(int count)
    {
        return Eventually([&] { return thread_ != 0; }) &&
               Eventually([&] { return SleepsOf(thread_) >= count; });
    }
    int Result() { return result_.get(); }

private:
    std::atomic<pid_t> thread_{0};
    std::future<int> result_;
};

#endif
