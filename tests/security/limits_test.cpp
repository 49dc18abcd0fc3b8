// What one user may have of an owner, in figures, and what another still has then.
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "platform/hosted/owner_peers.h"
#include "tests/hosted/raw_peer.h"
#include "tests/security/test_service.h"

using namespace hosted;

namespace {

using Ready = std::function<void()>;

size_t DescriptorsOf(pid_t process)
{
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/fd");
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

// As many requests as a process may have, none of which is ever answered.
void BlockAllItMay(const Ready& ready)
{
    const std::vector<RawClient> clients(kRequestsPerProcess);
    const std::string request = MessageOf(RequestHeader(kBlockCommand, 0), "");
    for (const RawClient& client : clients) {
        client.Send(request);
    }
    ready();
    pause();
}

void ConnectAllItMay(const Ready& ready)
{
    const std::vector<RawClient> clients(kConnectionsPerProcess);
    ready();
    pause();
}

class LimitOfAUser : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        setenv("OWNERLINK_LOG", "off", 1);
    }
    static int UseAs(const User& user)
    {
        return ResultAs(user, [] { return UseOf(Kind::kFile); });
    }
};

}  // namespace

TEST_F(LimitOfAUser, OfRequestsInFlightLeavesTheOthersTheirs)
{
    const UserProcess owner(OwnersUser(), Serve);
    const UserProcess first(HostileMember(), BlockAllItMay);
    const UserProcess second(HostileMember(), BlockAllItMay);
    ASSERT_TRUE(Eventually([] { return SharedCounts().blocked == kRequestsPerUser; }));

    EXPECT_EQ(UseAs(HostileMember()), EBUSY);
    EXPECT_EQ(UseAs(Member()), 0);
    EXPECT_EQ(UseAs(OwnersUser()), 0);
    EXPECT_EQ(SharedCounts().blocked, kRequestsPerUser);
}

TEST_F(LimitOfAUser, OfConnectionsEndsItsOwnOnes)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());
    const size_t before = DescriptorsOf(owner.Process());
    std::vector<std::unique_ptr<UserProcess>> hoarders;
    for (int i = 0; i < kConnectionsPerUser / kConnectionsPerProcess + 2; ++i) {
        hoarders.push_back(std::make_unique<UserProcess>(HostileMember(), ConnectAllItMay));
        ASSERT_TRUE(hoarders.back()->HasSaidReady());
    }

    EXPECT_EQ(UseAs(Member()), 0);

    const size_t most = before + kConnectionsPerUser + 1;
    EXPECT_TRUE(Eventually([&] { return DescriptorsOf(owner.Process()) <= most; }))
        << DescriptorsOf(owner.Process()) << " of " << most;
}

// They lie in memory of the owner's.
TEST_F(LimitOfAUser, OfUnreadAnswersEndsTheConnection)
{
    const UserProcess owner(OwnersUser(), Serve);
    ASSERT_TRUE(owner.HasSaidReady());

    const int answers = ResultAs(HostileMember(), [] {
        const RawClient client;
        const std::string request =
            MessageOf(RequestHeader(kEchoCommand, kMaxPayload), std::string(kMaxPayload, 'a'));
        while (send(client.Fd(), request.data(), request.size(), MSG_NOSIGNAL) > 0) {}
        // What the owner left unread makes the first look at its end an error: twice is the end.
        int count = 0;
        for (int ends = 0; ends < 2;) {
            ++(client.Receive().empty() ? ends : count);
        }
        return count;
    });

    EXPECT_GE(answers, 1);
    EXPECT_LE(answers, 2);
    EXPECT_EQ(UseAs(HostileMember()), 0);
}
