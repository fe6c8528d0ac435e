#include "tests/system/hardware_faults/JobBench.h"

#include <algorithm>

namespace flash::test {
namespace {

using std::chrono::microseconds;

// The chip's timeline grows; a new chip now and then keeps it short.
constexpr std::size_t kPlacesPerBench = 200;

// Little memory and short erases: nothing here depends on how long they take, and the core polls meanwhile.
chip::Settings SmallChip(const Job& job) {
    chip::Settings settings = FactorySettings(*job.model);
    settings.controller = job.controller;
    settings.sectorCount = kJobSectors;
    settings.ramSizeCode = settings.generation == chip::Generation::LumoF ? 0 : 3;
    settings.initialFlash = job.initialFlash;
    settings.timing.sectorErase = microseconds(500);
    settings.timing.bankErase = microseconds(800);
    settings.timing.linkBytesPerSecond = 20'000'000;
    settings.timing.linkLatency = microseconds(2);
    return settings;
}

}  // namespace

JobBench::JobBench(const Job& work) : job(work) { MakeBench(); }

void JobBench::MakeBench() {
    bench = std::make_unique<ChipOnBench>(*job.model, SmallChip(job));
    usualSettings = bench->host.properties;
}

void JobBench::Place(const Bytes& flash) {
    if (++placed % kPlacesPerBench == 0) {
        MakeBench();
    }
    bench->chip.DisarmAll();
    bench->chip.PowerOff();
    bench->chip.PlaceInFlash(0, flash);
    bench->chip.PowerOn();
}

std::string JobBench::Run() {
    bench->host.properties = usualSettings;
    for (const auto& [name, value] : job.settings) {
        bench->Property(name) = value;
    }
    bench->host.errors.clear();
    std::string error = bench->Initialize();
    if (!error.empty()) {
        return error;
    }
    return Failures(job.operation.empty() ? bench->Load(job.segments) : bench->Execute(job.operation));
}

std::string JobBench::Repeat() {
    if (!job.hostKeeps.empty()) {
        std::string error = PutBack();
        if (!error.empty()) {
            return error;
        }
        bench->chip.PowerCycle();  // the old protection holds from the next power-up on
    }
    return Run();
}

std::string JobBench::PutBack() {
    bench->host.properties = usualSettings;
    bench->host.errors.clear();
    std::vector<Segment> copies;
    for (const std::uint32_t sector : job.hostKeeps) {
        const auto first = job.initialFlash.begin() + job.Sector(sector).start;
        copies.push_back({job.Sector(sector).start, {first, first + job.SectorBytes()}});
    }
    return Failures(bench->Load(copies));
}

// What is only reported counts, too, and what a command answered for which nobody waited.
std::string JobBench::Failures(std::string error) const {
    if (error.empty() && !bench->host.errors.empty()) {
        return bench->host.errors.front();
    }
    const bool canLook = bench->chip.IsPowered();  // what a dead chip says must be the plug-in's own report
    if (error.empty() && canLook && (bench->host.BlockStatus(0) != 0 || bench->host.BlockStatus(1) != 0)) {
        return "The last command failed.";
    }
    return error;
}

std::size_t JobBench::Faults() const {
    const auto& events = bench->chip.Timeline();
    return static_cast<std::size_t>(std::ranges::count(events, chip::EventKind::Fault, &chip::Event::kind));
}

std::string JobBench::ReadBack(const std::vector<ByteRange>& ranges, const Bytes& expected) {
    for (const ByteRange& range : ranges) {
        Bytes found(range.length);
        bench->chip.ReadMemory(range.start, found);
        const auto wanted = expected.begin() + range.start;
        const auto difference = std::ranges::mismatch(found, std::span(wanted, wanted + range.length)).in1;
        if (difference != found.end()) {
            return "Flash differs at " + std::to_string(range.start + (difference - found.begin()));
        }
    }
    return "";
}

}  // namespace flash::test
