// What the chip already holds: the sectors that a load can leave out, and the comparison of flash with files. The
// target is asked first; what it cannot tell is read over the link.
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/Failure.h"
#include "host/plan/Unchanged.h"
#include "host/session/Session.h"
#include "host/target/FlashQuestion.h"

namespace flash::host {
namespace {

constexpr char kDigestImage[] = "digest.elf";

std::vector<WantedRange> RangesOf(const std::vector<DataRun>& runs) {
    std::vector<WantedRange> ranges;
    std::for_each(runs.begin(), runs.end(), [&](const DataRun& run) { ranges.push_back({run.address, run.bytes}); });
    return ranges;
}

// The content of the last sector with the fields that the closing phase replaces.
DataRun AsClosed(DataRun content, const ClosingChanges& changes, const CcfgInfo& present, const CcfgLayout& layout) {
    const auto place = [&](const FieldLocation& field, const std::vector<std::uint8_t>& bytes) {
        const std::size_t offset = field.address - content.address;
        for (std::size_t i = 0; i < bytes.size() && offset + i < content.bytes.size(); ++i) {
            content.bytes[offset + i] = bytes[i];
        }
    };
    if (changes.ble || changes.retainBle) {
        place(layout.ble, changes.ble.value_or(present.ble).Bytes());
    }
    if (changes.ieee || changes.retainIeee) {
        place(layout.ieee, changes.ieee.value_or(present.ieee).Bytes());
    }
    if (changes.disableBootloader) {
        place(layout.bootloader, {0});
    }
    if (changes.disableDebug) {
        place(layout.debugPort, {0});
    }
    return content;
}

}  // namespace

std::optional<std::vector<bool>> Session::AskTarget(const std::vector<DataRun>& wanted) {
    RequireNotInterrupted(isInterrupted);
    const auto hasNoAnswer = [this](const char* why) {
        observer.Note(fmt::format("The target cannot say what flash holds, so it is read: {}", why));
    };
    try {
        services.TakeCoreOver();
        return AskWhatFlashHolds(probe, ReadRoutine(dataFolder / "arm" / kDigestImage), RangesOf(wanted));
    } catch (const RoutineError& error) {
        hasNoAnswer(error.what());
    } catch (const ProbeError& error) {
        hasNoAnswer(error.what());
    }
    return std::nullopt;
}

std::vector<bool> Session::FindHeld(const std::vector<DataRun>& wanted) {
    if (const auto held = AskTarget(wanted)) {
        return *held;
    }
    std::vector<bool> held;
    for (const DataRun& run : wanted) {
        RequireNotInterrupted(isInterrupted);
        held.push_back(reader.Bytes(run.address, static_cast<std::uint32_t>(run.bytes.size())) == run.bytes);
    }
    return held;
}

// ---- Loads

void Session::LeaveOutUnchanged(PlannedLoad& load, const CcfgInfo& ccfg) {
    const ClosingChanges& closing = load.options.closing;
    if (load.options.write == WriteChoice::All || load.options.erase == EraseChoice::All) {
        return;
    }
    WritePlan& plan = load.plan;
    const std::uint32_t sectorCount = plan.geometry.sectorCount;
    const SectorSet doubtful =
        interruptedLoads.AreKept() ? interruptedLoads.Sectors(ChipName(), sectorCount) : SectorSet(sectorCount);
    std::vector<DataRun> wanted;
    std::vector<std::uint32_t> sectors;
    for (const auto& [sector, content] :
         ContentsAfter(plan, plan.keepsCcfg ? std::optional(ccfg.address) : std::nullopt)) {
        const bool isClosed = closing.IsAny() && sector == sectorCount - 1;
        plan.sectors[sector].isDoubtful = doubtful.Contains(sector);
        // The protection that the closing phase leaves depends on what is written before.
        if (doubtful.Contains(sector) || (isClosed && closing.protect)) {
            continue;
        }
        wanted.push_back(content);
        sectors.push_back(sector);
        if (isClosed) {
            wanted.push_back(AsClosed(content, closing, ccfg, layout));
            sectors.push_back(sector);
        }
    }
    const std::vector<bool> held = FindHeld(wanted);
    SectorSet unchanged(sectorCount);
    for (std::size_t i = 0; i < held.size(); ++i) {
        if (held[i]) {
            unchanged.Add(sectors[i]);
        }
    }
    plan = LeaveOut(std::move(plan), unchanged);
}

// ---- Comparing with files

std::size_t Session::Verify(const ProgramImage& image, VerifyBy by) {
    RequireInside(image, 0, info.geometry.SizeBytes(), "flash");
    std::vector<DataRun> wanted;
    for (SectorContent& piece : CutAtSectors(image.Runs(), info.geometry.sectorSizeBytes)) {
        wanted.push_back(std::move(piece.content));
    }
    const auto held = by == VerifyBy::Target ? AskTarget(wanted) : std::nullopt;
    if (!held) {
        return reader.Compare(image.Runs(), image.ByteCount());
    }
    std::vector<DataRun> different;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (!(*held)[i]) {
            different.push_back(wanted[i]);
        }
    }
    if (!different.empty()) {
        reader.Compare(different, image.ByteCount());
        observer.Note("The target took some of flash for different, which reads as it should");
    }
    return image.ByteCount();
}

}  // namespace flash::host
