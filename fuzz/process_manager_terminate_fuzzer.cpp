// Terminate requests.
#include "fuzz/process_manager_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<fuzz::TermAppInfo> before = {{"kept"}};
    fuzz::Compare(*fuzz::RecordOf(data, size), before,
                  ProcMgr::Serialization::ProcMgrUnpackTermRequest, fuzz::ReadTerm);
    return 0;
}
