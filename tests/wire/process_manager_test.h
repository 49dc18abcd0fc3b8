// What the tests of the process manager's codec share.
#ifndef OWNERLINK_TESTS_WIRE_PROCESS_MANAGER_TEST_H
#define OWNERLINK_TESTS_WIRE_PROCESS_MANAGER_TEST_H

#include <ownerlink/process_manager.h>

#include <cstring>
#include <string>

#include "tests/support/platform_test.h"

// A sound record with this payload.
inline ProcMgr::Message::RequestMsg RecordWith(const std::string& payload)
{
    ProcMgr::Message::RequestMsg msg;
    msg.size = payload.size();
    std::memcpy(msg.data, payload.data(), payload.size());
    return msg;
}

inline std::string PayloadOf(const ProcMgr::Message::RequestMsg& msg)
{
    return {msg.data, msg.size};
}

inline RecordMatcher SyslogError(const TextMatcher& text)
{
    return SyslogRecord(LOG_ERR, text);
}

class ProcessManagerTest : public PlatformTest {};

#endif
