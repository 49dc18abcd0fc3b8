#include "platform/hosted/client_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

#include "platform/hosted/socket_address.h"

namespace hosted {
namespace {

// SO_RCVTIMEO counts in jiffies: too coarse below this.
constexpr int64_t kShortestReceiveTimeoutMs = 50;

// As much goes through any socket; room for more is made when it is needed.
constexpr size_t kUsualBuffer = 4096;

ExchangeResult Ended(ExchangeEnd end, int error = 0)
{
    return {end, -1, error};
}

bool IsWouldBlock(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK;
}

bool IsConnectionGone(int error)
{
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

// An answer to an ioctl brings the whole buffer, unless no hook has run; an answer to a read brings
// as many bytes as its result says.
bool HasRightSize(const MessageHeader& answer, const Request& request)
{
    const uint64_t size = uint64_t{answer.size} + answer.zeros;
    if ((request.flags & kFlagRead) != 0) {
        const auto wanted = static_cast<uint32_t>(answer.result < 0 ? 0 : answer.result);
        return size == wanted && size <= request.output.size();
    }
    const bool isEmptyFailure = size == 0 && answer.error != 0;
    return size == request.output.size() || isEmptyFailure;
}

bool IsAnswerTo(const MessageHeader& answer, const Request& request)
{
    const uint16_t wanted = static_cast<uint16_t>((request.flags & kFlagRead) | kFlagAnswer);
    return answer.flags == wanted && answer.command == request.command && answer.error >= 0 &&
           (answer.result >= 0 || answer.error != 0) && HasRightSize(answer, request);
}

// Then the answer overwrites the request.
bool IsOneBuffer(const Request& request)
{
    return request.input.data() == request.output.data() &&
           request.input.size() == request.output.size();
}

bool IsRefusal(const MessageHeader& header)
{
    return header.flags == (kFlagAnswer | kFlagRefused) && header.error > 0;
}

}  // namespace

ClientConnection::ClientConnection(UniqueFd fd, std::shared_ptr<const Life> life)
    : fd_(std::move(fd)), life_(std::move(life)), buffer_(kUsualBuffer)
{
}

bool ClientConnection::IsAliveAndSilent() const
{
    std::byte probe;
    return recv(fd_.Get(), &probe, sizeof probe, MSG_PEEK | MSG_DONTWAIT) < 0 &&
           IsWouldBlock(errno);
}

ExchangeResult ClientConnection::Exchange(const Request& request, const Deadline& deadline,
                                          bool whole)
{
    const size_t size = Compose(request);
    const ExchangeResult sent = Send(size, deadline);
    if (sent.end != ExchangeEnd::kAnswered) {
        return sent;
    }
    fileBegun_ = true;
    const ssize_t received = Receive(deadline, whole);
    if (received <= 0) {
        return received == 0 ? Ended(ExchangeEnd::kInDoubt) : EndOfReceive(errno);
    }
    return Accept(static_cast<size_t>(received), request, size - sizeof(MessageHeader));
}

size_t ClientConnection::Compose(const Request& request)
{
    const size_t answerSize = sizeof(MessageHeader) + request.output.size();
    const size_t sent = SizeWithoutZeros(request.input);
    const size_t size = sizeof(MessageHeader) + sent;
    if (buffer_.size() < std::max(size, answerSize)) {
        buffer_.resize(std::max(size, answerSize));
        MakeRoomForMessages(fd_.Get());
    }
    MessageHeader header = {};
    header.magic = kMessageMagic;
    header.version = kProtocolVersion;
    header.flags = static_cast<uint16_t>(request.flags | (fileBegun_ ? 0 : kFlagOpen));
    header.sequence = ++sequence_;
    header.command = request.command;
    header.size = static_cast<uint32_t>(sent);
    header.zeros = static_cast<uint32_t>(request.input.size() - sent);
    std::memcpy(buffer_.data(), &header, sizeof header);
    if (sent > 0) {
        std::memcpy(buffer_.data() + sizeof header, request.input.data(), sent);
    }
    return size;
}

ExchangeResult ClientConnection::Send(size_t size, const Deadline& deadline)
{
    while (send(fd_.Get(), buffer_.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        const int error = errno;
        if (IsConnectionGone(error)) {
            return AfterRefusedSend();
        }
        if (IsWouldBlock(error) && !WaitFor(POLLOUT, deadline)) {
            return Ended(ExchangeEnd::kNotSent, ETIMEDOUT);
        }
        if (!IsWouldBlock(error) && error != EINTR) {
            return Ended(ExchangeEnd::kNotSent, error);
        }
    }
    return {};
}

// An owner that turns a connection away says why before it closes it.
ExchangeResult ClientConnection::AfterRefusedSend()
{
    const ssize_t received = ReceiveNow();
    MessageHeader header;
    if (received > 0 && IsWholeMessage(buffer_.data(), static_cast<size_t>(received), &header) &&
        IsRefusal(header)) {
        return Ended(ExchangeEnd::kRefused, header.error);
    }
    return Ended(ExchangeEnd::kNotTaken);
}

ssize_t ClientConnection::Receive(const Deadline& deadline, bool whole)
{
    ssize_t received = whole && deadline.TotalMs() >= kShortestReceiveTimeoutMs
                           ? ReceiveByTimeout(deadline)
                           : ReceiveByPolling(deadline);
    if (received < 0 && errno == ECONNRESET) {
        received = ReceiveNow();  // an answer can lie behind the error
        if (received <= 0) {
            errno = ECONNRESET;
            return -1;
        }
    }
    return received;
}

// One system call where polling costs two. What comes early, an interruption say, is polled for.
ssize_t ClientConnection::ReceiveByTimeout(const Deadline& deadline)
{
    if (receiveTimeoutMs_ != deadline.TotalMs()) {
        receiveTimeoutMs_ = deadline.TotalMs();
        const timeval wait = {static_cast<time_t>(receiveTimeoutMs_ / 1000),
                              static_cast<suseconds_t>(receiveTimeoutMs_ % 1000 * 1000)};
        setsockopt(fd_.Get(), SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    }
    const ssize_t received = recv(fd_.Get(), buffer_.data(), buffer_.size(), MSG_TRUNC);
    if (received >= 0 || (!IsWouldBlock(errno) && errno != EINTR)) {
        return received;
    }
    return ReceiveByPolling(deadline);
}

ssize_t ClientConnection::ReceiveByPolling(const Deadline& deadline)
{
    while (WaitFor(POLLIN, deadline)) {
        const ssize_t received = ReceiveNow();
        if (received >= 0 || (!IsWouldBlock(errno) && errno != EINTR)) {
            return received;
        }
    }
    errno = ETIMEDOUT;
    return -1;
}

ssize_t ClientConnection::ReceiveNow()
{
    return recv(fd_.Get(), buffer_.data(), buffer_.size(), MSG_TRUNC | MSG_DONTWAIT);
}

// False when the time is over.
bool ClientConnection::WaitFor(short events, const Deadline& deadline) const
{
    pollfd entry = {fd_.Get(), events, 0};
    while (true) {
        const auto left = deadline.Remaining();
        const timespec wait = {static_cast<time_t>(left.count() / 1000000000),
                               static_cast<long>(left.count() % 1000000000)};
        const int ready = ppoll(&entry, 1, &wait, nullptr);
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

ExchangeResult ClientConnection::EndOfReceive(int error) const
{
    if (error == ETIMEDOUT) {
        return Ended(ExchangeEnd::kTimedOut);
    }
    return Ended(error == ECONNRESET ? ExchangeEnd::kNotTaken : ExchangeEnd::kInDoubt);
}

// `sent` is how much of the request's payload was sent: all behind it was zero.
ExchangeResult ClientConnection::Accept(size_t size, const Request& request, size_t sent) const
{
    MessageHeader answer;
    if (size > buffer_.size() || !IsWholeMessage(buffer_.data(), size, &answer)) {
        return Ended(ExchangeEnd::kGarbled);
    }
    if (IsRefusal(answer)) {
        return Ended(ExchangeEnd::kRefused, answer.error);
    }
    if (answer.version != kProtocolVersion || answer.sequence != sequence_ ||
        !IsAnswerTo(answer, request)) {
        return Ended(ExchangeEnd::kGarbled);
    }
    if (answer.size > 0) {
        std::memcpy(request.output.data(), buffer_.data() + sizeof answer, answer.size);
    }
    const size_t end = answer.size + answer.zeros;
    const size_t unknown = IsOneBuffer(request) ? std::min(sent, end) : end;
    if (unknown > answer.size) {
        std::memset(request.output.data() + answer.size, 0, unknown - answer.size);
    }
    return {ExchangeEnd::kAnswered, answer.result, answer.error};
}

Outcome<std::unique_ptr<ClientConnection>> Connect(const RuntimeDir& directory,
                                                   std::shared_ptr<const Life> life,
                                                   const Deadline& deadline)
{
    using Made = Outcome<std::unique_ptr<ClientConnection>>;
    Outcome<UniqueFd> fd = ConnectTo(directory, life->instance, deadline);
    if (!fd) {
        return Made::Failed(fd.error);
    }
    return Succeeded(std::make_unique<ClientConnection>(std::move(fd.value), std::move(life)));
}

}  // namespace hosted
