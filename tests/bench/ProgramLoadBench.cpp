// The plug-in's own cost per chunk: whole images and single chunks written through its interface, with and without CRC.
// The rate `chunks` counts chunks per second; `per_chunk` is its inverse, the time of one.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string_view>
#include <vector>

#include "flashdevice/interface/IFlashDevice2.h"
#include "tests/support/StubHost.h"

namespace {

constexpr std::int64_t kSectorSize = 4096;

// Does nothing, and its target is always done: only the plug-in's own work is measured.
class IdleHost final : public flash::test::StubHost {
public:
    const char* crcVerify = nullptr;  // "1": with CRC

    const char* GetProperty(const char* name) override {
        const std::string_view key = name;
        if (key == "FlashPageToggle") {
            return "0";
        }
        if (key == "FlashEraseSetting") {
            return "Necessary Sectors Only";
        }
        if (key == "DeviceFlashloaderFile") {
            return "flashloader.elf";
        }
        return key == "CrcVerify" ? crcVerify : nullptr;
    }
    // All zero: a status of 0 is success.
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t, std::uint16_t,
                           std::size_t elementSize) override {
        std::memset(buffer, 0, count * elementSize);
        return nullptr;
    }
};

void Write(benchmark::State& state, const char* crcVerify) {
    IdleHost host;
    host.crcVerify = crcVerify;
    flash::IFlashDevice2* device = nullptr;
    if (CreateFlashDevice2("LumoD1", "", "", &host, &device) != nullptr) {
        state.SkipWithError("no device");
        return;
    }
    const std::int64_t chunks = state.range(0);
    const std::vector<unsigned char> image(static_cast<std::size_t>(chunks * kSectorSize), 0x5A);
    for ([[maybe_unused]] auto round : state) {
        if (device->Write(image.data(), 0, static_cast<std::uint32_t>(image.size())) != nullptr) {
            state.SkipWithError("the write failed");
            break;
        }
    }
    device->Release();
    const auto total = static_cast<double>(static_cast<std::int64_t>(state.iterations()) * chunks);
    state.counters["chunks"] = benchmark::Counter(total, benchmark::Counter::kIsRate);
    state.counters["per_chunk"] = benchmark::Counter(total, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void WriteWithoutCrc(benchmark::State& state) { Write(state, nullptr); }
void WriteWithCrc(benchmark::State& state) { Write(state, "1"); }
BENCHMARK(WriteWithoutCrc)->Arg(1)->Arg(32)->Arg(128);
BENCHMARK(WriteWithCrc)->Arg(1)->Arg(32)->Arg(128);

}  // namespace
