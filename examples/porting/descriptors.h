// The numbers that `open` gives for resources, far above the kernel's: the watch goes on using a
// number that has been closed, and must never meet a file of the process.
#ifndef OWNERLINK_EXAMPLES_PORTING_DESCRIPTORS_H
#define OWNERLINK_EXAMPLES_PORTING_DESCRIPTORS_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace sample {

constexpr int kFirstNumber = 0x40000000;

struct Descriptor {
    explicit Descriptor(std::string resource) : name(std::move(resource)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    // Ends what waits on it; the socket itself is closed with the last user of this object.
    void End();

    // Takes another connection in the place of its own. False, with `next` closed, after `End`.
    bool Replace(int next);

    const std::string name;
    std::atomic<int> socket{-1};
    std::atomic<bool> isClosed{false};
    bool isQueue = false;
    int serviceTimeoutMs = 0;
    std::atomic<int> timeoutMs{-1};  // -1: the service's
    std::mutex exchange;             // one at a time
    std::mutex ending;               // of the connection
    uint32_t sequence = 0;           // of the last exchange
};

// The lowest free number, now taken.
int AddDescriptor(std::shared_ptr<Descriptor> descriptor);

// Null for a number that is not open.
std::shared_ptr<Descriptor> FindDescriptor(int number);
std::shared_ptr<Descriptor> RemoveDescriptor(int number);

}  // namespace sample

#endif
