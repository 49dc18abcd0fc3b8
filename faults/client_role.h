// The client that faults are done to: lanes that send tagged requests, one that queries through the
// library, and a subscription to system events.
#ifndef OWNERLINK_FAULTS_CLIENT_ROLE_H
#define OWNERLINK_FAULTS_CLIENT_ROLE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

class ClientRole {
public:
    // Starts the lanes.
    static void Start();

    struct Order {
        int plain = 0;    // requests of each plain lane
        int queries = 0;  // of the library's lane
        int timeoutMs = 0;
    };
    // Has the lanes send; returns at once.
    static void Ask(const Order& order);

    // When this many requests of the order have reached their exchange.
    static void AwaitBegun(int count);

    // When all have ended: how.
    static void Results(char* text, size_t room);

    // The next exchange of each plain lane ends the process: "send" at its start, "receive" when
    // the request is out. False for any other word.
    static bool SetTrap(std::string_view call);

    static bool Subscribe();
    // Whether an event of `state` has come; waits for it a moment. Events out of their order, or
    // twice, count as wrong.
    static bool HasSeen(uint32_t state, int waitMs);
    static int WrongEvents();
};

#endif
