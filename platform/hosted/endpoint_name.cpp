#include "platform/hosted/endpoint_name.h"

namespace hosted {
namespace {

constexpr size_t kMaxStemSize = 200;  // of the 255 bytes of a file name
constexpr char kHexDigits[] = "0123456789abcdef";

bool IsPlain(char c, size_t position)
{
    const bool isWord = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                        (c >= '0' && c <= '9') || c == '-' || c == '_';
    return isWord || (c == '.' && position > 0);
}

std::string PercentEncoded(std::string_view name)
{
    std::string encoded;
    for (size_t i = 0; i < name.size() && encoded.size() <= kMaxStemSize; ++i) {
        if (IsPlain(name[i], i)) {
            encoded += name[i];
            continue;
        }
        const auto byte = static_cast<unsigned char>(name[i]);
        encoded += {'%', kHexDigits[byte >> 4U], kHexDigits[byte & 15U]};
    }
    return encoded;
}

std::string Hex(uint64_t value)
{
    std::string text(16, '0');
    for (size_t at = text.size(); at > 0; value >>= 4U) {
        text[--at] = kHexDigits[value & 15U];
    }
    return text;
}

// FNV-1a, from a start of the caller's choice.
uint64_t Digest(std::string_view name, uint64_t start)
{
    uint64_t digest = start;
    for (const char c : name) {
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    // The low bits of the plain sum depend on the low bits of the input alone.
    return (digest ^ (digest >> 32U)) * 0x9e3779b97f4a7c15U;
}

}  // namespace

std::string EndpointStem(std::string_view name)
{
    std::string encoded = PercentEncoded(name);
    if (encoded.size() <= kMaxStemSize) {
        return encoded;
    }
    // No encoded name begins so: behind its percent signs stand hexadecimal digits.
    return "%long-" + Hex(Digest(name, 0xcbf29ce484222325U)) +
           Hex(Digest(name, 0x6c62272e07bb0142U)) + "-" + std::to_string(name.size());
}

std::string RecordFileName(std::string_view name)
{
    return EndpointStem(name) + ".res";
}

std::string LockFileName(std::string_view name)
{
    return EndpointStem(name) + ".lock";
}

std::string SocketFileName(uint64_t instance)
{
    return Hex(instance) + ".sock";
}

}  // namespace hosted
