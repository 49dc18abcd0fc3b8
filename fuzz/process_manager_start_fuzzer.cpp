// Start requests.
#include "fuzz/process_manager_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::CompareForBothSenders<fuzz::StartAppInfo>(
        *fuzz::RecordOf(data, size), ProcMgr::Serialization::ProcMgrUnpackStartRequest,
        fuzz::ReadStart);
    return 0;
}
