// A record of the client end whose level is off, at the place where it would be written.

#include <benchmark/benchmark.h>

#include "bench/codec_bench.h"
#include "client/client_unit.h"

namespace Ownerlink {
namespace {

void EmptyLoop(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::ClobberMemory();
    }
}

[[gnu::noinline]] void DoNothing(const char* text)
{
    benchmark::DoNotOptimize(text);
}

void EmptyCall(benchmark::State& state)
{
    const char* text = "a text";
    for (auto _ : state) {
        benchmark::DoNotOptimize(text);
        DoNothing(text);
    }
}

void RecordThatIsOff(benchmark::State& state)
{
    const char* text = "a text";
    for (auto _ : state) {
        benchmark::DoNotOptimize(text);
        CLIENT_LOG(kProgress, "text=%s", text);
    }
}

}  // namespace
}  // namespace Ownerlink

void bench::RegisterLog()
{
    benchmark::RegisterBenchmark(bench::kEmptyLoop, Ownerlink::EmptyLoop);
    benchmark::RegisterBenchmark("log: a call of an empty function", Ownerlink::EmptyCall);
    benchmark::RegisterBenchmark(bench::kRecordThatIsOff, Ownerlink::RecordThatIsOff);
}
