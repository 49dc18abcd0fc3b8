// The daemon that introduces iceoryx's ends to each other, and how a process joins it.
#ifndef OWNERLINK_BENCH_ICEORYX_DAEMON_H
#define OWNERLINK_BENCH_ICEORYX_DAEMON_H

#include <string>

namespace bench {

// Starts it unless this process has done so before. It outlives all else of iceoryx here, which
// says farewell to it.
void StartIceoryxDaemon();

// Once in a process, under a name that no other bears. Throws no error: without a daemon iceoryx
// ends the process.
void JoinIceoryx(const std::string& name);

// What a process leaves that joined as `name` and was terminated: its socket and its lock.
void RemoveIceoryxLeftovers(const std::string& name);

// The daemon's role. Prints "ready" and serves until it is terminated.
void ServeIceoryx();

}  // namespace bench

#endif
