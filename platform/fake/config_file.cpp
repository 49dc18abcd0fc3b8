// The one configuration path whose contents the test supplies.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/fake/call.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct Config {
    std::optional<std::string> text;
    bool isUnreadable = false;
};

bool IsConfig(const char* path)
{
    return path != nullptr && std::strcmp(path, kConfigPath) == 0;
}

Config TheConfig()
{
    const Lock lock = LockState();
    return Immortal<Config>();
}

bool ConfigExists()
{
    const Config config = TheConfig();
    return config.text || config.isUnreadable;
}

void SetTheConfig(const Config& config)
{
    const Lock lock = LockState();
    Immortal<Config>() = config;
}

// A stream that reads `text`, from a file that has no name.
std::FILE* StreamOf(const std::string& text)
{
    const int fd = memfd_create("ownerlink_config", MFD_CLOEXEC);
    std::FILE* stream = fd < 0 ? nullptr : fdopen(fd, "w+b");
    if (stream == nullptr || std::fwrite(text.data(), 1, text.size(), stream) != text.size()) {
        std::perror("the platform double cannot hold the configuration");
        std::abort();
    }
    std::rewind(stream);
    return stream;
}

std::FILE* OpenConfig()
{
    const Config config = TheConfig();
    if (!config.text) {
        errno = config.isUnreadable ? EACCES : ENOENT;
        return nullptr;
    }
    return StreamOf(*config.text);
}

char* ResolveConfig(char* resolved)
{
    if (!ConfigExists()) {
        errno = ENOENT;
        return nullptr;
    }
    if (resolved == nullptr) {
        return strdup(kConfigPath);
    }
    std::memcpy(resolved, kConfigPath, std::strlen(kConfigPath) + 1);
    return resolved;
}

char* Resolve(const char* path, char* resolved)
{
    Call call("realpath", path, path);
    char* result = nullptr;
    errno = call.Error();
    if (!call.MustFail()) {
        result = IsConfig(path) ? ResolveConfig(resolved) : realpath(path, resolved);
    }
    call.Finish(result == nullptr ? "null" : result, result == nullptr ? errno : 0);
    return result;
}

}  // namespace

void ResetConfig()
{
    Immortal<Config>() = {};
}

}  // namespace detail

void SetConfig(const std::string& text)
{
    detail::SetTheConfig({text, false});
}

void RemoveConfig()
{
    detail::SetTheConfig({});
}

void SetUnreadableConfig()
{
    detail::SetTheConfig({std::nullopt, true});
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;

extern "C" {

int OwnerlinkFakeAccess(const char* path, int mode)
{
    const std::string modeText = mode == F_OK ? "F_OK" : std::to_string(mode);
    Call call("access", std::string(path) + "," + modeText, path);
    if (call.Set()) {
        return static_cast<int>(call.Return(*call.Set()));
    }
    if (!OwnerlinkFake::detail::IsConfig(path)) {
        const int result = access(path, mode);
        return static_cast<int>(call.Return(result, result == 0 ? 0 : errno));
    }
    return static_cast<int>(OwnerlinkFake::detail::ConfigExists() ? call.Return(0)
                                                                  : call.Return(-1, ENOENT));
}

char* OwnerlinkFakeRealpath(const char* path, char* resolved)
{
    return OwnerlinkFake::detail::Resolve(path, resolved);
}

// The fortified form; the size is the compiler's business.
char* OwnerlinkFakeRealpathChk(const char* path, char* resolved, size_t /*size*/)
{
    return OwnerlinkFake::detail::Resolve(path, resolved);
}

std::FILE* OwnerlinkFakeFopen(const char* path, const char* mode)
{
    Call call("fopen", std::string(path) + "," + mode, path);
    std::FILE* stream = nullptr;
    errno = call.Error();
    if (!call.MustFail()) {
        stream = OwnerlinkFake::detail::IsConfig(path) ? OwnerlinkFake::detail::OpenConfig()
                                                       : std::fopen(path, mode);
    }
    call.Finish(stream == nullptr ? "null" : "stream", stream == nullptr ? errno : 0);
    return stream;
}

}  // extern "C"
