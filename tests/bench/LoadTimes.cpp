// How long a load of all of flash takes on the virtual chip, in its own time: through the plug-in, without and with the
// check by CRC, and with a loader that waits for each chunk before it sends the next. The bound is what link or flash
// need alone, whichever is longer.
//
// Usage: load_times PLUGIN DATA_FOLDER [--json]
#include <fmt/format.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "host/devices/DeviceDescription.h"
#include "host/files/ElfFile.h"
#include "host/files/ProgramFile.h"
#include "host/services/Mailbox.h"
#include "host/session/Session.h"
#include "host/virtual_chip/VirtualChipProbe.h"

namespace {

using namespace flash::host;
using flash::chip::Nanoseconds;
using Seconds = std::chrono::duration<double>;

constexpr std::uint32_t kEraseAndProgram = 3;

struct Times {
    Nanoseconds load, loadWithCrc, link, flash, singleBuffered;

    double OfBound() const { return Seconds(std::max(link, flash)) / Seconds(load); }
    double Gain() const { return Seconds(singleBuffered) / Seconds(load); }
};

// When the flashloader has been loaded and when the last sector was programmed.
class Stopwatch final : public Observer {
public:
    explicit Stopwatch(Probe& chipProbe) : probe(chipProbe) {}
    void StageStarted(Stage, std::uint64_t) override {}
    void StageAdvanced(Stage, std::uint64_t, Nanoseconds) override {}
    void StageFinished(Stage stage, std::uint64_t, Nanoseconds) override {
        if (stage == Stage::Load) {
            start = probe.Now();
        } else if (stage == Stage::Program) {
            end = probe.Now();
        }
    }
    void PluginMessage(const std::string&) override {}
    void PluginError(const std::string& text) override { throw std::runtime_error(text); }
    void Note(const std::string&) override {}
    void Warning(const std::string& text) override { throw std::runtime_error(text); }

