// Startup configurations.
#include "fuzz/process_manager_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const fuzz::StartupCfgInfo before = {{{"k", "kept"}}, "kept"};
    fuzz::Compare(*fuzz::RecordOf(data, size), before,
                  ProcMgr::Serialization::ProcMgrUnpackMatchDataAndPathRequest,
                  fuzz::ReadStartupCfg);
    return 0;
}
