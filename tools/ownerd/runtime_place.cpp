#include "tools/ownerd/runtime_place.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>

namespace ownerd {
namespace {

constexpr size_t kLongestFileName = 180;

std::string RuntimeDirectory()
{
    const char* const path = secure_getenv("OWNERLINK_RUNTIME_DIR");
    if (path != nullptr && *path != '\0') {
        return path;
    }
    if (geteuid() == 0) {
        return "/run/ownerlink";
    }
    const char* const base = secure_getenv("XDG_RUNTIME_DIR");
    return base != nullptr && *base != '\0' ? std::string(base) + "/ownerlink" : "";
}

std::string Digits(uint64_t number, unsigned count)
{
    std::string digits;
    for (unsigned i = 0; i < count; ++i) {
        digits.insert(digits.begin(), "0123456789abcdef"[(number >> (4 * i)) & 15U]);
    }
    return digits;
}

// A resource's name has slashes. One that is too long for a file goes by a digest (FNV-1a).
std::string FileName(const std::string& resource)
{
    std::string name;
    uint64_t digest = 14695981039346656037ULL;
    for (const char letter : resource) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool isPlain = std::isalnum(byte) || byte == '-' || byte == '_';
        name += isPlain ? std::string(1, letter) : '%' + Digits(byte, 2);
        digest = (digest ^ byte) * 1099511628211ULL;
    }
    return name.size() <= kLongestFileName ? name : Digits(digest, 16);
}

}  // namespace

std::optional<RuntimePlace> FindRuntimePlace(const std::string& resource)
{
    const std::string directory = RuntimeDirectory();
    struct stat status = {};
    if (directory.empty() || stat(directory.c_str(), &status) != 0) {
        return std::nullopt;
    }
    const std::string name = FileName(resource);
    return RuntimePlace{
        directory + '/' + name + ".ownerd", directory + '/' + name + ".ownerd-lock",
        std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino) + '/' + name};
}

}  // namespace ownerd
