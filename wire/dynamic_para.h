// The dynamic parameters of an application, as two codecs read them in different words.
#ifndef OWNERLINK_WIRE_DYNAMIC_PARA_H
#define OWNERLINK_WIRE_DYNAMIC_PARA_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "wire/change_app_limits.h"
#include "wire/text_fields.h"

namespace ProcMgr {

// Where the reading stopped, and at what.
struct DynamicParaReading {
    enum class End { kComplete, kTooManyEntries, kBadIndex, kTooManyValues };

    End end = End::kComplete;
    int index = 0;
    uint64_t number = 0;  // of entries or values
};

// Entries of one index merge, and one without values leaves no trace.
template <typename Source>
DynamicParaReading ReadDynamicPara(Source& stream,
                                   std::map<int, std::vector<std::string>>& dynamicPara)
{
    using End = DynamicParaReading::End;
    const auto entries = ReadNumber<uint64_t>(stream);
    if (entries > kMostDynamicPara) {
        return {End::kTooManyEntries, 0, entries};
    }
    dynamicPara.clear();
    for (uint64_t entry = 0; entry < entries; ++entry) {
        const int index = ReadNumber<int>(stream);
        if (index > kLastDynamicPara) {  // signed: a negative index passes
            return {End::kBadIndex, index, 0};
        }
        const auto values = ReadNumber<uint64_t>(stream);
        if (values > kMostValues) {
            return {End::kTooManyValues, index, values};
        }
        for (uint64_t i = 0; i < values; ++i) {
            dynamicPara[index].push_back(ReadText(stream));
        }
    }
    return {};
}

}  // namespace ProcMgr

#endif
