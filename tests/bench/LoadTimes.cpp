// How long a load of all of flash takes on the virtual chip, in its own time:
// through the plug-in, without and with the check by CRC, and with a loader
// that waits for each chunk before it sends the next. The bound is what link or
// flash need alone, whichever is longer, and the way of the first chunk. Then how
// long it takes when the chip holds the image already, all of it or in part.
//
// Fails when a load has become slower than it must be.
//
// Usage: load_times PLUGIN DATA_FOLDER [--json]
#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"
#include "host/services/Mailbox.h"
#include "tests/bench/Aims.h"
#include "tests/bench/ChangedLoads.h"
#include "tests/bench/LoadBench.h"

namespace {

using namespace flash::bench;
using namespace flash::host;
using flash::chip::Nanoseconds;

struct Times {
    Nanoseconds load, loadWithCrc, chunkOnLink, link, flash, singleBuffered;

    // Nothing can be programmed before the first chunk is there.
    Seconds Bound() const { return std::max(link, flash) + chunkOnLink; }
    double OfBound() const { return Bound() / Seconds(load); }
    double OfBoundWithCrc() const { return Bound() / Seconds(loadWithCrc); }
    double CostOfCrc() const { return Seconds(loadWithCrc) / Seconds(load); }
    double Gain() const { return Seconds(singleBuffered) / Seconds(load); }
};

// When the flashloader has been loaded and when the last sector was programmed.
class Stopwatch final : public StrictObserver {
public:
    explicit Stopwatch(const flash::chip::VirtualChip& virtualChip) : chip(virtualChip) {}
    void StageFinished(Stage stage, std::uint64_t, Nanoseconds) override {
        if (stage == Stage::Load) {
            start = chip.Now();
        } else if (stage == Stage::Program) {
            end = chip.Now();
        }
    }

    Nanoseconds Elapsed() const { return end - start; }

private:
    const flash::chip::VirtualChip& chip;
    Nanoseconds start{}, end{};
};

std::vector<std::uint8_t> FullFlash(const DeviceDescription& device) {
    std::vector<std::uint8_t> bytes(device.FlashSizeBytes());
    std::uint32_t state = 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    // CCFG stays as erased, so that the chip is never locked.
    std::fill(bytes.end() - 0x58, bytes.end(), std::uint8_t{0xFF});
    return bytes;
}

// The link speed at which a sector takes as long on the link as in flash.
std::uint64_t BalancedSpeed(const DeviceDescription& device) {
    const flash::chip::Timing timing;
    const Nanoseconds flash = timing.sectorErase + timing.wordProgram * (device.sectorSizeBytes / 4);
    return static_cast<std::uint64_t>((device.sectorSizeBytes + kPostedBytes) /
                                      Seconds(flash - 2 * timing.linkLatency).count());
}

Nanoseconds LoadWithPlugin(const Installed& installed, const DeviceDescription& device, Verification verification,
                           const Chip& chip) {
    Stopwatch stopwatch(*chip);
    ProgramImage image;
    image.Add(0, FullFlash(device), {"full flash", ""});
    ProgramOptions options;
    options.verification = verification;
    WithSession(installed, device, chip, stopwatch, [&](Session& session) {
        session.Program(session.Plan(image, options));
        session.Verify(image);
    });
    return stopwatch.Elapsed();
}

// The same flashloader, the same commands, but never a chunk on its way while
// another is programmed.
Nanoseconds LoadSingleBuffered(const Installed& installed, const DeviceDescription& device, const Chip& chip) {
    VirtualChipProbe probe(chip);
    const std::filesystem::path file = installed.dataFolder / "arm" / device.properties.at("DeviceFlashloaderFile");
    const std::vector<std::uint8_t> content = LoadFile(file);
    const SymbolTable symbols = ReadElfSymbols(content, file.string());
    for (const DataRun& run : ReadElf(content, file.string()).Runs()) {
        probe.WriteMemory(run.address, run.bytes, 1);
    }
    const std::uint32_t blocks = symbols.Find("g_cfg").value();
    const std::uint32_t buffers[] = {symbols.Find("g_buf1").value(), symbols.Find("g_buf2").value()};
    probe.WriteRegister(kProgramCounterRegister, symbols.Find("ResetISR").value() & ~1u);
    probe.Run();
    const std::vector<std::uint8_t> data = FullFlash(device);
    const auto start = probe.Now();
    for (std::uint32_t address = 0, chunk = 0; address < data.size(); address += device.sectorSizeBytes, ++chunk) {
        const std::uint32_t block = blocks + chunk % 2 * kBlockBytes;
        const std::uint32_t words[] = {address, device.sectorSizeBytes, kCommandEraseAndProgram, 0, kStatusNotDone};
        probe.WriteMemory(buffers[chunk % 2], std::span(data).subspan(address, device.sectorSizeBytes), 1);
        probe.WriteMemory(block, {reinterpret_cast<const std::uint8_t*>(words), sizeof words}, 1);
        probe.PauseWhileWordIs(block + kStatusOffset, kStatusNotDone, std::chrono::seconds(2));
        if (ReadBlock(probe, {blocks, {buffers[0], buffers[1]}}, chunk % 2).status != 0) {
            throw std::runtime_error("the single-buffered load failed");
        }
    }
    return probe.Now() - start;
}

Times Measure(const Installed& installed, const DeviceDescription& device, std::uint64_t bytesPerSecond) {
    const Chip chip = UsedChip(device, bytesPerSecond);
    Times times{};
    times.load = LoadWithPlugin(installed, device, Verification::None, chip);
    times.loadWithCrc = LoadWithPlugin(installed, device, Verification::Crc, UsedChip(device, bytesPerSecond));
    const flash::chip::Timing timing = chip->GetSettings().timing;
    const flash::chip::Counters& counters = chip->GetCounters();
    times.flash = device.sectorCount * timing.sectorErase + counters.wordsProgrammed * timing.wordProgram;
    const double perChunk =
        static_cast<double>(device.sectorSizeBytes + kPostedBytes) / static_cast<double>(bytesPerSecond);
    times.chunkOnLink = 2 * timing.linkLatency + std::chrono::duration_cast<Nanoseconds>(Seconds(perChunk));
    times.link = device.sectorCount * times.chunkOnLink;
    times.singleBuffered = LoadSingleBuffered(installed, device, UsedChip(device, bytesPerSecond));
    return times;
}

nlohmann::json Row(const DeviceDescription& device, std::uint64_t bytesPerSecond, const Times& times) {
    return {{"device", device.name},
            {"linkBytesPerSecond", bytesPerSecond},
            {"isBalanced", bytesPerSecond == BalancedSpeed(device)},
            {"loadSeconds", Seconds(times.load).count()},
            {"linkSeconds", Seconds(times.link).count()},
            {"flashSeconds", Seconds(times.flash).count()},
            {"boundSeconds", times.Bound().count()},
            {"ofBound", times.OfBound()},
            {"ofBoundWithCrc", times.OfBoundWithCrc()},
            {"costOfCrc", times.CostOfCrc()},
            {"singleBufferedSeconds", Seconds(times.singleBuffered).count()},
            {"gain", times.Gain()},
            {"loadWithCrcSeconds", Seconds(times.loadWithCrc).count()}};
}

void PrintHead() {
    fmt::print("{:<12}{:>10}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>10}\n", "device", "link B/s", "load s",
               "link s", "flash s", "bound s", "of bound", "crc s", "of bound", "crc cost", "single s", "gain");
}

void PrintRow(const DeviceDescription& device, std::uint64_t bytesPerSecond, const Times& times) {
    fmt::print("{:<12}{:>10}{:>9.3f}{:>9.3f}{:>9.3f}{:>9.3f}{:>9.3f}{:>9.3f}{:>9.3f}{:>9.4f}{:>9.3f}{:>10.2f}\n",
               device.name, bytesPerSecond, Seconds(times.load).count(), Seconds(times.link).count(),
               Seconds(times.flash).count(), times.Bound().count(), times.OfBound(), Seconds(times.loadWithCrc).count(),
               times.OfBoundWithCrc(), times.CostOfCrc(), Seconds(times.singleBuffered).count(), times.Gain());
}

std::vector<std::string> MissedAims(const DeviceDescription& device, std::uint64_t bytesPerSecond, const Times& times) {
    constexpr double kLeastOfBound = 0.98, kMostCostOfCrc = 1.02;
    std::vector<std::string> missed;
    if (times.OfBound() < kLeastOfBound) {
        missed.push_back(fmt::format("{} at {} B/s: {:.3f} of the bound, at least {} is wanted", device.name,
                                     bytesPerSecond, times.OfBound(), kLeastOfBound));
    }
    if (times.CostOfCrc() > kMostCostOfCrc) {
        missed.push_back(fmt::format("{} at {} B/s: the check takes a load {:.4f} times as long, at most {} is wanted",
                                     device.name, bytesPerSecond, times.CostOfCrc(), kMostCostOfCrc));
    }
    return missed;
}

class Report {
public:
    Report(Installed installedFiles, bool isForMachines) : installed(std::move(installedFiles)), isJson(isForMachines) {
        if (!isJson) {
            PrintHead();
        }
    }

