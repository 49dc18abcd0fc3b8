#include "platform/hosted/file_client.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/endpoint_search.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/queue_client.h"

namespace hosted {
namespace {

using Connected = Outcome<std::unique_ptr<ClientConnection>>;

constexpr int kOpenWaitMs = 500;  // for room in an owner's backlog
constexpr int kReadLimitMs = 1000;
constexpr int kIsQueue = EISNAM;  // no call fails with it: the name is a queue's

ExchangeResult Failure(int error)
{
    return {ExchangeEnd::kAnswered, -1, error};
}

int CheckKind(const Endpoint& endpoint)
{
    if (endpoint.kind == EndpointKind::kFile) {
        return 0;
    }
    return endpoint.kind == EndpointKind::kQueue ? kIsQueue : EPROTO;
}

Connected ConnectToFile(std::string_view name)
{
    const Deadline deadline(kOpenWaitMs);
    return ConnectByName<Connected>(
        name, CheckKind, [&](const RuntimeDir& directory, const Endpoint& endpoint) {
            const Life life{std::string(name), endpoint.instance, endpoint.timeoutMs};
            return Connect(directory, std::make_shared<const Life>(life), deadline);
        });
}

// The descriptor's next connection to the same life; EPIPE when that is over.
int Reconnect(OpenFile& file, const Deadline& deadline)
{
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    Connected connected =
        directory ? Connect(directory.value, file.life, deadline.NoLaterThan(kOpenWaitMs))
                  : Connected::Failed(directory.error);
    if (connected.error == ENOENT) {
        file.lifeIsOver = true;
        return EPIPE;
    }
    file.connection = std::move(connected.value);
    return connected.error;
}

int ErrorOf(const ExchangeResult& result)
{
    switch (result.end) {
        case ExchangeEnd::kTimedOut:
            return ETIMEDOUT;
        case ExchangeEnd::kNotTaken:
        case ExchangeEnd::kInDoubt:
            return EPIPE;
        case ExchangeEnd::kGarbled:
            return EPROTO;
        default:
            return result.error;
    }
}

// One attempt, on the connection that there is or on a new one. Whatever ends without an answer
// costs the connection: an exchange in doubt must never meet the next one.
ExchangeResult Attempt(OpenFile& file, const Request& request, const Deadline& deadline, bool whole)
{
    if (file.connection == nullptr) {
        if (const int error = Reconnect(file, deadline); error != 0) {
            return Failure(error);
        }
        whole = false;
    }
    ExchangeResult result = file.connection->Exchange(request, deadline, whole);
    if (result.end != ExchangeEnd::kAnswered) {
        file.connection.reset();
    }
    return result;
}

ExchangeResult Exchange(OpenFile& file, const Request& request, const Deadline& deadline,
                        bool whole)
{
    if (file.lifeIsOver) {
        return Failure(EPIPE);
    }
    ExchangeResult result = Attempt(file, request, deadline, whole);
    if (result.end == ExchangeEnd::kNotTaken) {
        result = Attempt(file, request, deadline, false);
    }
    if (result.end == ExchangeEnd::kAnswered) {
        return result;
    }
    if (result.end == ExchangeEnd::kGarbled) {
        HOSTED_LOG(kLogError, "garbled answer from the owner of %.128s", file.life->name.c_str());
    }
    return Failure(ErrorOf(result));
}

struct CallEnd {
    DescriptorTable& table;
    Descriptor& descriptor;
    ~CallEnd() { table.EndCall(descriptor); }
};

}  // namespace

FileClient& FileClient::Instance()
{
    static FileClient* const client = new FileClient;
    return *client;
}

Outcome<int> FileClient::Open(std::string_view name, int flags)
{
    if (name.empty() || name.size() > kMaxNameSize) {
        return Outcome<int>::Failed(name.empty() ? ENOENT : ENAMETOOLONG);
    }
    Connected connected{pool_.Take(name), 0};
    if (connected.value == nullptr) {
        connected = ConnectToFile(name);
    }
    if (connected.error == kIsQueue) {
        return QueueClient::Instance().Open(name);
    }
    if (!connected) {
        return Outcome<int>::Failed(connected.error);
    }
    const DescriptorRange range =
        (flags & O_ACCMODE) == O_RDONLY ? DescriptorRange::kReadOnly : DescriptorRange::kReadWrite;
    std::shared_ptr<const Life> life = connected.value->GetLife();
    return table_.Insert(range, OpenFile{std::move(life), std::move(connected.value), false});
}

ExchangeResult FileClient::Run(int number, const Request& request, std::optional<int> limitMs)
{
    const Outcome<DescriptorTable::Call> call = table_.BeginCall(number, limitMs);
    if (!call) {
        const bool isQueue = QueueClient::Instance().IsOpen(number);
        return Failure(isQueue ? EOPNOTSUPP : call.error);
    }
    const CallEnd end{table_, *call.value.descriptor};
    return Exchange(call.value.descriptor->file, request, call.value.deadline,
                    !call.value.hasWaited);
}

ExchangeResult FileClient::Ioctl(int number, uint32_t command, std::span<std::byte> buffer)
{
    return Run(number, Request{0, command, buffer, buffer}, std::nullopt);
}

ExchangeResult FileClient::Read(int number, std::span<std::byte> buffer)
{
    const auto count = static_cast<uint32_t>(buffer.size());
    return Run(number, Request{kFlagRead, count, {}, buffer}, kReadLimitMs);
}

int FileClient::Close(int number)
{
    if (QueueClient::Instance().Close(number) == 0) {
        return 0;
    }
    Outcome<OpenFile> file = table_.Remove(number);
    if (file && file.value.connection != nullptr) {
        pool_.GiveBack(std::move(file.value.connection));
    }
    return file.error;
}

int FileClient::SetTimeout(int number, int timeoutMs)
{
    if (timeoutMs == 0 || timeoutMs < -1) {
        return EINVAL;
    }
    const int error = table_.SetTimeout(number, timeoutMs);
    return error == EBADF && QueueClient::Instance().IsOpen(number) ? EOPNOTSUPP : error;
}

void FileClient::LockForFork()
{
    table_.LockForFork();
    pool_.LockForFork();
}

void FileClient::UnlockAfterFork()
{
    pool_.UnlockAfterFork();
    table_.UnlockAfterFork();
}

void FileClient::ForgetInChild()
{
    pool_.ForgetInChild();
    table_.ForgetInChild();
}

}  // namespace hosted
