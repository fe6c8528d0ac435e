// A load of flash leaves nothing of what was in RAM, so what the client has put there before is put there again.
#include "apps/lumoflash/GdbServerChip.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "apps/lumoflash/FieldOptions.h"
#include "apps/lumoflash/GdbServerMonitor.h"
#include "apps/lumoflash/Texts.h"
#include "host/Failure.h"
#include "host/Words.h"
#include "host/plan/Dangers.h"

namespace flash::app {
namespace {

using host::DebugService;
using host::Failure;
using host::FailureKind;
using host::gdb::CoreStop;
using host::gdb::MemoryRegion;

constexpr std::uint32_t kWordBytes = 4;
constexpr std::uint64_t kRegionBytes = 0x2000'0000;  // in which the architecture divides the addresses
constexpr MemoryRegion kRom{MemoryRegion::Kind::Rom, 0x1000'0000, 0x1000'0000, 0};
constexpr std::uint32_t kSramRegion = 0x2000'0000;
constexpr std::uint32_t kRegionsOfData[] = {kSramRegion, 0x4000'0000, 0xE000'0000};

DebugService& DebuggerOf(host::Probe& probe) {
    if (DebugService* const service = probe.Debugging()) {
        return *service;
    }
    throw Failure(FailureKind::BadInput, fmt::format("{} cannot debug", probe.Describe()));
}

DebugService::BreakpointKind KindOf(host::gdb::request::BreakpointKind kind) {
    return kind == host::gdb::request::BreakpointKind::Hardware ? DebugService::BreakpointKind::Hardware
                                                                : DebugService::BreakpointKind::Software;
}

CoreStop StopOf(const host::DebugStop& stop) {
    switch (stop.cause) {
        case host::DebugStop::Cause::Breakpoint:
            return {CoreStop::Reason::Breakpoint, ""};
        case host::DebugStop::Cause::Interrupt:
            return {CoreStop::Reason::Interrupt, ""};
        default:
            return {CoreStop::Reason::Fault, stop.words};
    }
}

std::size_t ElementSize(std::uint32_t address, std::size_t length) {
    return address % kWordBytes == 0 && length % kWordBytes == 0 ? kWordBytes : 1;
}

}  // namespace

// ---- Memory and core

GdbServerChip::GdbServerChip(host::Connection& chipConnection, GdbServerObserver& serverObserver,
                             const Options& loadOptions)
    : connection(chipConnection),
      session(chipConnection.GetSession()),
      probe(chipConnection.GetProbe()),
      core(DebuggerOf(probe)),
      observer(serverObserver),
      options(loadOptions) {
    probe.SelectRoute("Cortex");
    probe.Halt();
}

// What is not in the map cannot be reached by a debugger, so registers are RAM to it.
std::vector<MemoryRegion> GdbServerChip::MemoryMap() {
    const host::FlashGeometry& geometry = session.Info().geometry;
    std::vector<MemoryRegion> map = {{MemoryRegion::Kind::Flash, 0, geometry.SizeBytes(), geometry.sectorSizeBytes},
                                     kRom};
    for (const std::uint32_t address : kRegionsOfData) {
        map.push_back({MemoryRegion::Kind::Ram, address, kRegionBytes, 0});
    }
    return map;
}

std::vector<std::uint8_t> GdbServerChip::ReadMemory(std::uint32_t address, std::uint32_t lengthBytes) {
    std::vector<std::uint8_t> bytes(lengthBytes);
    probe.ReadMemory(address, bytes, ElementSize(address, lengthBytes));
    return bytes;
}

void GdbServerChip::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    probe.WriteMemory(address, bytes, ElementSize(address, bytes.size()));
    if (address - kSramRegion < kRegionBytes) {
        for (std::uint32_t i = 0; i < bytes.size(); ++i) {
            ramBytes[address + i] = bytes[i];
        }
    }
}

void GdbServerChip::StandStill() {
    if (runsAlone) {
        core.Interrupt();
        runsAlone = false;
    }
}

// Debuggers take both stack pointers, or none of these registers.
std::vector<std::string> GdbServerChip::SystemRegisters() {
    std::vector<std::string> names = core.SystemRegisters();
    const bool hasStackPointers =
        names.size() >= 2 && names[0] == host::kSystemRegisters[0] && names[1] == host::kSystemRegisters[1];
    return hasStackPointers ? names : std::vector<std::string>();
}

std::uint32_t GdbServerChip::ReadRegister(std::uint32_t index) {
    StandStill();
    return core.ReadCoreRegister(index);
}

void GdbServerChip::WriteRegister(std::uint32_t index, std::uint32_t value) {
    StandStill();
    core.WriteCoreRegister(index, value);
}

bool GdbServerChip::InsertBreakpoint(host::gdb::request::BreakpointKind kind, std::uint32_t address) {
    return core.InsertBreakpoint(KindOf(kind), address);
}

void GdbServerChip::RemoveBreakpoint(host::gdb::request::BreakpointKind kind, std::uint32_t address) {
    core.RemoveBreakpoint(KindOf(kind), address);
}

