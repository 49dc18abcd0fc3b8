// The owner that faults are done to: a resource of the library, one of the platform alone, and
// system events.
#ifndef OWNERLINK_FAULTS_OWNER_ROLE_H
#define OWNERLINK_FAULTS_OWNER_ROLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class OwnerRole {
public:
    // Publishes its names, each with `suffix` behind it. May be called again for what has failed.
    // What came of it stands in `text`.
    static bool Publish(const std::string& suffix, char* text, size_t room);

    // What each callback does from now on: "echo", "block" until it is something else, "die",
    // "die-before-answer", "die-after-answer". False for any other word.
    static bool SetMode(std::string_view mode);

    static void AwaitBlocked(int count);  // callbacks that stand in "block"
    static void AwaitIdle();              // no callback runs

    static int Report(uint32_t state);  // to all subscribers
};

#endif
