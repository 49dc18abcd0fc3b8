// Runs Google Benchmark with its repetitions shuffled, and takes its figures.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>

#include "bench/codec_bench.h"
#include "bench/rounds.h"

namespace bench {
namespace {

using Run = benchmark::BenchmarkReporter::Run;

class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                runs_[run.run_name.function_name].push_back(run);
            }
        }
    }
    const std::map<std::string, std::vector<Run>>& Runs() const { return runs_; }

private:
    std::map<std::string, std::vector<Run>> runs_;
};

double Counter(const Run& run, const char* name)
{
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? 0 : found->second.value;
}

Work WorkOf(const std::string& name, const std::vector<Run>& runs)
{
    std::vector<double> times;
    for (const Run& run : runs) {
        times.push_back(run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9);
    }
    Work work;
    work.name = name;
    work.nanoseconds = Median(times);
    work.slowest = *std::max_element(times.begin(), times.end());
    work.bytes = Counter(runs.front(), "bytes");
    work.items = Counter(runs.front(), "items");
    work.allocations = Counter(runs.front(), "allocations");
    return work;
}

}  // namespace

std::vector<Work> RunRegistered()
{
    std::vector<std::string> texts = {"ownerlink-bench", "--benchmark_repetitions=25",
                                      "--benchmark_enable_random_interleaving=true",
                                      "--benchmark_min_time=0.01"};
    std::vector<char*> arguments;
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::vector<Work> all;
    for (const auto& [name, runs] : collector.Runs()) {
        all.push_back(WorkOf(name, runs));
    }
    return all;
}

}  // namespace bench
