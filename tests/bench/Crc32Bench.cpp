// Bytes per second of the CRC that goes with every chunk when the user asks for verification.
#include <benchmark/benchmark.h>

#include <vector>

#include "flashdevice/programming/Crc32.h"

namespace {

void Crc32OfChunk(benchmark::State& state) {
    std::vector<std::uint8_t> chunk(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < chunk.size(); ++i) {
        chunk[i] = static_cast<std::uint8_t>(i * 31);
    }
    for ([[maybe_unused]] auto round : state) {
        benchmark::DoNotOptimize(flash::Crc32(chunk));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(Crc32OfChunk)->Arg(4096)->Arg(8192);

}  // namespace
