// Calls over a pipe to another process, and their floor.
#ifndef OWNERLINK_BENCH_PIPE_CASES_H
#define OWNERLINK_BENCH_PIPE_CASES_H

#include <string>
#include <vector>

#include "bench/rounds.h"

namespace bench {

void AddPipeCalls(std::vector<Case>& cases);

// The other end, in a process of its own: answers 4 KiB with 4 KiB over two inherited sockets, one
// a pipe and one bare. Prints "ready" and returns when the pipe has ended.
void ServePipeCalls(const std::string& pipeSocket, const std::string& bareSocket);

}  // namespace bench

#endif
