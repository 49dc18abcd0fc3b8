// What the fuzzers of the process manager's unpackers share. Each holds an unpacker against its
// plain counterpart in `process_manager_reference.h`: same output, same records in syslog, whatever
// the record says and whatever the output held before.
//
// The first line of an input is the record's `size`; if that is no number, it is the length of what
// stands behind the line, as in a sound record. The rest is the payload.
#ifndef OWNERLINK_FUZZ_PROCESS_MANAGER_TARGET_H
#define OWNERLINK_FUZZ_PROCESS_MANAGER_TARGET_H

#include <ownerlink/process_manager.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/process_manager_reference.h"

namespace fuzz {

using ProcMgr::Message::RequestMsg;

// On the heap, where a sanitizer watches both of its ends.
std::unique_ptr<const RequestMsg> RecordOf(const uint8_t* input, size_t size);

// The payload as the unpackers are to see it.
std::string TextOf(const RequestMsg& msg);

// Syslog's records since the last call.
std::vector<Record> TakeSyslog();

// Ends the process unless both are the same.
void CompareSyslog(const std::vector<Record>& expected);
void RequireSameOutput(bool isSame);

// Applications in `before` show what an unpacker leaves as it was.
template <typename Output, typename Unpack, typename Reference>
void Compare(const RequestMsg& msg, const Output& before, const Unpack& unpack,
             const Reference& reference)
{
    Output got = before;
    Output expected = before;
    std::vector<Record> records;
    TakeSyslog();
    unpack(&msg, got);
    reference(TextOf(msg), expected, records);
    RequireSameOutput(AreSame(got, expected));
    CompareSyslog(records);
}

// Start and restart requests, with and without the dynamic parameters: `iammgr` sends none.
template <typename Info, typename Unpack, typename Reference>
void CompareForBothSenders(const RequestMsg& msg, const Unpack& unpack, const Reference& reference)
{
    const std::vector<Info> before = {{"kept", {"x", "y"}, {{0, {"v"}}}}};
    for (const std::string sender : {"iammgr", "datamaster"}) {
        Compare(
            msg, before, [&](const auto* record, auto& apps) { unpack(record, apps, sender); },
            [&](const auto& text, auto& apps, auto& records) {
                reference(text, sender, apps, records);
            });
    }
}

}  // namespace fuzz

#endif
