// An owner that publishes one name of each kind, and clients of each. What its hooks see is counted
// in memory that all processes of the test share.
#ifndef OWNERLINK_TESTS_SECURITY_TEST_SERVICE_H
#define OWNERLINK_TESTS_SECURITY_TEST_SERVICE_H

#include <atomic>
#include <functional>
#include <ostream>

#include "tests/security/users.h"

enum class Kind { kFile, kQueue, kPipe };
std::ostream& operator<<(std::ostream& stream, Kind kind);

inline constexpr const char* kFileName = kName;
inline constexpr const char* kQueueName = "dp:/res/test/queue";
inline constexpr const char* kPipeName = "dp:/res/test/pipe";

enum ServiceCommand : uint32_t {
    kEchoCommand = 1,   // adds 1 to each byte and answers the size
    kBlockCommand = 2,  // never returns
};

// Of all hooks and accepted pipes.
struct ServiceCounts {
    std::atomic<int> opens{0};
    std::atomic<int> closes{0};
    std::atomic<int> ioctls{0};
    std::atomic<int> blocked{0};
    std::atomic<int> reads{0};
    std::atomic<int> queueOpens{0};
    std::atomic<int> queueCloses{0};
    std::atomic<int> pipeRecords{0};

    int Seen() const { return opens + ioctls + reads + queueOpens + pipeRecords; }
};

ServiceCounts& SharedCounts();

// Begins with all counts at 0.
class ServiceTest : public UsersTest {
protected:
    void SetUp() override;
};

// Publishes all three and says so; reports an event every five milliseconds. Does not return.
void Serve(const std::function<void()>& ready);

// One whole use of a name: open, an exchange or an event, close. 0 or the errno number of the first
// step that failed.
int UseOf(Kind kind);

// Whether the name can be published: 0 or an errno number.
int PublishOf(Kind kind);

#endif
