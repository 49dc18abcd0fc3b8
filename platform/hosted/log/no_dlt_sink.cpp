// In the place of the DLT sink where the build had no headers of its library.
#include <cerrno>

#include "platform/hosted/log/dlt_sink.h"

namespace hosted::log {
namespace {

class NoDltSink : public Sink {
public:
    int Write(const Line& /*line*/) override { return ENOTSUP; }
    int Probe() override { return ENOTSUP; }
};

}  // namespace

std::unique_ptr<Sink> MakeDltSink(const std::string& /*application*/)
{
    return std::make_unique<NoDltSink>();
}

}  // namespace hosted::log
