// ioctl: scripts, the server end in the same process, and the registrations of services.
#include <algorithm>
#include <cstdarg>
#include <map>

#include "platform/fake/call.h"
#include "platform/fake/files.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct ExchangeState {
    ExchangeScript scriptForAll;
    std::map<std::string, ExchangeScript> scripts;
    Journal<Exchange> exchanges;
    std::vector<Service> services;
};

ExchangeState& TheExchanges()
{
    return Immortal<ExchangeState>();
}

using Bytes = std::vector<uint8_t>;

Bytes Contents(const IAMIoctlArg* arg)
{
    if (arg == nullptr || arg->buf == nullptr) {
        return {};
    }
    const auto* bytes = static_cast<const uint8_t*>(arg->buf);
    return {bytes, bytes + arg->size};
}

// One exchange in the list of them; its response is added when it is over.
class ExchangeEntry {
public:
    ExchangeEntry(int fd, unsigned int command, const IAMIoctlArg* arg) : arg_(arg)
    {
        const Lock lock = LockState();
        const auto file = FindFile(lock, fd);
        isListed_ = file != nullptr;
        if (isListed_) {
            number_ = TheExchanges().exchanges.Add(
                {file->name, fd, command, file->timeoutMs, Contents(arg), {}});
        }
    }

    ~ExchangeEntry()
    {
        const Lock lock = LockState();
        Exchange* entry = isListed_ ? TheExchanges().exchanges.Find(number_) : nullptr;
        if (entry != nullptr) {
            entry->response = Contents(arg_);
        }
    }

    ExchangeEntry(const ExchangeEntry&) = delete;
    ExchangeEntry& operator=(const ExchangeEntry&) = delete;

private:
    const IAMIoctlArg* arg_;
    uint64_t number_ = 0;
    bool isListed_ = false;
};

ExchangeScript ScriptFor(const std::string& resource)
{
    const Lock lock = LockState();
    const auto found = TheExchanges().scripts.find(resource);
    return found == TheExchanges().scripts.end() ? TheExchanges().scriptForAll : found->second;
}

long AskScript(Call& call, const ExchangeScript& script, const std::string& resource,
               unsigned int command, IAMIoctlArg* arg)
{
    errno = 0;  // what the script leaves there is its own
    const int result = script(resource, command, *arg);
    return call.Return(result, result < 0 ? errno : 0);
}

// Lets the owner's hook work on a buffer of its own, as it would in a process of its own.
long AskService(Call& call, OpenFile& file, unsigned int command, IAMIoctlArg* arg)
{
    if (!file.BeginMessage()) {
        return call.Return(-1, EIO);
    }
    Bytes buffer = Contents(arg);
    IAMIoctlArg copy{buffer.size(), buffer.empty() ? nullptr : buffer.data()};
    const auto result = RunHook(file.service->ops.ioctl, &file.handle, command, &copy);
    if (!result) {
        return call.Return(-1, EIO);
    }
    std::copy(buffer.begin(), buffer.end(), static_cast<uint8_t*>(arg->buf));
    return call.Return(*result, ErrorOf(*result));
}

long ExchangeAsUsual(Call& call, int fd, unsigned int command, IAMIoctlArg* arg)
{
    const auto file = FindFile(fd);
    if (file == nullptr) {
        return call.Return(-1, EBADF);
    }
    if (arg == nullptr) {
        return call.Return(-1, EFAULT);
    }
    if (const ExchangeScript script = ScriptFor(file->name)) {
        return AskScript(call, script, file->name, command, arg);
    }
    return file->service ? AskService(call, *file, command, arg) : call.Return(-1, EPIPE);
}

void AddService(const IAMServiceDesc& desc)
{
    const Lock lock = LockState();
    TheExchanges().services.push_back({desc.name, desc.timeout, *desc.ops});
}

template <class Wanted>
std::vector<Exchange> SelectExchanges(const Wanted& wanted)
{
    const Lock lock = LockState();
    std::vector<Exchange> selected;
    for (const Exchange& exchange : TheExchanges().exchanges.Entries()) {
        if (wanted(exchange)) {
            selected.push_back(exchange);
        }
    }
    return selected;
}

}  // namespace

std::optional<Service> FindService(const Lock& /*lock*/, const std::string& name)
{
    const auto& services = TheExchanges().services;
    const auto found = std::find_if(services.rbegin(), services.rend(),
                                    [&](const Service& service) { return service.name == name; });
    return found == services.rend() ? std::nullopt : std::optional<Service>(*found);
}

bool HasScript(const Lock& /*lock*/, const std::string& name)
{
    return TheExchanges().scriptForAll || TheExchanges().scripts.contains(name);
}

void ForgetExchanges()
{
    TheExchanges().exchanges.Clear();
}

void ResetExchanges()
{
    ForgetExchanges();
    TheExchanges().scriptForAll = nullptr;
    TheExchanges().scripts.clear();
    TheExchanges().services.clear();
}

}  // namespace detail

void AnswerAll(ExchangeScript script)
{
    const detail::Lock lock = detail::LockState();
    detail::TheExchanges().scriptForAll = std::move(script);
}

void Answer(const std::string& resource, ExchangeScript script)
{
    const detail::Lock lock = detail::LockState();
    detail::TheExchanges().scripts.erase(resource);
    if (script) {
        detail::TheExchanges().scripts.emplace(resource, std::move(script));
    }
}

std::vector<Exchange> Exchanges()
{
    return detail::SelectExchanges([](const Exchange&) { return true; });
}

std::vector<Exchange> Exchanges(const std::string& resource)
{
    return detail::SelectExchanges(
        [&](const Exchange& exchange) { return exchange.resource == resource; });
}

std::vector<Service> Services()
{
    const detail::Lock lock = detail::LockState();
    return detail::TheExchanges().services;
}

IAMMgrFile* AnyFile()
{
    return &detail::Immortal<IAMMgrFile>();
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;

extern "C" {

OWNERLINK_FAKE_EXPORT int IAMFileIoctl(int fd, unsigned long cmd, ...)
{
    va_list arguments;
    va_start(arguments, cmd);
    auto* arg = va_arg(arguments, IAMIoctlArg*);
    va_end(arguments);
    const auto command = static_cast<unsigned int>(cmd);
    const OwnerlinkFake::detail::ExchangeEntry entry(fd, command, arg);
    Call call("ioctl", std::to_string(fd) + "," + std::to_string(command),
              OwnerlinkFake::detail::FileName(fd));
    return static_cast<int>(call.Set()
                                ? call.Return(*call.Set())
                                : OwnerlinkFake::detail::ExchangeAsUsual(call, fd, command, arg));
}

OWNERLINK_FAKE_EXPORT int IAMRegisterService(const IAMServiceDesc* desc)
{
    const bool isValid = desc != nullptr && desc->name != nullptr && desc->ops != nullptr;
    const std::string name = isValid ? desc->name : "";
    Call call("IAMRegisterService", name, name);
    const auto result =
        call.Set().value_or(OwnerlinkFake::Gives(isValid && !name.empty() ? 0 : -EINVAL));
    if (isValid && result.value >= 0) {
        OwnerlinkFake::detail::AddService(*desc);
    }
    return static_cast<int>(call.Return(result));
}

}  // extern "C"
