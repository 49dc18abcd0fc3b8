// What the test owner's ioctl hook does, by command.
#ifndef OWNERLINK_TESTS_HOSTED_COMMANDS_H
#define OWNERLINK_TESTS_HOSTED_COMMANDS_H

#include <cstdint>

enum TestCommand : uint32_t {
    kEcho = 1,      // adds 1 to each byte and answers the size
    kBlock = 2,     // blocks until "release" is written to the owner
    kThrow = 3,     // throws a std::runtime_error
    kThrowInt = 4,  // throws an int
    kDie = 5,       // kills its process
    kCount = 6,     // writes a `TestCounts`
    kNegative = 7,  // answers -15794176, the buffer filled with 'n'
    kFail = 8,      // answers -1
    kPause = 9,     // sleeps as many milliseconds as the buffer's first uint32_t says, then echoes
};

struct TestCounts {
    uint32_t opens;
    uint32_t closes;
    uint32_t ioctls;
    uint32_t reads;
    uint32_t blocked;  // in kBlock now
    uint32_t descriptors;
    uint32_t threads;
};

#endif
