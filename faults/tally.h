// All requests of a trial and how they ended: nothing may be missing, and nothing unforeseen among
// it.
#ifndef OWNERLINK_FAULTS_TALLY_H
#define OWNERLINK_FAULTS_TALLY_H

#include <cstdint>
#include <map>
#include <set>
#include <string>

// "answered=3 ioctl:EPIPE=1 slowest=12" as numbers by word.
std::map<std::string, int64_t> Parse(const std::string& results);

// What a phase of a trial may end with, and how long a request in it may take.
struct Foreseen {
    std::set<std::string> outcomes;
    int64_t requests = 0;
    int64_t limitMs = 0;
};

class Tally {
public:
    // Throws a std::runtime_error that says what is wrong with `results`.
    void Take(const std::string& results, const Foreseen& foreseen);
    void Add(const std::string& outcome) { ++counts_[outcome]; }

    std::string Text() const;
    int64_t SlowestMs() const { return slowestMs_; }

private:
    std::map<std::string, int64_t> counts_;
    int64_t slowestMs_ = 0;
};

#endif
