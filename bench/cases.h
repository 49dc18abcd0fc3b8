// The timed cases by subject. Each throws when a call does not succeed.
#ifndef OWNERLINK_BENCH_CASES_H
#define OWNERLINK_BENCH_CASES_H

#include <vector>

#include "bench/rounds.h"
#include "bench/world.h"

namespace bench {

inline constexpr const char* kKeptExchange = "bare: kept connection";
inline constexpr const char* kThreeThreads = "bare: three threads";

void AddFloors(std::vector<Case>& cases, World& world);
void AddExchanges(std::vector<Case>& cases, World& world);
// The peers' exchanges, as further floors of the last case.
void AddPeerExchanges(std::vector<Case>& cases, World& world);
void AddIdleExchanges(std::vector<Case>& cases, World& world);
void AddSystemState(std::vector<Case>& cases);
void AddChanges(std::vector<Case>& cases, World& world);
void AddQueries(std::vector<Case>& cases);

// The main calls alone, for a run with another log.
void AddPublicExchange(std::vector<Case>& cases);
void AddUsualChanges(std::vector<Case>& cases, World& world, size_t count, int callsPerRound);

void Require(bool condition, const char* what);

}  // namespace bench

#endif
