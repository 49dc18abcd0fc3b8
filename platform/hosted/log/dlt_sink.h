// The log daemon of vehicles (DLT), through its own library.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_DLT_SINK_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_DLT_SINK_H

#include <memory>
#include <string>

#include "platform/hosted/log/sink.h"

namespace hosted::log {

// `application` is up to four characters; empty means the usual name. A program that is a DLT
// application already keeps its own name. Where the library is not installed, or was not at the
// build, the sink fails.
std::unique_ptr<Sink> MakeDltSink(const std::string& application);

}  // namespace hosted::log

#endif
