// A request that can be told from every other, and the one answer that belongs to it.
#ifndef OWNERLINK_FAULTS_REQUEST_H
#define OWNERLINK_FAULTS_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <string_view>

inline constexpr const char* kLibraryResource = "dp:/res/faults/owner";
inline constexpr const char* kPlainResource = "dp:/res/faults/plain";
inline constexpr const char* kEventResource = "dp:/res/pm/sys_event";

inline constexpr size_t kRequestWords = 64;

struct TaggedRequest {
    uint64_t words[kRequestWords];
};

// The words that follow from a tag, and never from two.
inline uint64_t WordOf(uint64_t tag, size_t place)
{
    uint64_t word = tag + 0x9e3779b97f4a7c15U * (place + 1);
    word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9U;
    return word ^ (word >> 27);
}

inline void Fill(TaggedRequest& request, uint64_t tag)
{
    for (size_t i = 0; i < kRequestWords; ++i) {
        request.words[i] = WordOf(tag, i);
    }
}

// What an owner makes of a request, in place.
inline void TurnIntoAnswer(TaggedRequest& request)
{
    for (uint64_t& word : request.words) {
        word = ~word;
    }
}

inline bool IsAnswerTo(const TaggedRequest& answer, uint64_t tag)
{
    for (size_t i = 0; i < kRequestWords; ++i) {
        if (answer.words[i] != ~WordOf(tag, i)) {
            return false;
        }
    }
    return true;
}

// The state that an owner answers for an application.
inline uint32_t StateOf(std::string_view application)
{
    uint32_t state = 2166136261U;
    for (const char letter : application) {
        state = (state ^ static_cast<unsigned char>(letter)) * 16777619U;
    }
    return state;
}

#endif
