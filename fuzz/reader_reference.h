// The readers of both ends once more, from the grammar of the payloads and on standard streams
// alone (the binary ones byte by byte): slow, and plain to see through.
//
// Each reads the payload of a record whose size has been found good, leaves in its outputs what the
// library's reader is to leave there, and appends the warnings and failures that are to be logged.
#ifndef OWNERLINK_FUZZ_READER_REFERENCE_H
#define OWNERLINK_FUZZ_READER_REFERENCE_H

#include <ownerlink/records.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fuzz {

// What went wrong while reading, in the words of the log.
using Complaints = std::vector<std::string>;

// ---- The owner's end ----

void ReadState(const std::string& text, int& state);
bool ReadChanges(const std::string& text, std::vector<AppInfo>& apps, Complaints& complaints);
bool ReadParameters(const std::string& text, AppInfo& app, Complaints& complaints);
bool ReadVerifyRecord(const std::string& text, std::map<std::string, unsigned int>& record,
                      Complaints& complaints);
// `bytes` end where the record's claim or the record ends.
bool ReadQuery(const std::string& bytes, QueryAppStatusMsg& query);

// ---- The manager's end ----

void ReadStateVerdict(const std::string& text, bool& verdict);
bool ReadChangeStates(const std::string& text, bool& verdict,
                      std::map<std::string, AppChangeState>& states, Complaints& complaints);
bool ReadResult(const std::string& text);
bool ReadAppNames(const std::string& text, std::vector<std::string>& names);
// False for bytes that end early; the verdict is then of no use.
bool ReadAnswers(const std::string& bytes, bool& verdict, std::vector<AppStatus>& answers);
uint32_t ReadEvent(const std::string& text);

}  // namespace fuzz

#endif
