// States of a base service.
#include "fuzz/process_manager_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const fuzz::BaseServiceStateInfo before = {ProcMgr::Message::BaseServiceState::TERMINATING};
    fuzz::Compare(*fuzz::RecordOf(data, size), before,
                  ProcMgr::Serialization::ProcMgrUnpackedBaseServiceStateRequest,
                  fuzz::ReadBaseServiceState);
    return 0;
}
