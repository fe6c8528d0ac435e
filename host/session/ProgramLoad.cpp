// A program load from plan to closing phase.
#include <fmt/format.h>

#include <algorithm>

#include "host/Failure.h"
#include "host/Words.h"
#include "host/plan/CcfgLoss.h"
#include "host/plan/Contradictions.h"
#include "host/plan/Garbling.h"
#include "host/session/Operate.h"
#include "host/session/Session.h"
#include "host/settings/EraseSetting.h"
#include "host/settings/OptionProperties.h"

namespace flash::host {
namespace {

PlanRequest RequestFor(const ProgramOptions& options, const FlashGeometry& geometry, const CcfgInfo& ccfg) {
    const bool keepsCcfg = options.keepCcfg.value_or(false) && ccfg.sizeBytes != 0;
    return {geometry,
            options.erase,
            options.erasedSectors,
            options.skippedSectors,
            options.skippedFill,
            keepsCcfg ? std::optional(ccfg.address) : std::nullopt};
}

SectorSet ProtectedThatAreTouched(const WritePlan& plan, const SectorSet& isProtected) {
    SectorSet touched(plan.geometry.sectorCount);
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        const SectorPlan& sector = plan.sectors[index];
        if (isProtected.Contains(index) && (sector.isWritten || (sector.isErased && plan.erase != EraseChoice::All))) {
            touched.Add(index);
        }
    }
    return touched;
}

// What a failure on the way may leave half done.
SectorSet SectorsTouched(const PlannedLoad& load) {
    const std::uint32_t sectorCount = load.plan.geometry.sectorCount;
    SectorSet touched(sectorCount);
    for (std::uint32_t index = 0; index < sectorCount; ++index) {
        const bool isClosed = load.options.closing.IsAny() && index == sectorCount - 1;
        if (load.plan.sectors[index].isWritten || load.plan.sectors[index].isErased || isClosed) {
            touched.Add(index);
        }
    }
    return touched;
}

// What the files have for CCFG while the chip's own is kept.
bool LeavesOutCcfg(const WritePlan& plan, const ProgramImage& image, const CcfgInfo& ccfg) {
    const auto& [lastAddress, lastSegment] = *image.Segments().rbegin();
    return plan.keepsCcfg && plan.ExpectedBytes() + plan.AlreadyRightBytes() < image.ByteCount() &&
           lastAddress + lastSegment.bytes.size() > ccfg.address;
}

// The list of sectors to erase is that of the plan.
ProgramOptions AsPlanned(const PlannedLoad& load) {
    ProgramOptions options = load.options;
    if (options.erase == EraseChoice::Listed) {
        options.erasedSectors = load.plan.Sectors(&SectorPlan::isErased);
        options.erase = options.erasedSectors.IsEmpty() ? EraseChoice::None : EraseChoice::Listed;
    }
    return options;
}

}  // namespace

// ---- The plan

PlannedLoad Session::Plan(const ProgramImage& image, const ProgramOptions& options) {
    RequireInside(image, 0, info.geometry.SizeBytes(), "flash");
    PlannedLoad load{options, {}, reader.ReadFields(layout)};
    const CcfgInfo ccfg = DecodeCcfg(load.before, layout);
    load.options.keepCcfg = options.keepCcfg.value_or(WouldLoseCcfg(image, options, ccfg, info.geometry));
    if (options.keepCcfg.value_or(false)) {
        WarnUnlessThereIsCcfg(ccfg);
    }
    RefuseContradictions(options, info.geometry);
    if (options.erase == EraseChoice::All && !options.skippedSectors.IsEmpty()) {
        observer.Warning("Pages are skipped, so only the sectors that are written get erased, not all");
    }
    const auto readFlash = [this](std::uint32_t address, std::uint32_t length) {
        return reader.Bytes(address, length);
    };
    const PlanRequest request = RequestFor(load.options, info.geometry, ccfg);
    load.plan = MakeWritePlan(image.Runs(), request, readFlash);
    load.plan.replacesCcfg = ReplacesCcfg(load.plan, image, ccfg);
    if (load.plan.writes.empty()) {
        throw Failure(FailureKind::BadInput, "Nothing is left to program: everything in the file is skipped");
    }
    RefuseGarbling(load.plan, request.keptCcfgAddress, readFlash);
    if (!options.keepCcfg && load.plan.keepsCcfg) {
        observer.Warning("The load brings no CCFG, so the chip's own is kept; " + FieldText(Field::ReplacedCcfg) +
                         " would give it up");
    }
    LeaveOutUnchanged(load, ccfg);
    load.isFilesCcfgLeftOut = LeavesOutCcfg(load.plan, image, ccfg);
    WarnAboutPlan(load, ccfg);
    return load;
}

