#include "descriptors.h"

#include <sys/socket.h>

#include <map>

#include "endpoint.h"

namespace sample {
namespace {

// Never destroyed: threads use them until the process has gone.
struct Table {
    std::mutex mutex;
    std::map<int, std::shared_ptr<Descriptor>> open;
};

Table& TheTable()
{
    static Table& table = *new Table;
    return table;
}

}  // namespace

Descriptor::~Descriptor()
{
    CloseSocket(socket);
}

void Descriptor::End()
{
    const std::lock_guard<std::mutex> lock(ending);
    isClosed = true;
    shutdown(socket, SHUT_RDWR);
}

bool Descriptor::Replace(int next)
{
    const std::lock_guard<std::mutex> lock(ending);
    CloseSocket(isClosed ? next : socket.exchange(next));
    return !isClosed;
}

int AddDescriptor(std::shared_ptr<Descriptor> descriptor)
{
    const std::lock_guard<std::mutex> lock(TheTable().mutex);
    int number = kFirstNumber;
    while (TheTable().open.contains(number)) {
        ++number;
    }
    TheTable().open[number] = std::move(descriptor);
    return number;
}

std::shared_ptr<Descriptor> FindDescriptor(int number)
{
    const std::lock_guard<std::mutex> lock(TheTable().mutex);
    const auto found = TheTable().open.find(number);
    return found == TheTable().open.end() ? nullptr : found->second;
}

std::shared_ptr<Descriptor> RemoveDescriptor(int number)
{
    const std::lock_guard<std::mutex> lock(TheTable().mutex);
    const auto found = TheTable().open.find(number);
    if (found == TheTable().open.end()) {
        return nullptr;
    }
    std::shared_ptr<Descriptor> descriptor = std::move(found->second);
    TheTable().open.erase(found);
    return descriptor;
}

}  // namespace sample
