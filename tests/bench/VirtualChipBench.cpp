// How fast the virtual chip is: real time for a load of all flash through the built module and the real flashloader.
#include <benchmark/benchmark.h>

#include "tests/system/integration/ChipOnBench.h"

namespace flash {
namespace {

void LoadIntoVirtualChip(benchmark::State& state, const test::ChipModel& model) {
    const test::Bytes data = test::Pattern(model.reference.Size(), 1);
    std::uint64_t instructions = 0;
    for (auto _ : state) {
        test::ChipOnBench bench(model);
        bench.Property("CrcVerify") = std::string("1");
        if (!bench.Load({{0, data}}).empty()) {
            state.SkipWithError("the load failed");
        }
        instructions += bench.chip.GetCounters().instructions;
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
    state.counters["instructions"] = benchmark::Counter(static_cast<double>(instructions), benchmark::Counter::kIsRate);
}
BENCHMARK_CAPTURE(LoadIntoVirtualChip, LumoD, test::kLumoD)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadIntoVirtualChip, LumoF, test::kLumoF)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace flash
