// Messages between the two ends of a resource file, made by a script: sound ones, sound ones with a
// byte or a field that is not, and any bytes.
#ifndef OWNERLINK_FUZZ_MESSAGE_FRAMES_H
#define OWNERLINK_FUZZ_MESSAGE_FRAMES_H

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/hosted_world.h"
#include "fuzz/script.h"
#include "platform/hosted/message.h"

namespace fuzz {

// Starts from `header`, which fits whatever payload is taken.
inline std::string TakeFrame(Script& script, hosted::MessageHeader header)
{
    const auto kind = script.Take<uint8_t>();
    const std::string payload = script.TakeBytes(script.Take<uint16_t>() % 1024);
    if (kind % 8 == 7) {
        return payload;  // any bytes
    }
    header.size = static_cast<uint32_t>(payload.size());
    if (kind % 8 == 6) {
        header.size = script.Take<uint32_t>();
    }
    if ((kind & 8U) != 0) {
        header.zeros = script.Take<uint32_t>() >> (kind >> 4U);
    }
    std::string frame = BytesOf(header) + payload;
    if (kind % 8 == 5) {
        frame[script.Take<uint8_t>() % sizeof header] = script.Take<char>();
    }
    if (kind % 8 == 4) {
        frame.resize(script.Take<uint8_t>());
    }
    return frame;
}

// What a reader makes of a frame, from the layout of the header: none of ours, or its fields.
struct ParsedFrame {
    bool isWhole = false;
    hosted::MessageHeader header = {};
    std::string payload;  // with the zeros that were not sent
};

inline ParsedFrame Parse(const std::string& frame)
{
    ParsedFrame parsed;
    if (frame.size() < 40 || frame.size() > 40 + 65536) {
        return parsed;
    }
    std::memcpy(&parsed.header, frame.data(), 40);
    parsed.isWhole = frame.compare(0, 4, "OLNK") == 0 && frame.size() - 40 == parsed.header.size;
    parsed.payload = frame.substr(40);
    if (parsed.isWhole && parsed.header.zeros <= 65536) {
        parsed.payload.append(parsed.header.zeros, '\0');
    }
    return parsed;
}

}  // namespace fuzz

#endif
