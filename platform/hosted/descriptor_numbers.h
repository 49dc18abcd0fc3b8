// The numbers of the layer's descriptors: four ranges far above the kernel's, that never meet.
#ifndef OWNERLINK_PLATFORM_HOSTED_DESCRIPTOR_NUMBERS_H
#define OWNERLINK_PLATFORM_HOSTED_DESCRIPTOR_NUMBERS_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace hosted {

enum class DescriptorRange : int {
    kReadWrite = 0x40000000,
    kReadOnly = 0x50000000,
    kQueue = 0x60000000,
    kPipe = 0x70000000,
};

inline constexpr int kSlotsPerRange = 65536;

struct DescriptorPlace {
    DescriptorRange range;
    int slot;
};

constexpr int NumberOf(DescriptorPlace place)
{
    return static_cast<int>(place.range) + place.slot;
}

constexpr std::optional<DescriptorPlace> PlaceOf(int number)
{
    for (const auto range : {DescriptorRange::kReadWrite, DescriptorRange::kReadOnly,
                             DescriptorRange::kQueue, DescriptorRange::kPipe}) {
        const int first = static_cast<int>(range);
        if (number >= first && number < first + kSlotsPerRange) {
            return DescriptorPlace{range, number - first};
        }
    }
    return std::nullopt;
}

constexpr bool IsFileRange(DescriptorRange range)
{
    return range == DescriptorRange::kReadWrite || range == DescriptorRange::kReadOnly;
}

// The slots of one range; the lowest free one first.
class SlotSet {
public:
    // None when all are taken.
    std::optional<int> TakeLowest()
    {
        size_t word = firstWithFree_;
        while (word < taken_.size() && taken_[word] == ~uint64_t{0}) {
            ++word;
        }
        firstWithFree_ = word;
        if (word * 64 >= kSlotsPerRange) {
            return std::nullopt;
        }
        if (word == taken_.size()) {
            taken_.push_back(0);
        }
        const int bit = std::countr_one(taken_[word]);
        taken_[word] |= uint64_t{1} << bit;
        return static_cast<int>(word) * 64 + bit;
    }

    void Release(int slot)
    {
        const size_t word = static_cast<size_t>(slot) / 64;
        taken_[word] &= ~(uint64_t{1} << (slot % 64));
        firstWithFree_ = word < firstWithFree_ ? word : firstWithFree_;
    }

private:
    std::vector<uint64_t> taken_;
    size_t firstWithFree_ = 0;  // no word before it has a free slot
};

}  // namespace hosted

#endif
