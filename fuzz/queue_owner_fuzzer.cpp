// An owner that publishes a queue, to which a subscriber says anything, descriptors included.
//
// The input is the open hook's answer, then a script of messages, sent one after the other. A sound
// greeting is answered by the ring and the hook's verdict, one of another version by EPROTO;
// whatever else comes, or comes behind a greeting, ends the subscription without a word. Each open
// hook must have had its close hook by then.
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

#include "fuzz/hosted_world.h"
#include "platform/hosted/endpoint_record.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_ring_memory.h"
#include "platform/hosted/socket_address.h"
#include "platform/iam_queue.h"
#include "tests/support/send_descriptors.h"

namespace {

using fuzz::Require;
using fuzz::Script;
using hosted::QueueMessage;
using hosted::QueueMessageKind;
using hosted::QueueReceived;
using hosted::UniqueFd;

constexpr char kName[] = "dp:/events/fuzz";

enum class HookAnswer { kYes, kNo, kThrows };

std::atomic<HookAnswer> hookAnswer{HookAnswer::kYes};
std::atomic<int> opened{0};
std::atomic<int> closed{0};

int OnOpen(IamQfsMgrFile* /*file*/)
{
    ++opened;
    if (hookAnswer == HookAnswer::kThrows) {
        throw std::runtime_error("no");
    }
    return hookAnswer == HookAnswer::kYes ? 0 : -1;
}

int OnClose(IamQfsMgrFile* /*file*/)
{
    ++closed;
    return 0;
}

UniqueFd ConnectToOwner()
{
    static const uint64_t instance = [] {
        fuzz::HostedWorld::Prepare();
        static constexpr IAMQueueOps ops = {nullptr, nullptr, OnOpen, OnClose, nullptr};
        const IAMQueueServiceDesc desc = {kName, &ops, 5000, 0};
        Require(IAMRegisterQueueService(&desc) == 0);
        return hosted::ReadEndpoint(hosted::OpenRuntimeDir().value, kName).value.instance;
    }();
    auto socket =
        hosted::ConnectTo(hosted::OpenRuntimeDir().value, instance, hosted::Deadline(60000));
    Require(static_cast<bool>(socket));
    return std::move(socket.value);
}

struct Answer {
    QueueReceived end = QueueReceived::kEnd;
    QueueMessage message;
    UniqueFd memory;
};

Answer Receive(const UniqueFd& socket)
{
    pollfd entry = {socket.Get(), POLLIN, 0};
    Require(fuzz::Uninterrupted([&] { return poll(&entry, 1, 60000); }) == 1);
    Answer answer;
    answer.end = hosted::ReceiveQueueMessage(socket.Get(), &answer.message, &answer.memory);
    return answer;
}

void RequireEnd(const UniqueFd& socket)
{
    Require(Receive(socket).end == QueueReceived::kEnd);
    Require(opened == closed);
}

void RequireVerdict(const UniqueFd& socket, int error)
{
    const Answer answer = Receive(socket);
    Require(answer.end == QueueReceived::kMessage && !answer.memory);
    Require(answer.message.kind == QueueMessageKind::kVerdict && answer.message.error == error);
}

void RequireRing(const UniqueFd& socket)
{
    const Answer answer = Receive(socket);
    Require(answer.end == QueueReceived::kMessage && answer.memory);
    Require(answer.message.kind == QueueMessageKind::kRing);
    Require(answer.message.count == hosted::kRingSlots);
}

// What goes along as descriptors; the owner wants none.
void Send(const UniqueFd& socket, const std::string& frame, size_t descriptors)
{
    const std::array<int, 2> fds = {STDIN_FILENO, socket.Get()};
    Require(SendWithDescriptors(socket.Get(), frame, std::span(fds).first(descriptors)) ==
            static_cast<ssize_t>(frame.size()));
}

std::string TakeFrame(Script& script, uint8_t kind)
{
    if (kind % 8 == 7) {
        return script.TakeBytes(script.Take<uint8_t>() % 64);
    }
    QueueMessage message;
    if (kind % 8 > 2) {
        message.error = script.Take<int32_t>();
        message.count = script.Take<uint32_t>();
    }
    if (kind % 8 == 4) {
        message.version = script.Take<uint16_t>();
    }
    if (kind % 8 == 5) {
        message.kind = QueueMessageKind{script.Take<uint16_t>()};
    }
    std::string frame = fuzz::BytesOf(message);
    if (kind % 8 == 6) {
        frame[script.Take<uint8_t>() % sizeof message] = script.Take<char>();
    }
    return frame;
}

bool IsHello(const std::string& frame)
{
    return frame.size() == 24 && frame.compare(0, 4, "OLNQ") == 0 &&
           frame.compare(6, 2, std::string("\1\0", 2)) == 0;
}

// False when that was the subscription's end.
bool Exchange(const UniqueFd& socket, const std::string& frame, bool hasGreeted)
{
    if (hasGreeted || !IsHello(frame)) {
        RequireEnd(socket);
        return false;
    }
    if (frame.compare(4, 2, std::string("\1\0", 2)) != 0) {
        RequireVerdict(socket, EPROTO);
        RequireEnd(socket);
        return false;
    }
    RequireRing(socket);
    const bool isOpen = hookAnswer == HookAnswer::kYes;
    RequireVerdict(socket, isOpen ? 0 : EIO);
    if (!isOpen) {
        RequireEnd(socket);
    }
    return isOpen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Script script(data, size);
    hookAnswer = HookAnswer{script.Take<uint8_t>() % 3};
    const UniqueFd socket = ConnectToOwner();
    bool isUp = true;
    for (bool hasGreeted = false; isUp && !script.IsOver(); hasGreeted = true) {
        const auto kind = script.Take<uint8_t>();
        const std::string frame = TakeFrame(script, kind);
        Send(socket, frame, kind / 8U % 3U);
        isUp = Exchange(socket, frame, hasGreeted);
    }
    if (isUp) {  // the owner follows suit; so no subscription outlives its input
        shutdown(socket.Get(), SHUT_WR);
        RequireEnd(socket);
    }
    return 0;
}
