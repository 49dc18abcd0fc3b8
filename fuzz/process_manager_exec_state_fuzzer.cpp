// Execution states of an application.
#include "fuzz/process_manager_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const fuzz::AppExecInfo before = {"kept", 7, 8, ProcMgr::Message::AppExecState::TERMINATED};
    fuzz::Compare(*fuzz::RecordOf(data, size), before,
                  ProcMgr::Serialization::ProcMgrUnpackedAppExecInfoRequest, fuzz::ReadExecInfo);
    return 0;
}
