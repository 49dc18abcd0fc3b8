// What the processes of a soak test say to each other.
#ifndef OWNERLINK_SOAK_MESSAGE_H
#define OWNERLINK_SOAK_MESSAGE_H

#include <cstdint>

inline constexpr int kClients = 8;
inline constexpr int kOwners = 2;
inline constexpr const char* kPlainResource = "dp:/res/soak/plain";
inline constexpr const char* kEventResource = "dp:/res/pm/sys_event";

// An exchange's request: who asks, what tells it from every other, and the last event seen, which
// lets the owner report on.
struct SoakRequest {
    uint32_t client;
    uint32_t lastEvent;
    uint64_t tag;
    uint64_t filling[62];
};

inline uint64_t AnswerTo(uint64_t tag)
{
    return (tag ^ (tag >> 31)) * 0x9e3779b97f4a7c15U + 1;
}

// What an owner makes of an application's change, by the change's tag: one of two states.
inline bool IsDoneAtOnce(uint64_t tag)
{
    return (AnswerTo(tag) >> 32) % 2 == 0;
}

#endif
