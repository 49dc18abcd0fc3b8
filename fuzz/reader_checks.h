// Holds each reader of a payload against its plain counterpart in `reader_reference.h`: the same
// result, the same outputs and the same complaints in the log, whatever the record says.
//
// An input is a record as `record_input.h` has it, with one byte ahead that chooses the reader.
#ifndef OWNERLINK_FUZZ_READER_CHECKS_H
#define OWNERLINK_FUZZ_READER_CHECKS_H

#include <span>
#include <string>
#include <string_view>

namespace fuzz {

struct ReaderCheck {
    char letter;  // the byte that chooses it
    const char* name;
    // What the two readers have left, if that is not the same; else empty.
    std::string (*difference)(std::string_view record);
};

std::span<const ReaderCheck> OwnersReaders();
std::span<const ReaderCheck> ManagersReaders();
std::span<const ReaderCheck> ProcessManagersReaders();

// Runs the check that the first byte of `input` chooses; one of them whatever that byte is.
std::string DifferenceIn(std::span<const ReaderCheck> readers, std::string_view input);

}  // namespace fuzz

#endif
