// How an owner counts its clients.
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

#include "platform/hosted/owner_peers.h"

using namespace hosted;

namespace {

PeerCredentials Own(pid_t process)
{
    return {process, geteuid(), 0};
}

PeerCredentials Foreign(pid_t process)
{
    return {process, geteuid() + 1, 0};
}

void ExpectRefusal(const Refusal& refusal, const char* limitOf, int limit)
{
    ASSERT_TRUE(refusal);
    EXPECT_STREQ(refusal.limitOf, limitOf);
    EXPECT_EQ(refusal.limit, limit);
    EXPECT_EQ(refusal.count, limit);
}

}  // namespace

TEST(OwnerPeers, LimitTheRequestsOfAProcess)
{
    OwnerPeers peers;
    const auto peer = peers.Admit(Own(1)).first;
    for (int i = 0; i < kRequestsPerProcess; ++i) {
        ASSERT_FALSE(peer->EnterRequest());
    }

    ExpectRefusal(peer->EnterRequest(), "process", kRequestsPerProcess);
    peer->LeaveRequest();
    EXPECT_FALSE(peer->EnterRequest());
}

TEST(OwnerPeers, CountTheConnectionsOfAProcessTogether)
{
    OwnerPeers peers;
    const auto first = peers.Admit(Own(1)).first;
    const auto second = peers.Admit(Own(1)).first;
    EXPECT_EQ(first, second);

    for (int i = 2; i < kConnectionsPerProcess; ++i) {
        ASSERT_FALSE(peers.Admit(Own(1)).second);
    }

    ExpectRefusal(peers.Admit(Own(1)).second, "process", kConnectionsPerProcess);
    EXPECT_FALSE(peers.Admit(Own(2)).second);
    peers.Leave(first);
    EXPECT_FALSE(peers.Admit(Own(1)).second);
}

TEST(OwnerPeers, SumTheRequestsOfAnotherUser)
{
    OwnerPeers peers;
    const auto first = peers.Admit(Foreign(1)).first;
    const auto second = peers.Admit(Foreign(2)).first;
    const auto third = peers.Admit(Foreign(3)).first;
    for (int i = 0; i < kRequestsPerUser / 2; ++i) {
        ASSERT_FALSE(first->EnterRequest());
        ASSERT_FALSE(second->EnterRequest());
    }

    ExpectRefusal(third->EnterRequest(), "user", kRequestsPerUser);
    EXPECT_EQ(third->requests.Count(), 0);
    first->LeaveRequest();
    EXPECT_FALSE(third->EnterRequest());
}

TEST(OwnerPeers, SumTheReadsOfAnotherUserAndOfNoOther)
{
    OwnerPeers peers;
    const auto first = peers.Admit(Foreign(1)).first;
    const auto second = peers.Admit(Foreign(2)).first;
    const auto own = peers.Admit(Own(3)).first;
    for (int i = 0; i < kReadsPerUser; ++i) {
        ASSERT_FALSE((i % 2 == 0 ? first : second)->EnterRead());
        ASSERT_FALSE(own->EnterRead());
    }

    ExpectRefusal(second->EnterRead(), "user", kReadsPerUser);
    EXPECT_FALSE(own->EnterRead());
    EXPECT_FALSE(first->EnterRequest());
    first->LeaveRead();
    EXPECT_FALSE(second->EnterRead());
}

TEST(OwnerPeers, SumTheConnectionsOfAnotherUser)
{
    OwnerPeers peers;
    for (int i = 0; i < kConnectionsPerUser; ++i) {
        ASSERT_FALSE(peers.Admit(Foreign(i)).second);
    }

    ExpectRefusal(peers.Admit(Foreign(kConnectionsPerUser)).second, "user", kConnectionsPerUser);
}

TEST(OwnerPeers, DoNotSumTheOwnersOwnUser)
{
    OwnerPeers peers;
    for (int i = 0; i < 2 * kConnectionsPerUser; ++i) {
        ASSERT_FALSE(peers.Admit(Own(i)).second);
    }
}

TEST(OwnerPeers, StartAnewInAForkedChildBesideThoseThatWereLeftBehind)
{
    OwnerPeers peers;
    const auto left = peers.Admit(Foreign(1)).first;
    for (int i = 0; i < kRequestsPerProcess; ++i) {
        ASSERT_FALSE(left->EnterRequest());
    }
    peers.LockForFork();
    peers.ForgetInChild();
    peers.UnlockAfterFork();

    const auto anew = peers.Admit(Foreign(1)).first;
    EXPECT_FALSE(anew->EnterRequest());
    EXPECT_EQ(anew->others->requests.Count(), 1);

    left->LeaveRequest();
    peers.Leave(left);
    EXPECT_EQ(anew->others->requests.Count(), 1);
    EXPECT_EQ(peers.Admit(Foreign(1)).first, anew);
}
