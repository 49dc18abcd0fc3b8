// What the tests of the codecs share: records from texts and back, and the log records of the two
// units, equal in everything but their line.
#ifndef OWNERLINK_TESTS_WIRE_CODEC_TEST_H
#define OWNERLINK_TESTS_WIRE_CODEC_TEST_H

#include <ownerlink/wire.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/support/platform_test.h"

template <typename Record>
Record RecordWithText(const std::string& text)
{
    Record record;
    record.size = text.size();
    std::copy_n(text.begin(), std::min(text.size(), sizeof(record.data)), record.data);
    return record;
}

inline ProcMgr::OwnerlinkRequestMsg RequestWithText(const std::string& text)
{
    return RecordWithText<ProcMgr::OwnerlinkRequestMsg>(text);
}

inline ProcMgr::OwnerlinkResponseMsg ResponseWithText(const std::string& text)
{
    return RecordWithText<ProcMgr::OwnerlinkResponseMsg>(text);
}

// A record of `size` bytes that says `text` and then nothing.
template <typename Record>
Record RecordOfSize(uint64_t size, const std::string& text = "")
{
    Record record = RecordWithText<Record>(text);
    record.size = size;
    return record;
}

template <typename Record>
std::string TextOf(const Record& record)
{
    return std::string(record.data, std::min<std::size_t>(record.size, sizeof(record.data)));
}

inline RecordMatcher ClientError(const std::string& text)
{
    return FromUnit("OwnerlinkSerialization", ErrorRecord(kClientModule, text));
}

inline RecordMatcher ClientMilestone(const TextMatcher& text)
{
    return FromUnit("OwnerlinkSerialization", MilestoneRecord(kClientModule, text));
}

inline RecordMatcher ServerError(const std::string& text)
{
    return FromUnit("ownerlink_serialization", ErrorRecord(kServerModule, text));
}

inline RecordMatcher ServerMilestone(const TextMatcher& text)
{
    return FromUnit("ownerlink_serialization", MilestoneRecord(kServerModule, text));
}

// `text` behind the prefix of a boot trace with this tag.
inline TextMatcher BootTraced(const std::string& tag, const std::string& text)
{
    return ::testing::AllOf(
        ::testing::ContainsRegex("^\\[[0-9]+\\.[0-9]{6}s\\]\\[BOOT_TRACE\\]\\[" + tag + "\\] "),
        ::testing::EndsWith("[" + tag + "] " + text));
}

#endif