    void Add(const DeviceDescription& device, LinkSpeed link, std::uint64_t speed) {
        const Times times = Measure(installed, device, speed);
        if (!isJson) {
            PrintRow(device, speed, times);
        }
        loads.push_back(Row(device, speed, times));
        Miss(MissedAims(device, speed, times));
        for (const CaseResult& result : MeasureChangedLoads(installed, device, speed)) {
            changed.push_back(result);
            changedLoads.push_back(AsJson(result));
            Miss(MissedAims(result, link, device.FlashSizeBytes()));
        }
    }

    // Whether every aim is reached.
    bool End() const {
        if (isJson) {
            fmt::print("{}\n", nlohmann::json{{"loads", loads}, {"changedLoads", changedLoads}}.dump(2));
        } else {
            PrintTable(changed);
        }
        for (const std::string& text : missed) {
            fmt::print(stderr, "too slow: {}\n", text);
        }
        return missed.empty();
    }

private:
    void Miss(const std::vector<std::string>& texts) { missed.insert(missed.end(), texts.begin(), texts.end()); }

    Installed installed;
    bool isJson;
    nlohmann::json loads = nlohmann::json::array(), changedLoads = nlohmann::json::array();
    std::vector<CaseResult> changed;
    std::vector<std::string> missed;
};

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3) {
        fmt::print(stderr, "Usage: load_times PLUGIN DATA_FOLDER [--json]\n");
        return 2;
    }
    const Installed installed{arguments[1], arguments[2]};
    const std::vector<DeviceDescription> devices = LoadDeviceDescriptions(installed.dataFolder / "devices").devices;
    Report report(installed, argumentCount > 3 && std::string(arguments[3]) == "--json");
    for (const char* name : {"LumoD1F128", "LumoF2F352"}) {
        const DeviceDescription& device = FindDevice(devices, name);
        const std::uint64_t balanced = BalancedSpeed(device);
        report.Add(device, LinkSpeed::Slow, balanced / 4);
        report.Add(device, LinkSpeed::Balanced, balanced);
        report.Add(device, LinkSpeed::Fast, balanced * 4);
    }
    return report.End() ? 0 : 1;
}
