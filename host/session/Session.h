// A connection to one chip through one plug-in, and the work on it. Each operation sets the options that it needs, and
// only these, for its own time; what the plug-in only reports counts as a failure; a failure comes with what the
// flashloader answered. Everything throws Failure.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/ccfg/Ccfg.h"
#include "host/ccfg/ClosingChanges.h"
#include "host/ccfg/Kept.h"
#include "host/files/ProgramImage.h"
#include "host/plan/WritePlan.h"
#include "host/services/Observer.h"
#include "host/services/PluginServices.h"
#include "host/session/ChipReader.h"
#include "host/session/Equipment.h"
#include "host/session/InterruptedLoads.h"
#include "host/settings/ProgramOptions.h"

namespace flash::host {

struct ChipInfo {
    FlashGeometry geometry{};
    std::string flashText, ramText, revisionText;  // as the plug-in published them
    std::string operations;
};

struct LoadResult {
    std::size_t programmedBytes = 0;  // whole sectors, as sent
    std::size_t fileBytes = 0;        // of these, the file's
    std::size_t verifiedBytes = 0;    // those of sectors that were right already among them
    std::uint32_t writtenSectors = 0;
    std::uint32_t unchangedSectors = 0;
    std::chrono::nanoseconds elapsed{};
};

// Flash is compared with files by a routine on the target, or by reading all of it.
enum class VerifyBy { Target, Link };

// A load that has been checked, with what CCFG and the fields of the last sector held at that time.
struct PlannedLoad {
    ProgramOptions options;
    WritePlan plan;
    LastSector before;
    bool isFilesCcfgLeftOut = false;  // because the chip's is kept
};

// Of the plug-in's NotifyPhase.
inline constexpr std::int64_t kPhaseLoadStarts = 1;
inline constexpr std::int64_t kPhaseLoadFinished = 2;

enum class AddressKind { PrimaryBle, SecondaryBle, PrimaryIeee, SecondaryIeee };

class Session {
public:
    // Makes the plug-in's device and identifies the chip. All three must outlive the session.
    Session(Equipment& equipment, Observer& observer, const std::atomic<bool>& isInterrupted);

    const ChipInfo& Info() const { return info; }
    const CcfgLayout& Layout() const { return layout; }
    CcfgInfo ReadCcfg();

    // What a load of the image would do. Reads the chip, or lets it look itself, which takes its core and some of its
    // SRAM; changes nothing in flash. Refuses what cannot work.
    PlannedLoad Plan(const ProgramImage& image, const ProgramOptions& options);
    LoadResult Program(const PlannedLoad& load);

    // Compares flash with the image; returns the number of bytes compared. Differences are told with the first one.
    std::size_t Verify(const ProgramImage& image, VerifyBy by = VerifyBy::Target);

    std::vector<std::uint8_t> Read(std::uint32_t address, std::uint32_t lengthBytes);
    void EraseAll();
    void EraseAllButCcfg();
    void EraseSectors(const SectorSet& sectors);
    WritePlan PlanErase(const std::optional<SectorSet>& sectors, bool keepCcfg);  // missing for all of flash

    // Failure (Difference) when flash is programmed. All of it by the plug-in, a part by reading it.
    void BlankCheck();
    void BlankCheck(std::uint32_t address, std::uint32_t lengthBytes);

    std::string ReadAddress(AddressKind kind);

    // Factory data, read by this side: no flashloader, nothing of the plug-in.
    RadioAddress PrimaryAddress(AddressKind kind);
    void WriteAddress(AddressKind kind, const RadioAddress& address);
    void ChangeCcfg(const ClosingChanges& changes);

private:
    // What the chip holds already.
    std::string ChipName() { return PrimaryAddress(AddressKind::PrimaryIeee).Text(); }
    std::optional<std::vector<bool>> AskTarget(const std::vector<DataRun>& wanted);
    std::vector<bool> FindHeld(const std::vector<DataRun>& wanted);
    void LeaveOutUnchanged(PlannedLoad& load, const CcfgInfo& ccfg);
    void NoteBegin(const SectorSet& touched);
    void NoteEnd(const SectorSet& touched);
    void KeepNote(const std::string& otherwise, const std::function<void()>& work);

    // The order of a load.
    void Write(const PlannedLoad& load, ScopedSettings& scope);
    void RequireAllProgrammed(const PlannedLoad& load, const Kept& kept) const;
    void VerifyLoad(const PlannedLoad& load, const Kept& kept);
    void PrepareClosing(const ClosingChanges& changes, Kept& kept, ScopedSettings& scope);
    void EndLoad(const std::string& attempt, ScopedSettings& scope);
    void RequireChanged(const ClosingChanges& changes, const Kept& kept);
    void AbandonLoad(const Kept& kept, ScopedSettings& scope);

    void RequireInFlash(std::uint32_t address, std::uint32_t lengthBytes) const;
    void EraseAllBut(const Kept& kept);
    void RequireKeptCcfg(const std::string& attempt, const Kept& kept);
    void OrPutBack(const Kept& kept, ScopedSettings& scope, const std::function<void()>& work);
    void PutBack(const Kept& kept, ScopedSettings& scope);

    // What the user is told besides.
    void WarnUnlessThereIsCcfg(const CcfgInfo& ccfg);
    void WarnAboutPlan(const PlannedLoad& load, const CcfgInfo& ccfg);
    void NoteRetained(const Kept& kept);
    void WarnIfFails(const std::string& consequence, const std::function<void()>& work);

    Probe& probe;
    Settings& settings;
    const DeviceDescription& device;
    Observer& observer;
    const std::atomic<bool>& isInterrupted;
    ChipReader reader;
    std::filesystem::path dataFolder;
    InterruptedLoads interruptedLoads;
    PluginServices services;
    PluginDevice plugin;
    ChipInfo info;
    CcfgLayout layout{};
};

}  // namespace flash::host
