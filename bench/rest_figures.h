// What the library takes of a machine when nothing happens: processor time and memory.
#ifndef OWNERLINK_BENCH_REST_FIGURES_H
#define OWNERLINK_BENCH_REST_FIGURES_H

#include <chrono>
#include <string>
#include <vector>

namespace bench {

struct RestFigure {
    std::string name;
    double value = 0;
    double aim = 0;  // the value must stay below it; 0: a floor, which has none
    std::string unit;
};

std::string LineOf(const RestFigure& figure);
RestFigure RestFigureFrom(const std::string& line);  // throws on a line of another kind

// Watches idle processes for so long, each after the other.
std::vector<RestFigure> MeasureRest(std::chrono::milliseconds duration);

void PrintRest(const std::vector<RestFigure>& figures);

// A manager that watches three owners: prints "ready" once it does, and never returns.
[[noreturn]] void ServeAsWatchingManager();

// The floor of that: as many sleeps, and a bare exchange where it looks at an owner.
[[noreturn]] void ServeAsBareWatch(const std::string& path);

// Becomes `program`. Throws if it cannot.
[[noreturn]] void BecomeProgram(const std::string& program, const std::string& argument);

}  // namespace bench

#endif
