// The failures in the double's log, and the codecs' warnings.
#ifndef OWNERLINK_FUZZ_COMPLAINTS_H
#define OWNERLINK_FUZZ_COMPLAINTS_H

#include "fuzz/reader_reference.h"
#include "platform/fake/fake_platform.h"

namespace fuzz {

// Those since the last call, which forgets all that the double has noted.
inline Complaints TakeComplaints()
{
    Complaints complaints;
    for (const OwnerlinkFake::LogRecord& record : OwnerlinkFake::Records()) {
        const bool isOfCodec =
            record.unit == "ownerlink_serialization" || record.unit == "OwnerlinkSerialization";
        if (record.level == 3 || (record.level == 2 && isOfCodec)) {
            complaints.push_back(record.text);
        }
    }
    OwnerlinkFake::ClearHistory();
    return complaints;
}

}  // namespace fuzz

#endif
