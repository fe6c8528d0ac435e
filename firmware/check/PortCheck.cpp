#include "firmware/check/PortCheck.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "firmware/crc32.h"

namespace {

constexpr std::uint32_t kMostSectorBytes = 8192;
constexpr std::uint64_t kHostWaits = 2'000'000'000;  // nanoseconds
constexpr std::size_t kMostText = 1000;

std::array<std::array<std::uint8_t, kMostSectorBytes>, 2> buffers;
std::array<std::uint8_t, kMostSectorBytes> scratch;
std::array<std::uint32_t, kGuardWords> stackGuard;
std::string failures;

}  // namespace

extern "C" {
extern const Workspace g_workspace;
const Workspace g_workspace = {
    ModelSectorBytes(), {buffers[0].data(), buffers[1].data()}, scratch.data(), stackGuard.data()};

void ModelPowerIsLost() { throw flash::check::PowerLoss{}; }
}

namespace flash::check {

bool isQuick = false;

Loader::Loader() {
    ModelBegin();
    Load();
}

Loader::~Loader() {
    Expect(ModelRulesBroken(), 0, "rules of the controller that were broken");
    Expect(ModelWatchdogBites(), 0, "bites of the watchdog");
}

std::uint32_t Loader::Load() { return BeginLoad(&state, &g_workspace); }

Answer Loader::Run(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t crc) {
    ::CommandBlock block = {address, length, command, crc, kStatusNotDone, 0};
    const std::uint64_t start = ModelNanoseconds();
    const std::uint32_t status = RunCommand(&state, &block, buffers[0].data());
    Expect(ModelNanoseconds() - start < kHostWaits, 1, "command " + std::to_string(command) + " ends in 2 s");
    return {status, block.address};
}

Answer Loader::Program(std::uint32_t command, std::uint32_t address, const Bytes& chunk) {
    std::copy(chunk.begin(), chunk.end(), buffers[0].begin());
    const auto length = static_cast<std::uint32_t>(chunk.size());
    return Run(command, address, length, Crc32(chunk.data(), length));
}

void Expect(std::uint64_t found, std::uint64_t expected, const std::string& what) {
    if (found != expected && failures.size() < kMostText) {
        char text[64];
        std::snprintf(text, sizeof text, ": expected 0x%llX, found 0x%llX", static_cast<unsigned long long>(expected),
                      static_cast<unsigned long long>(found));
        failures += "\n    " + what + text;
    }
}

void ExpectFlash(const Bytes& expected, const std::string& what) {
    if (std::memcmp(ModelFlash(), expected.data(), expected.size()) != 0) {
        const auto differs = std::mismatch(expected.begin(), expected.end(), ModelFlash()).first - expected.begin();
        Expect(static_cast<std::uint64_t>(differs), expected.size(), what + ": first byte of flash that is wrong");
    }
}

std::string TakeFailures() { return std::exchange(failures, {}); }

Bytes Flash() { return Bytes(ModelFlash(), ModelFlash() + ModelFlashBytes()); }

Bytes Pattern(std::uint32_t length, std::uint32_t seed) {
    Bytes bytes(length);
    for (std::uint32_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 37 + seed * 101 + (i >> 8));
    }
    return bytes;
}

void FillFlash(std::uint32_t address, std::uint32_t length, std::uint8_t value) {
    ModelPlace(address, Bytes(length, value).data(), length);
}

std::string Name(std::uint32_t command, std::uint32_t address, std::size_t length) {
    char text[80];
    std::snprintf(text, sizeof text, "command 0x%X at 0x%X, %zu bytes", command, address, length);
    return text;
}

}  // namespace flash::check
