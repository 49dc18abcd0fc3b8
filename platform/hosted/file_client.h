// The client's side of resource files: open, read, ioctl, close and the time-out of a descriptor.
//
// Thread-safe. Each call returns a result of 0 or more, or the errno number of its failure; an
// ioctl may carry both.
#ifndef OWNERLINK_PLATFORM_HOSTED_FILE_CLIENT_H
#define OWNERLINK_PLATFORM_HOSTED_FILE_CLIENT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/hosted/connection_pool.h"
#include "platform/hosted/descriptor_table.h"

namespace hosted {

class FileClient {
public:
    // Built at the first call, never destroyed.
    static FileClient& Instance();

    Outcome<int> Open(std::string_view name, int flags);
    ExchangeResult Ioctl(int number, uint32_t command, std::span<std::byte> buffer);
    ExchangeResult Read(int number, std::span<std::byte> buffer);
    int Close(int number);
    int SetTimeout(int number, int timeoutMs);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    ExchangeResult Run(int number, const Request& request, std::optional<int> limitMs);

    ConnectionPool pool_;
    DescriptorTable table_;
};

}  // namespace hosted

#endif
