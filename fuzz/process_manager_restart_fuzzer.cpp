// Restart requests.
#include "fuzz/process_manager_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::CompareForBothSenders<fuzz::RestartAppInfo>(
        *fuzz::RecordOf(data, size), ProcMgr::Serialization::ProcMgrUnpackRestartRequest,
        fuzz::ReadRestart);
    return 0;
}
