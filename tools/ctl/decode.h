// A captured record, taken apart field by field.
#ifndef OWNERLINK_TOOLS_CTL_DECODE_H
#define OWNERLINK_TOOLS_CTL_DECODE_H

#include <string>

#include "tools/ctl/command_line.h"
#include "tools/ctl/output.h"
#include "tools/ctl/report.h"

namespace ctl {

// Reads the file, or standard input for "-", and prints what the record holds.
ExitCode Decode(const CommandLine& command, Output& output);

// `bytes` are a record, at least its first 12; what is missing behind them is noted.
DecodedRecord DecodeRecord(const std::string& bytes, const CommandLine& command);

}  // namespace ctl

#endif