void GdbServerChip::Resume() {
    ramBytes.clear();
    if (!runsAlone) {
        core.Resume();
    }
    runsAlone = false;
}

void GdbServerChip::LetRun() {
    Resume();
    runsAlone = true;
}

CoreStop GdbServerChip::Step() {
    StandStill();
    ramBytes.clear();
    core.Step();
    return {CoreStop::Reason::Step, ""};
}

std::optional<CoreStop> GdbServerChip::AwaitStop(std::chrono::nanoseconds bound) {
    const auto stop = core.AwaitStop(bound);
    return stop ? std::optional(StopOf(*stop)) : std::nullopt;
}

CoreStop GdbServerChip::Halt() {
    core.Interrupt();
    runsAlone = false;
    return {CoreStop::Reason::Interrupt, ""};
}

void GdbServerChip::Reset() {
    runsAlone = false;
    ramBytes.clear();
    core.Reset();
}

void GdbServerChip::Save() {
    if (host::StorageService* const storage = probe.Storage()) {
        storage->Save();
    }
}

// ---- Loading

namespace {

// Calls `work`, attended to, and puts a failure's fields into the user's words.
template <typename Work>
std::string Attended(GdbServerObserver& observer, host::gdb::Attention& attention, Work work) {
    struct Leaving {
        GdbServerObserver& observer;
        ~Leaving() { observer.Attend(nullptr); }
    } const leaving{observer};
    observer.Attend(&attention);
    try {
        return work();
    } catch (const Failure& failure) {
        throw std::runtime_error(InWords(failure.Text()));
    }
}

}  // namespace

std::string GdbServerChip::Load(const host::gdb::FlashLoad& load, host::gdb::Attention& attention) {
    StandStill();
    const auto ram = ramBytes;
    const std::string verdict = Attended(observer, attention, [&] { return Program(load); });
    Reset();
    PutBack(ram);
    return verdict;
}

void GdbServerChip::PutBack(const std::map<std::uint32_t, std::uint8_t>& ram) {
    for (auto byte = ram.begin(); byte != ram.end();) {
        const std::uint32_t address = byte->first;
        std::vector<std::uint8_t> run;
        for (; byte != ram.end() && byte->first == address + run.size(); ++byte) {
            run.push_back(byte->second);
        }
        WriteMemory(address, run);
    }
}

// A load that brings no CCFG has nothing to say about the chip's own, be it that its sector was erased for other bytes.
// Without any bytes it is no load: what was erased is meant to be.
std::uint32_t GdbServerChip::UnwrittenEnd(const host::gdb::FlashLoad& load) {
    const host::CcfgInfo ccfg = session.ReadCcfg();
    const bool bringsNone = load.WrittenEnd() != 0 && load.WrittenEnd() <= ccfg.address;
    return options.program.keepCcfg.value_or(bringsNone) ? ccfg.address : session.Info().geometry.SizeBytes();
}

std::string GdbServerChip::Program(const host::gdb::FlashLoad& load) {
    const bool isRetaining = options.program.erase == host::EraseChoice::Retain;
    host::ProgramImage image;
    for (const auto& run :
         load.Data(isRetaining ? host::gdb::ErasedRest::Kept : host::gdb::ErasedRest::Erased, UnwrittenEnd(load),
                   [this](std::uint32_t address, std::uint32_t length) { return session.Read(address, length); })) {
        image.Add(run.address, run.bytes, {"the debugger", ""});
    }
    if (image.IsEmpty()) {
        return "nothing was written, and erased sectors keep what they hold";
    }
    const std::chrono::nanoseconds start = probe.Now();
    const std::uint32_t sectorCount = session.Info().geometry.sectorCount;
    const host::PlannedLoad planned = session.Plan(image, ProgramOptionsFor(options, sectorCount));
    RequireAgreement(planned);
    try {
        const host::LoadResult result = session.Program(planned);
        Save();
        return VerdictText({0, ProgramVerdict(result, options.program.verification) + LeftOut(planned),
                            result.programmedBytes, probe.Now() - start});
    } catch (const Failure&) {
        Save();  // the file shows what the chip holds now
        throw;
    }
}

void GdbServerChip::RequireAgreement(const host::PlannedLoad& load) {
    const std::vector<std::string> dangers = FindDangers(load.options.closing, load.plan.expected, session.Layout());
    if (!dangers.empty() && !options.isAgreed) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}. Nothing was touched; a server that is started with --yes does it",
                                  fmt::join(dangers, ".\n")));
    }
    std::for_each(dangers.begin(), dangers.end(), [this](const std::string& danger) { observer.Warning(danger); });
}

// ---- Commands

std::string GdbServerChip::Monitor(const std::string& command, host::gdb::Attention& attention) {
    StandStill();
    if (command == "reset" || command == "reset halt" || command == "reset init" || command == "reset run") {
        Reset();
        if (command == "reset run") {
            LetRun();
        }
        return "";
    }
    if (command == "halt") {
        core.Interrupt();
        return "";
    }
    const std::string output =
        Attended(observer, attention, [&] { return RunMonitorCommand(command, connection, options); });
    if (command == "erase") {
        Save();
    }
    return output;
}

}  // namespace flash::app
