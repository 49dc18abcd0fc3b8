// The process manager's records as they travel over the tests' pipes.
#ifndef OWNERLINK_TESTS_PIPE_PROCESS_RECORDS_H
#define OWNERLINK_TESTS_PIPE_PROCESS_RECORDS_H

#include <ownerlink/process_manager.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/ezcom.h"

// The numbers are these tests' own.
inline constexpr uint32_t kStateType = 5;
inline constexpr ProcMgr::Message::RequestType kStart{1};
inline constexpr ProcMgr::Message::RequestType kRestart{2};
inline constexpr ProcMgr::Message::RequestType kTerminate{3};
inline constexpr ProcMgr::Message::RequestType kConfiguration{4};
inline constexpr ProcMgr::Message::RequestType kStates{kStateType};

inline ProcMgr::Message::RequestMsg RecordOf(ProcMgr::Message::RequestType type,
                                             const std::string& payload)
{
    ProcMgr::Message::RequestMsg record;
    record.type = type;
    record.size = payload.size();
    payload.copy(record.data, sizeof record.data);
    return record;
}

inline ProcMgr::Message::RequestMsg RecordIn(const void* data, size_t size)
{
    ProcMgr::Message::RequestMsg record;
    std::memcpy(&record, data, std::min(size, sizeof record));
    return record;
}

#endif