    Nanoseconds Elapsed() const { return end - start; }

private:
    Probe& probe;
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

// Flash that must be erased before it can be programmed.
flash::chip::VirtualChip UsedChip(const DeviceDescription& device, std::uint64_t bytesPerSecond) {
    flash::chip::Settings settings = VirtualChipSettings(device);
    settings.timing.linkBytesPerSecond = bytesPerSecond;
    settings.initialFlash.assign(device.FlashSizeBytes() - 0x58, 0x00);
    return flash::chip::VirtualChip(settings);
}

// The link speed at which a sector takes as long on the link as in flash.
std::uint64_t BalancedSpeed(const DeviceDescription& device) {
    const flash::chip::Timing timing;
    const Nanoseconds flash = timing.sectorErase + timing.wordProgram * (device.sectorSizeBytes / 4);
    return static_cast<std::uint64_t>((device.sectorSizeBytes + kPostedBytes) /
                                      Seconds(flash - 2 * timing.linkLatency).count());
}

Nanoseconds LoadWithPlugin(const DeviceDescription& device, const PluginModule& plugin, const std::string& dataFolder,
                           Verification verification, VirtualChipProbe& probe) {
    Settings settings = DefaultSettings();
    settings.SetAll(device.properties);
    Stopwatch stopwatch(probe);
    const std::atomic<bool> isInterrupted{false};
    Session session(probe, settings, device, device.name, plugin, dataFolder, stopwatch, isInterrupted);
    ProgramImage image;
    image.Add(0, FullFlash(device), {"full flash", ""});
    ProgramOptions options;
    options.verification = verification;
    session.Program(session.Plan(image, options), options);
    session.Verify(image);
    return stopwatch.Elapsed();
}

// The same flashloader, the same commands, but never a chunk on its way while another is programmed.
Nanoseconds LoadSingleBuffered(const DeviceDescription& device, const std::string& dataFolder,
                               VirtualChipProbe& probe) {
    const std::string file = dataFolder + "/arm/" + device.properties.at("DeviceFlashloaderFile");
    const std::vector<std::uint8_t> content = LoadFile(file);
    const SymbolTable symbols = ReadElfSymbols(content, file);
    for (const DataRun& run : ReadElf(content, file).Runs()) {
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
        const std::uint32_t words[] = {address, device.sectorSizeBytes, kEraseAndProgram, 0, kStatusNotDone};
        probe.WriteMemory(buffers[chunk % 2], std::span(data).subspan(address, device.sectorSizeBytes), 1);
        probe.WriteMemory(block, {reinterpret_cast<const std::uint8_t*>(words), sizeof words}, 1);
        probe.PauseWhileWordIs(block + kStatusOffset, kStatusNotDone, std::chrono::seconds(2));
        if (ReadBlock(probe, {blocks, {buffers[0], buffers[1]}, std::nullopt}, chunk % 2).status != 0) {
            throw std::runtime_error("the single-buffered load failed");
        }
    }
    return probe.Now() - start;
}

Times Measure(const DeviceDescription& device, const PluginModule& plugin, const std::string& dataFolder,
              std::uint64_t bytesPerSecond) {
    VirtualChipProbe probe(UsedChip(device, bytesPerSecond));
    Times times{};
    times.load = LoadWithPlugin(device, plugin, dataFolder, Verification::None, probe);
    VirtualChipProbe checked(UsedChip(device, bytesPerSecond));
    times.loadWithCrc = LoadWithPlugin(device, plugin, dataFolder, Verification::Crc, checked);
    const flash::chip::Timing timing = probe.Chip().GetSettings().timing;
    const flash::chip::Counters& counters = probe.Chip().GetCounters();
    times.flash = device.sectorCount * timing.sectorErase + counters.wordsProgrammed * timing.wordProgram;
    const double perChunk =
        static_cast<double>(device.sectorSizeBytes + kPostedBytes) / static_cast<double>(bytesPerSecond);
    times.link =
        device.sectorCount * (2 * timing.linkLatency + std::chrono::duration_cast<Nanoseconds>(Seconds(perChunk)));
    VirtualChipProbe single(UsedChip(device, bytesPerSecond));
    times.singleBuffered = LoadSingleBuffered(device, dataFolder, single);
    return times;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3) {
        fmt::print(stderr, "Usage: load_times PLUGIN DATA_FOLDER [--json]\n");
        return 2;
    }
    const bool isJson = argumentCount > 3 && std::string(arguments[3]) == "--json";
    const std::string dataFolder = arguments[2];
    const PluginModule plugin(arguments[1]);
    const std::vector<DeviceDescription> devices = LoadDeviceDescriptions(dataFolder + "/devices");
    nlohmann::json results = nlohmann::json::array();
    if (!isJson) {
        fmt::print("{:<12}{:>14}{:>10}{:>10}{:>10}{:>10}{:>10}{:>10}{:>10}{:>12}\n", "device", "link B/s", "load s",
                   "link s", "flash s", "bound s", "of bound", "single s", "gain", "with crc s");
    }
    for (const char* name : {"LumoD1F128", "LumoF2F352"}) {
        const DeviceDescription& device = FindDevice(devices, name);
        const std::uint64_t balanced = BalancedSpeed(device);
        for (const std::uint64_t speed : {balanced / 4, balanced, balanced * 4}) {
            const Times times = Measure(device, plugin, dataFolder, speed);
            const double bound = Seconds(std::max(times.link, times.flash)).count();
            if (!isJson) {
                fmt::print("{:<12}{:>14}{:>10.3f}{:>10.3f}{:>10.3f}{:>10.3f}{:>10.3f}{:>10.3f}{:>10.2f}{:>12.3f}\n",
                           name, speed, Seconds(times.load).count(), Seconds(times.link).count(),
                           Seconds(times.flash).count(), bound, times.OfBound(), Seconds(times.singleBuffered).count(),
                           times.Gain(), Seconds(times.loadWithCrc).count());
            }
            results.push_back({{"device", name},
                               {"linkBytesPerSecond", speed},
                               {"isBalanced", speed == balanced},
                               {"loadSeconds", Seconds(times.load).count()},
                               {"linkSeconds", Seconds(times.link).count()},
                               {"flashSeconds", Seconds(times.flash).count()},
                               {"boundSeconds", bound},
                               {"ofBound", times.OfBound()},
                               {"singleBufferedSeconds", Seconds(times.singleBuffered).count()},
                               {"gain", times.Gain()},
                               {"loadWithCrcSeconds", Seconds(times.loadWithCrc).count()}});
        }
    }
    if (isJson) {
        fmt::print("{}\n", results.dump(2));
    }
    return 0;
}
