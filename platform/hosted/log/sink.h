// Where lines go. A sink is used under the router's lock alone and is not thread-safe by itself; it
// never throws and reports each line that it could not place.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_SINK_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_SINK_H

#include <memory>

#include "platform/hosted/log/config.h"
#include "platform/hosted/log/line.h"

namespace hosted::log {

class Sink {
public:
    Sink() = default;
    virtual ~Sink() = default;
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    // 0 or an errno number. The line is with the operating system when this returns.
    virtual int Write(const Line& line) = 0;

    // 0, or the errno number that the next line would meet.
    virtual int Probe() { return 0; }

    // Called in the child of a fork, before its first line.
    virtual void EnterChild() {}

    // This process now owns the resource `name`.
    virtual void NameOwner(const std::string& /*name*/) {}
};

// A further kind of sink is one class, one name in the grammar and one case here.
std::unique_ptr<Sink> MakeSink(const SinkOptions& options);

}  // namespace hosted::log

#endif