void Session::WarnUnlessThereIsCcfg(const CcfgInfo& ccfg) {
    if (ccfg.sizeBytes == 0) {
        observer.Warning("The chip holds no valid CCFG, so there is none to keep");
    }
}

void Session::WarnAboutPlan(const PlannedLoad& load, const CcfgInfo& ccfg) {
    if (load.isFilesCcfgLeftOut) {
        observer.Warning("The file has data for CCFG, which is not programmed because the chip's own is kept");
    }
    const SectorSet touched = ProtectedThatAreTouched(load.plan, ccfg.protectedSectors);
    if (!touched.IsEmpty()) {
        observer.Warning(fmt::format("The chip protects {}, which the load touches", Listed("page", touched.Text())));
    }
}

// ---- The load

LoadResult Session::Program(const PlannedLoad& load) {
    const ClosingChanges& closing = load.options.closing;
    const bool isVerified = load.options.verification != Verification::None;
    Kept kept = KeptByLoad(load.before, layout, load.options.keepCcfg.value_or(false), closing);
    NoteRetained(kept);
    RequireNotInterrupted(isInterrupted);
    const auto start = probe.Now();
    const SectorSet touched = SectorsTouched(load);
    NoteBegin(touched);
    ScopedSettings scope(settings);
    scope.SetAll(PropertiesOf(AsPlanned(load)));
    Operate(services, "Starting the load", Stage::Program, 0, [this] { plugin.NotifyPhase(kPhaseLoadStarts); });
    try {
        Write(load, scope);
        RequireAllProgrammed(load, kept);
        VerifyLoad(load, kept);
        if (closing.IsAny()) {
            PrepareClosing(closing, kept, scope);
        }
        EndLoad(closing.IsAny() ? "Changing CCFG" : "Ending the load", scope);
        if (closing.IsAny() && isVerified) {
            RequireChanged(closing, kept);
        }
    } catch (const Failure&) {
        AbandonLoad(kept, scope);
        throw;
    }
    NoteEnd(touched);
    const WritePlan& plan = load.plan;
    return {plan.WrittenBytes(),
            plan.ExpectedBytes(),
            isVerified ? plan.ExpectedBytes() + plan.AlreadyRightBytes() : 0,
            plan.Sectors(&SectorPlan::isWritten).Count(),
            plan.Sectors(&SectorPlan::isUnchanged).Count(),
            probe.Now() - start};
}

void Session::NoteBegin(const SectorSet& touched) {
    if (!touched.IsEmpty()) {
        KeepNote("Should this load fail, the next one will not know of it; let it write all",
                 [&] { interruptedLoads.Begin(ChipName(), touched); });
    }
}

void Session::NoteEnd(const SectorSet& touched) {
    if (!touched.IsEmpty()) {
        KeepNote("The next load will take this one for failed", [&] { interruptedLoads.Finish(touched); });
    }
}

// A load is no worse without its note, and whoever is told can do without it.
void Session::KeepNote(const std::string& otherwise, const std::function<void()>& work) {
    try {
        if (interruptedLoads.AreKept()) {
            work();
        }
    } catch (const Failure& failure) {
        observer.Warning(otherwise + ": " + failure.Text());
    }
}

void Session::NoteRetained(const Kept& kept) {
    if (kept.ble) {
        observer.Note(fmt::format("Retaining the BLE address {}", kept.ble->Text()));
    }
    if (kept.ieee) {
        observer.Note(fmt::format("Retaining the IEEE address {}", kept.ieee->Text()));
    }
}

