#include "tests/bench/ChangedLoads.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace flash::bench {
namespace {

using host::DeviceDescription;
using host::ProgramOptions;
using host::Session;
using host::VerifyBy;
using host::WriteChoice;
using Bytes = std::vector<std::uint8_t>;

// Like a linked application: code, tables of constants, a gap that nothing was linked to. CCFG stays erased.
Bytes Application(const DeviceDescription& device) {
    Bytes bytes(device.FlashSizeBytes());
    std::uint32_t state = 7;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        state = state * 1664525 + 1013904223;
        const bool isTable = i / 1000 % 8 == 7;
        bytes[i] = isTable ? static_cast<std::uint8_t>(i / 1000) : static_cast<std::uint8_t>(state >> 24);
    }
    const auto gap = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2);
    std::fill_n(gap, device.sectorSizeBytes / 2, std::uint8_t{0xFF});
    std::fill(bytes.end() - 0x58, bytes.end(), std::uint8_t{0xFF});
    return bytes;
}

Bytes WithAnotherSector(Bytes bytes, std::uint32_t sectorBytes) {
    bytes[bytes.size() / sectorBytes / 3 * sectorBytes + 100] ^= 1;
    return bytes;
}

Bytes WithFourBytesInserted(Bytes bytes) {
    std::copy_backward(bytes.begin() + 0x100, bytes.end() - 0x5C, bytes.end() - 0x58);
    std::fill_n(bytes.begin() + 0x100, 4, std::uint8_t{0x5A});
    return bytes;
}

struct Work {
    Seconds time{};
    std::uint64_t linkBytes = 0, programmedBytes = 0, sectorErases = 0, wordsProgrammed = 0;
};

class Runs {
public:
    Runs(const Installed& installedFiles, const DeviceDescription& part, std::uint64_t bytesPerSecond)
        : installed(installedFiles), device(part), speed(bytesPerSecond) {}

    Work Program(const Chip& chip, const Bytes& wanted, WriteChoice write) const {
        ProgramOptions options;
        options.write = write;
        return Measure(chip, [&](Session& session) {
            return session.Program(session.Plan(Image(wanted), options)).programmedBytes;
        });
    }

    Work Verify(const Bytes& held, VerifyBy by) const {
        return Measure(Holding(held), [&](Session& session) {
            session.Verify(Image(held), by);
            return std::size_t{0};
        });
    }

    Chip Used() const { return UsedChip(device, speed); }
    Chip Holding(const Bytes& content) const { return ChipWith(device, speed, content); }

private:
    static host::ProgramImage Image(const Bytes& bytes) {
        host::ProgramImage image;
        image.Add(0, bytes, {"application", ""});
        return image;
    }

    Work Measure(const Chip& chip, const std::function<std::size_t(Session&)>& work) const {
        Work measured;
        StrictObserver observer;
        WithSession(installed, device, chip, observer, [&](Session& session) {
            const chip::Counters before = chip->GetCounters();
            const auto start = chip->Now();
            measured.programmedBytes = work(session);
            measured.time = chip->Now() - start;
            const chip::Counters& after = chip->GetCounters();
            measured.linkBytes = after.bytesRead + after.bytesWritten - before.bytesRead - before.bytesWritten;
            measured.wordsProgrammed = after.wordsProgrammed - before.wordsProgrammed;
            measured.sectorErases = Sum(after.sectorErases) - Sum(before.sectorErases);
        });
        return measured;
    }

    static std::uint64_t Sum(const std::vector<std::uint64_t>& counts) {
        return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    }

    const Installed& installed;
    const DeviceDescription& device;
    std::uint64_t speed;
};

}  // namespace

std::vector<CaseResult> MeasureChangedLoads(const Installed& installed, const DeviceDescription& device,
                                            std::uint64_t bytesPerSecond) {
    const Runs runs(installed, device, bytesPerSecond);
    const Bytes first = Application(device);
    const Bytes oneSector = WithAnotherSector(first, device.sectorSizeBytes);
    const Bytes moved = WithFourBytesInserted(first);
    std::vector<CaseResult> results;
    const auto add = [&](const char* name, const Work& work, const char* against, const Work& other) {
        const std::uint64_t data = std::min(work.programmedBytes, work.linkBytes);
        results.push_back({device.name, bytesPerSecond, name, work.time, against, other.time, work.linkBytes,
                           work.linkBytes - data, work.sectorErases, work.wordsProgrammed});
    };
    const Work firstAll = runs.Program(runs.Used(), first, WriteChoice::All);
    const Work firstLoad = runs.Program(runs.Used(), first, WriteChoice::Changed);
    add("first load", firstLoad, "--write all", firstAll);
    add("same again", runs.Program(runs.Holding(first), first, WriteChoice::Changed), "first load", firstLoad);
    const Work one = runs.Program(runs.Holding(first), oneSector, WriteChoice::Changed);
    add("one sector", one, "first load", firstLoad);
    add("one sector", one, "--write all", runs.Program(runs.Holding(first), oneSector, WriteChoice::All));
    add("four bytes inserted", runs.Program(runs.Holding(first), moved, WriteChoice::Changed), "--write all",
        runs.Program(runs.Holding(first), moved, WriteChoice::All));
    add("blank chip", runs.Program(runs.Holding({}), first, WriteChoice::Changed), "--write all",
        runs.Program(runs.Holding({}), first, WriteChoice::All));
    add("verify", runs.Verify(first, VerifyBy::Target), "verify by link", runs.Verify(first, VerifyBy::Link));
    return results;
}

void PrintTable(const std::vector<CaseResult>& results) {
    fmt::print("\n{:<12}{:>10}  {:<20}{:>9}  {:<16}{:>9}{:>8}{:>10}{:>9}{:>8}{:>8}\n", "device", "link B/s", "case",
               "s", "against", "s", "gain", "link B", "no data", "erases", "words");
    for (const CaseResult& row : results) {
        fmt::print("{:<12}{:>10}  {:<20}{:>9.4f}  {:<16}{:>9.4f}{:>8.3f}{:>10}{:>9}{:>8}{:>8}\n", row.device,
                   row.linkBytesPerSecond, row.name, row.time.count(), row.against, row.otherTime.count(), row.Gain(),
                   row.linkBytes, row.besidesData, row.sectorErases, row.wordsProgrammed);
    }
}

nlohmann::json AsJson(const CaseResult& result) {
    return {{"device", result.device},
            {"linkBytesPerSecond", result.linkBytesPerSecond},
            {"case", result.name},
            {"seconds", result.time.count()},
            {"against", result.against},
            {"otherSeconds", result.otherTime.count()},
            {"gain", result.Gain()},
            {"linkBytes", result.linkBytes},
            {"besidesDataBytes", result.besidesData},
            {"sectorErases", result.sectorErases},
            {"wordsProgrammed", result.wordsProgrammed}};
}

}  // namespace flash::bench
