#include "tests/security/test_service.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <mutex>
#include <new>
#include <thread>

#include "platform/ezcom.h"
#include "platform/hosted/detached_thread.h"
#include "platform/iam_queue.h"

namespace {

int OnIoctl(IAMMgrFile*, unsigned int command, IAMIoctlArg* argument)
{
    ++SharedCounts().ioctls;
    if (command == kBlockCommand) {
        ++SharedCounts().blocked;
        pause();
    }
    auto* const bytes = static_cast<unsigned char*>(argument->buf);
    for (uint64_t i = 0; i < argument->size; ++i) {
        ++bytes[i];
    }
    return static_cast<int>(argument->size);
}

long OnRead(IAMMgrFile*, char*, unsigned long size, long*)
{
    ++SharedCounts().reads;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return static_cast<long>(size);
}

int OnOpen(IAMMgrFile*)
{
    ++SharedCounts().opens;
    return 0;
}

int OnClose(IAMMgrFile*)
{
    ++SharedCounts().closes;
    return 0;
}

// The files that are open of the queue, each with its pool.
struct Subscribers {
    std::mutex mutex;
    std::map<IamQfsMgrFile*, IAMShmPool> pools;
};

Subscribers& TheSubscribers()
{
    static auto* const subscribers = new Subscribers;
    return *subscribers;
}

int OnQueueOpen(IamQfsMgrFile* file)
{
    ++SharedCounts().queueOpens;
    const IAMShmPoolConfig config = {nullptr, 160, 64};
    IAMShmPool pool = {};
    const int result = IAMShmRegisterPoolWithConfig(&config, &pool);
    const std::lock_guard<std::mutex> lock(TheSubscribers().mutex);
    TheSubscribers().pools[file] = pool;
    return result;
}

int OnQueueClose(IamQfsMgrFile* file)
{
    ++SharedCounts().queueCloses;
    const std::lock_guard<std::mutex> lock(TheSubscribers().mutex);
    IAMShmDestroyPool(&TheSubscribers().pools[file]);
    TheSubscribers().pools.erase(file);
    return 0;
}

void ReportToAll()
{
    const std::lock_guard<std::mutex> lock(TheSubscribers().mutex);
    for (auto& [file, pool] : TheSubscribers().pools) {
        IAMShmBlock block = {};
        if (IAMShmHandleMalloc(&pool, 8, &block) == 0 &&
            IAMDataEnqueue(file->queue, &pool, &block) != 0) {
            IAMShmFree(&pool, &block);
        }
    }
}

// Answers the calls of one peer until it has gone.
void ServePipe(int pipe)
{
    EzcomRequest* const request = EzcomMakeRequest();
    EzcomResponse* const response = EzcomMakeResponse();
    while (EzcomReceiveRequest(pipe, request, -1) == 0) {
        ++SharedCounts().pipeRecords;
        if (EzcomAnswer(response, request) == 0) {
            EzcomSendResponse(pipe, response);
        }
    }
    EzcomFreeRequest(request);
    EzcomFreeResponse(response);
    EzcomClosePipe(pipe);
}

void AcceptPipes(int listener)
{
    while (true) {
        const int pipe = EzcomAcceptPipe(listener, -1);
        if (pipe >= 0) {
            hosted::StartDetached("test-pipe", [=] { ServePipe(pipe); });
        }
    }
}

// A descriptor, or the negative error. Whoever finds no room in the backlog for half a second comes
// again: on a busy machine an owner may not run for as long.
int Connect(const std::function<int()>& attempt)
{
    int result = -ETIMEDOUT;
    Eventually([&] {
        result = attempt();
        return result != -ETIMEDOUT;
    });
    return result;
}

int Opened(const char* name)
{
    return Connect([=] {
        const CallResult opened = Open(name);
        return opened.result < 0 ? -opened.error : static_cast<int>(opened.result);
    });
}

int UseOfFile()
{
    const int fd = Opened(kFileName);
    if (fd < 0) {
        return -fd;
    }
    std::string buffer(8, 'a');
    const CallResult called = Ioctl(fd, kEchoCommand, buffer);
    Close(fd);
    return called.result == 8 && buffer == "bbbbbbbb" ? 0 : called.error;
}

std::atomic<int> events{0};

int UseOfQueue()
{
    const int fd = Opened(kQueueName);
    if (fd < 0) {
        return -fd;
    }
    const int before = events.load();
    const auto count = [](int, void*, unsigned long) {
        ++events;
        return 0;
    };
    const size_t started = IAMFastReadAsync(fd, count);
    const bool cameThrough = started == 0 && Eventually([=] { return events.load() > before; });
    Close(fd);
    return cameThrough ? 0 : ETIMEDOUT;
}

int UseOfPipe()
{
    const int pipe = Connect([] { return EzcomConnectPipe(kPipeName); });
    if (pipe < 0) {
        return -pipe;
    }
    EzcomRequest* const request = EzcomMakeRequest();
    EzcomResponse* const response = EzcomMakeResponse();
    const int result = EzcomTimedRPCSync(pipe, request, response, 20000);
    EzcomFreeRequest(request);
    EzcomFreeResponse(response);
    EzcomClosePipe(pipe);
    return -result;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, Kind kind)
{
    constexpr const char* kNames[] = {"File", "Queue", "Pipe"};
    return stream << kNames[static_cast<int>(kind)];
}

ServiceCounts& SharedCounts()
{
    static void* const shared = mmap(nullptr, sizeof(ServiceCounts), PROT_READ | PROT_WRITE,
                                     MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *static_cast<ServiceCounts*>(shared);
}

void ServiceTest::SetUp()
{
    new (&SharedCounts()) ServiceCounts;
    UsersTest::SetUp();
}

void Serve(const std::function<void()>& ready)
{
    const int listener = EzcomListen(kPipeName);
    if (PublishOf(Kind::kFile) != 0 || PublishOf(Kind::kQueue) != 0 || listener < 0) {
        return;
    }
    std::thread(AcceptPipes, listener).detach();
    ready();
    while (true) {
        ReportToAll();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int UseOf(Kind kind)
{
    switch (kind) {
        case Kind::kFile:
            return UseOfFile();
        case Kind::kQueue:
            return UseOfQueue();
        default:
            return UseOfPipe();
    }
}

int PublishOf(Kind kind)
{
    static const IAMFileOps fileOps = {OnRead, nullptr, OnIoctl, OnOpen, OnClose, nullptr};
    static const IAMQueueOps queueOps = {nullptr, nullptr, OnQueueOpen, OnQueueClose, nullptr};
    const IAMServiceDesc file = {kFileName, &fileOps, 20000};
    const IAMQueueServiceDesc queue = {kQueueName, &queueOps, 20000, 0};
    switch (kind) {
        case Kind::kFile:
            return IAMRegisterService(&file) == 0 ? 0 : errno;
        case Kind::kQueue:
            return -IAMRegisterQueueService(&queue);
        default:
            return -std::min(EzcomListen(kPipeName), 0);
    }
}
