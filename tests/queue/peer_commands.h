// What a test peer does when it is told to.
#ifndef OWNERLINK_TESTS_QUEUE_PEER_COMMANDS_H
#define OWNERLINK_TESTS_QUEUE_PEER_COMMANDS_H

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// A command gets the words behind its name and gives the line that is answered.
using Words = std::vector<std::string>;
using Commands = std::map<std::string, std::function<std::string(const Words&)>>;

// The state that commands, hooks and callbacks share is changed under its lock; each change wakes
// those who wait for one.
struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
};

using PeerLock = std::unique_lock<std::mutex>;

inline std::string FailedWith(int error)
{
    return "failed " + std::to_string(error);
}

std::string Publish(const std::string& nameAndTimeOut);  // "NAME [MILLISECONDS]"
std::string Serve(const std::string& name);
Commands OwnerCommands();

std::string Subscribe(const std::string& name);
Commands SubscriberCommands();

#endif
