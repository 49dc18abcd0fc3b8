#include "platform/hosted/owner_peers.h"

#include <unistd.h>

#include <algorithm>
#include <list>

namespace hosted {
namespace {

Refusal EnterBoth(Counter& ofProcess, int processLimit, Counter* ofUser, int userLimit)
{
    if (!ofProcess.Enter(processLimit)) {
        return {"process", processLimit, ofProcess.Count(), true};
    }
    if (ofUser != nullptr && !ofUser->Enter(userLimit)) {
        ofProcess.Leave();
        return {"user", userLimit, ofUser->Count(), false};
    }
    return {};
}

}  // namespace

Refusal Peer::EnterRequest()
{
    return EnterBoth(requests, kRequestsPerProcess, others != nullptr ? &others->requests : nullptr,
                     kRequestsPerUser);
}

void Peer::LeaveRequest()
{
    requests.Leave();
    if (others != nullptr) {
        others->requests.Leave();
    }
}

Refusal Peer::EnterRead() const
{
    if (others == nullptr || others->reads.Enter(kReadsPerUser)) {
        return {};
    }
    return {"user", kReadsPerUser, others->reads.Count(), false};
}

void Peer::LeaveRead() const
{
    if (others != nullptr) {
        others->reads.Leave();
    }
}

OwnerPeers::Admission OwnerPeers::Admit(const PeerCredentials& credentials)
{
    const MutexLock lock(mutex_);
    std::shared_ptr<Peer> peer = Find(credentials);
    const Refusal refusal = EnterBoth(
        peer->connections, kConnectionsPerProcess,
        peer->others != nullptr ? &peer->others->connections : nullptr, kConnectionsPerUser);
    if (!refusal) {
        return {std::move(peer), refusal};
    }
    if (peer->connections.Count() == 0) {
        peers_.erase({peer->process, peer->user});
    }
    return {nullptr, refusal};
}

std::shared_ptr<Peer> OwnerPeers::Find(const PeerCredentials& credentials)
{
    const Key key(credentials.process, credentials.user);
    const auto found = peers_.find(key);
    if (found != peers_.end()) {
        return found->second;
    }
    auto peer = std::make_shared<Peer>();
    peer->process = credentials.process;
    peer->user = credentials.user;
    peer->others = credentials.user == geteuid() ? nullptr : &users_[credentials.user];
    peers_.emplace(key, peer);
    return peer;
}

void OwnerPeers::Leave(const std::shared_ptr<Peer>& peer)
{
    const MutexLock lock(mutex_);
    peer->connections.Leave();
    if (peer->others != nullptr) {
        peer->others->connections.Leave();
    }
    const auto found = peers_.find({peer->process, peer->user});
    // After a fork another may stand in the place of the one that was left behind.
    if (peer->connections.Count() == 0 && found != peers_.end() && found->second == peer) {
        peers_.erase(found);
    }
}

// By user: many processes with few connections each are as greedy as one with many.
std::optional<uid_t> OwnerPeers::GreediestUser()
{
    const MutexLock lock(mutex_);
    std::map<uid_t, int> sums;
    for (const auto& [key, peer] : peers_) {
        sums[peer->user] += peer->connections.Count();
    }
    const auto greediest = std::max_element(
        sums.begin(), sums.end(),
        [](const auto& left, const auto& right) { return left.second < right.second; });
    return greediest != sums.end() ? std::optional<uid_t>(greediest->first) : std::nullopt;
}

void OwnerPeers::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void OwnerPeers::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

// The sums are left where they are: connections that were left behind still take from them.
void OwnerPeers::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    static auto* const leftUsers = new std::list<std::map<uid_t, PeerUser>>;
    leftUsers->push_back(std::exchange(users_, {}));
    peers_.clear();
}

}  // namespace hosted
