#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/iam_file.h"
#include "platform/iam_queue.h"
#include "tests/queue/peer_commands.h"

namespace {

struct Owner : Shared {
    std::vector<IamQfsMgrFile*> files;  // in order of opening
    std::map<IamQfsMgrFile*, IAMShmPool> pools;
    IAMShmPoolConfig pool = {nullptr, 160, 1000};
    int opens = 0;
    int closes = 0;
    std::string openResult = "0";
    std::string closeResult = "0";
    bool holdOpen = false;
    bool holdClose = false;
    bool isHeld = false;
    std::string reportInOpen;
    bool isCalled = false;
};

Owner& The()
{
    static Owner* const owner = new Owner;  // hooks may outlive main
    return *owner;
}

int ReportTo(const IamQfsMgrFile& file, IAMShmPool& pool, const std::string& text)
{
    IAMShmBlock block = {};
    const auto size = static_cast<uint32_t>(text.size());
    int result = IAMShmHandleMalloc(&pool, size, &block);
    if (result != 0) {
        return result;
    }
    result = IAMShmWrite(&block, text.data(), size, 0);
    result = result == 0 ? IAMDataEnqueue(file.queue, &pool, &block) : result;
    if (result != 0) {
        IAMShmFree(&pool, &block);
    }
    return result;
}

int ResultOrThrow(const std::string& result)
{
    if (result == "throw") {
        throw std::runtime_error("thrown by the test");
    }
    return std::stoi(result);
}

void HoldWhile(const bool& isHolding, Owner& owner, PeerLock& lock)
{
    if (!isHolding) {
        return;
    }
    owner.isHeld = true;
    owner.changed.notify_all();
    owner.changed.wait(lock, [&] { return !isHolding; });
    owner.isHeld = false;
}

int OnOpen(IamQfsMgrFile* file)
{
    Owner& owner = The();
    PeerLock lock(owner.mutex);
    ++owner.opens;
    HoldWhile(owner.holdOpen, owner, lock);
    IAMShmPool& pool = owner.pools[file] = {};
    IAMShmRegisterPoolWithConfig(&owner.pool, &pool);
    if (!owner.reportInOpen.empty()) {
        ReportTo(*file, pool, owner.reportInOpen);
    }
    const int result = ResultOrThrow(owner.openResult);
    if (result >= 0) {
        owner.files.push_back(file);
        owner.changed.notify_all();
    }
    return result;
}

int OnClose(IamQfsMgrFile* file)
{
    Owner& owner = The();
    PeerLock lock(owner.mutex);
    HoldWhile(owner.holdClose, owner, lock);
    ++owner.closes;
    std::erase(owner.files, file);
    IAMShmDestroyPool(&owner.pools[file]);
    owner.pools.erase(file);
    owner.changed.notify_all();
    return ResultOrThrow(owner.closeResult);
}

int BlockForEver(IAMMgrFile*, unsigned int, IAMIoctlArg*)
{
    Owner& owner = The();
    PeerLock lock(owner.mutex);
    owner.isCalled = true;
    owner.changed.notify_all();
    owner.changed.wait(lock, [] { return false; });
    return 0;
}

std::string Report(const Words& words)
{
    Owner& owner = The();
    const PeerLock lock(owner.mutex);
    std::string results;
    for (IamQfsMgrFile* const file : owner.files) {
        results += (results.empty() ? "" : ",") +
                   std::to_string(ReportTo(*file, owner.pools[file], words.at(0)));
    }
    return results;
}

std::string Burst(const Words& words)
{
    Owner& owner = The();
    const PeerLock lock(owner.mutex);
    const long first = std::stol(words.at(0));
    const long end = first + std::stol(words.at(1));
    int failures = 0;
    for (long i = first; i < end; ++i) {
        for (IamQfsMgrFile* const file : owner.files) {
            failures += ReportTo(*file, owner.pools[file], std::to_string(i)) != 0 ? 1 : 0;
        }
    }
    return std::to_string(failures);
}

template <typename Condition>
std::string AwaitAndCount(Condition condition)
{
    Owner& owner = The();
    PeerLock lock(owner.mutex);
    owner.changed.wait(lock, [&] { return condition(owner); });
    return "opens=" + std::to_string(owner.opens) + " closes=" + std::to_string(owner.closes);
}

template <typename Change>
std::string Set(Change change)
{
    Owner& owner = The();
    const PeerLock lock(owner.mutex);
    change(owner);
    owner.changed.notify_all();
    return "done";
}

std::string AwaitFiles(const Words& words)
{
    const size_t wanted = std::stoul(words.at(0));
    return AwaitAndCount([&](const Owner& owner) { return owner.files.size() == wanted; });
}

std::string AwaitCloses(const Words& words)
{
    const int wanted = std::stoi(words.at(0));
    return AwaitAndCount([&](const Owner& owner) { return owner.closes >= wanted; });
}

std::string SetPool(const Words& words)
{
    return Set([&](Owner& owner) {
        owner.pool.blockSize = static_cast<uint32_t>(std::stoul(words.at(0)));
        owner.pool.blockCount = static_cast<uint32_t>(std::stoul(words.at(1)));
    });
}

}  // namespace

std::string Publish(const std::string& nameAndTimeOut)
{
    std::istringstream words(nameAndTimeOut);
    std::string name;
    uint32_t timeOut = 60000;  // never meant to pass
    words >> name >> timeOut;
    const IAMQueueOps ops = {nullptr, nullptr, OnOpen, OnClose, nullptr};
    const IAMQueueServiceDesc desc = {name.c_str(), &ops, timeOut, 0};
    const int result = IAMRegisterQueueService(&desc);
    return result == 0 ? "ready" : FailedWith(-result);
}

std::string Serve(const std::string& name)
{
    IAMFileOps ops = {};
    ops.open = [](IAMMgrFile*) {
        return 0;
    };
    ops.ioctl = BlockForEver;
    const IAMServiceDesc desc = {name.c_str(), &ops, 60000};
    return IAMRegisterService(&desc) == 0 ? "ready" : FailedWith(errno);
}

Commands OwnerCommands()
{
    using W = const Words&;
    return {
        {"report", Report},
        {"burst", Burst},
        {"files", AwaitFiles},
        {"closes", AwaitCloses},
        {"pool", SetPool},
        {"publish",
         [](W words) {
             return Publish(words.at(0));
         }},
        {"open-result",
         [](W words) {
             return Set([&](Owner& o) { o.openResult = words.at(0); });
         }},
        {"close-result",
         [](W words) {
             return Set([&](Owner& o) { o.closeResult = words.at(0); });
         }},
        {"report-in-open",
         [](W words) {
             return Set([&](Owner& o) { o.reportInOpen = words.at(0); });
         }},
        {"hold",
         [](W) {
             return Set([](Owner& o) { o.holdOpen = true; });
         }},
        {"hold-close",
         [](W) {
             return Set([](Owner& o) { o.holdClose = true; });
         }},
        {"release",
         [](W) {
             return Set([](Owner& o) { o.holdOpen = o.holdClose = false; });
         }},
        {"serve",
         [](W words) {
             return Serve(words.at(0));
         }},
        {"called",
         [](W) {
             return AwaitAndCount([](const Owner& o) { return o.isCalled; });
         }},
        {"held",
         [](W) {
             return AwaitAndCount([](const Owner& o) { return o.isHeld; });
         }},
    };
}
