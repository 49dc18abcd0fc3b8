#include "platform/hosted/endpoint_record.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/message.h"

namespace hosted {
namespace {

constexpr char kMagic[8] = {'O', 'W', 'N', 'E', 'R', 'L', 'N', 'K'};
constexpr mode_t kRecordMode = 0640;

// What stands in the file; the name follows. Both ends run on one machine, in its byte order.
struct RecordHeader {
    char magic[8];
    uint32_t version;
    uint32_t kind;
    uint64_t instance;
    uint32_t timeoutMs;
    uint32_t nameSize;
};
static_assert(sizeof(RecordHeader) == 32, "layout of RecordHeader");

struct RecordImage {
    RecordHeader header;
    char name[kMaxNameSize];
    char tooLong;
};

UniqueFd OpenAt(const RuntimeDir& directory, const std::string& file, int flags, mode_t mode = 0)
{
    return UniqueFd::Make([&] {
        return openat(directory.fd.Get(), file.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, mode);
    });
}

int CheckWriter(const RuntimeDir& directory, int fd, const std::string& file)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    const bool trusted = status.st_uid == directory.owner || status.st_uid == 0;
    const bool othersMayWrite = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (!S_ISREG(status.st_mode) || !trusted || othersMayWrite) {
        HOSTED_LOG(kLogError, "endpoint %s refused: of user %u, mode %o", file.c_str(),
                   status.st_uid, status.st_mode);
        return EACCES;
    }
    return 0;
}

int CheckImage(const RecordImage& image, size_t size, std::string_view name)
{
    const RecordHeader& header = image.header;
    if (size < sizeof header || std::memcmp(header.magic, kMagic, sizeof kMagic) != 0) {
        return EPROTO;
    }
    if (header.version != kProtocolVersion || header.nameSize > kMaxNameSize ||
        size != sizeof header + header.nameSize) {
        return EPROTO;
    }
    return std::string_view(image.name, header.nameSize) == name ? 0 : EEXIST;
}

Outcome<Endpoint> ParseImage(const RecordImage& image, size_t size, std::string_view name,
                             const std::string& file)
{
    const int error = CheckImage(image, size, name);
    if (error == EPROTO) {
        HOSTED_LOG(kLogError, "endpoint %s is of another protocol version, or damaged",
                   file.c_str());
    }
    if (error != 0) {
        return Outcome<Endpoint>::Failed(error);
    }
    const RecordHeader& header = image.header;
    return Succeeded(Endpoint{header.instance, header.timeoutMs, EndpointKind{header.kind}});
}

RecordImage MakeImage(std::string_view name, const Endpoint& endpoint)
{
    RecordImage image = {};
    std::memcpy(image.header.magic, kMagic, sizeof kMagic);
    image.header.version = kProtocolVersion;
    image.header.kind = static_cast<uint32_t>(endpoint.kind);
    image.header.instance = endpoint.instance;
    image.header.timeoutMs = endpoint.timeoutMs;
    image.header.nameSize = static_cast<uint32_t>(name.size());
    name.copy(image.name, sizeof image.name);
    return image;
}

int WriteRecord(const RuntimeDir& directory, const std::string& file, const RecordImage& image)
{
    const UniqueFd fd = OpenAt(directory, file, O_WRONLY | O_CREAT | O_EXCL, kRecordMode);
    if (!fd) {
        return errno;
    }
    fchmod(fd.Get(), kRecordMode);  // whatever the host's umask
    const size_t size = sizeof image.header + image.header.nameSize;
    const ssize_t written = write(fd.Get(), &image, size);
    if (written < 0) {
        return errno;
    }
    return static_cast<size_t>(written) == size ? 0 : ENOSPC;
}

}  // namespace

uint64_t NewInstance()
{
    uint64_t instance = 0;
    while (getrandom(&instance, sizeof instance, 0) != sizeof instance) {}
    return instance;
}

Outcome<Endpoint> ReadEndpoint(const RuntimeDir& directory, std::string_view name)
{
    const std::string file = RecordFileName(name);
    const UniqueFd fd = OpenAt(directory, file, O_RDONLY | O_NONBLOCK);
    if (!fd) {
        return Outcome<Endpoint>::Failed(errno == ELOOP ? EACCES : errno);
    }
    if (const int error = CheckWriter(directory, fd.Get(), file); error != 0) {
        return Outcome<Endpoint>::Failed(error);
    }
    RecordImage image;
    const ssize_t size = read(fd.Get(), &image, sizeof image);
    if (size < 0) {
        return Outcome<Endpoint>::Failed(errno);
    }
    return ParseImage(image, static_cast<size_t>(size), name, file);
}

int PublishEndpoint(const RuntimeDir& directory, std::string_view name, const Endpoint& endpoint)
{
    const std::string file = RecordFileName(name);
    const std::string draft = SocketFileName(endpoint.instance) + ".tmp";
    int error = WriteRecord(directory, draft, MakeImage(name, endpoint));
    if (error == 0 &&
        renameat(directory.fd.Get(), draft.c_str(), directory.fd.Get(), file.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlinkat(directory.fd.Get(), draft.c_str(), 0);
    }
    return error;
}

void RemoveRecord(const RuntimeDir& directory, std::string_view name)
{
    unlinkat(directory.fd.Get(), RecordFileName(name).c_str(), 0);
}

void RemoveSocket(const RuntimeDir& directory, uint64_t instance)
{
    unlinkat(directory.fd.Get(), SocketFileName(instance).c_str(), 0);
}

}  // namespace hosted