void Session::Write(const PlannedLoad& load, ScopedSettings& scope) {
    const std::vector<DataRun>& writes = load.plan.writes;
    if (writes.empty()) {
        return;
    }
    Operate(services, "Programming", Stage::Program, load.plan.WrittenBytes(), [&] {
        for (const DataRun& run : writes) {
            plugin.Write(run.bytes.data(), run.address, static_cast<std::uint32_t>(run.bytes.size()));
            if (load.plan.erase == EraseChoice::Listed) {
                // Each write would erase the listed sectors again, and with them what the last one programmed.
                scope.Set("FlashEraseSetting", EraseSettingText(EraseChoice::None));
            }
        }
        if (load.options.verification == Verification::ReadBack && plugin.HandlesVerification(writes.front().address)) {
            observer.Note("The plug-in decides what is programmed or checks it; only what was sent is compared");
        }
    });
}

// A bank erase that cannot start makes the plug-in drop the data and report success.
void Session::RequireAllProgrammed(const PlannedLoad& load, const Kept& kept) const {
    const OperationRecord& record = services.Record();
    const std::size_t written = load.plan.WrittenBytes();
    if (written == 0) {
        return;
    }
    if (record.ProgrammedBytes() < written) {
        throw Failure(FailureKind::Operation,
                      fmt::format("Programming: reported as done, but the flashloader programmed {} of {} bytes",
                                  record.ProgrammedBytes(), written));
    }
    const std::size_t unchecked = load.plan.sectors.back().isWritten ? kept.ccfg.size() : 0;
    if (load.options.verification == Verification::Crc && record.CheckedBytes() + unchecked < written) {
        throw Failure(FailureKind::Operation, fmt::format("Programming: only {} of {} bytes were checked by CRC; try ",
                                                          record.CheckedBytes(), written) +
                                                  FieldText(Field::Verification) + " readback");
    }
}

void Session::VerifyLoad(const PlannedLoad& load, const Kept& kept) {
    if (load.options.verification == Verification::ReadBack) {
        reader.Compare(load.plan.expected, load.plan.ExpectedBytes());
    }
    if (load.options.verification != Verification::None) {
        RequireKeptCcfg("Programming", kept);
    }
}

void Session::RequireKeptCcfg(const std::string& attempt, const Kept& kept) {
    const auto length = static_cast<std::uint32_t>(kept.ccfg.size());
    if (length != 0 && reader.Bytes(info.geometry.SizeBytes() - length, length) != kept.ccfg) {
        throw Failure(FailureKind::Difference, attempt + ": the kept CCFG was not put back as it was");
    }
}

// The load is over without its end, and no other change is made.
void Session::AbandonLoad(const Kept& kept, ScopedSettings& scope) {
    PutBack(kept, scope);
    WarnIfFails("Ending the load after that failure", [&] { EndLoad("Ending the load", scope); });
}

// ---- The closing phase

// Every change of CCFG erases the last sector and programs it again.
void Session::PrepareClosing(const ClosingChanges& changes, Kept& kept, ScopedSettings& scope) {
    const LastSector before = reader.ReadLastSector(layout);
    KeepLastSector(kept, before, layout);
    ClosingChanges sent = changes;
    if (sent.protect) {
        // The plug-in replaces the protection; sectors that are protected stay so.
        sent.protect->Add(DecodeCcfg(before, layout).protectedSectors);
    }
    scope.SetAll(PropertiesOf(sent));
}

void Session::EndLoad(const std::string& attempt, ScopedSettings& scope) {
    scope.SwitchOff(WriteOptions());  // the kept CCFG would be put back over the changed one
    Operate(services, attempt, Stage::Close, info.geometry.sectorSizeBytes,
            [this] { plugin.NotifyPhase(kPhaseLoadFinished); });
}

void Session::RequireChanged(const ClosingChanges& changes, const Kept& kept) {
    if (const char* undone = FindUndone(changes, kept, reader.ReadLastSector(layout), layout)) {
        throw Failure(FailureKind::Difference, fmt::format("Changing CCFG: {} is not what was asked for", undone));
    }
}

}  // namespace flash::host
