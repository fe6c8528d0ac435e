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

#include "host/files/ProgramImage.h"
#include "host/plan/WritePlan.h"
#include "host/services/Observer.h"
#include "host/services/PluginServices.h"
#include "host/session/Equipment.h"

namespace flash::host {

struct ChipInfo {
    FlashGeometry geometry{};
    std::string flashText, ramText, revisionText;  // as the plug-in published them
    std::string operations;
};

// The customer configuration area as it stands in flash.
struct CcfgInfo {
    std::uint32_t sizeBytes;  // 0 when the chip's own size field is not valid
    std::uint32_t address;    // its first byte, or the end of flash
    bool isBootloaderDisabled;
    bool isDebugDisabled;
    SectorSet protectedSectors;
};

// Changes of CCFG when a load ends, or by themselves.
struct ClosingChanges {
    bool retainBle = false;
    bool retainIeee = false;
    std::optional<std::string> ble;   // "AA:BB:CC:DD:EE:FF", most significant byte first
    std::optional<std::string> ieee;  // eight bytes
    std::optional<std::string> protectedSectors;
    bool disableBootloader = false;
    bool disableDebug = false;

    bool IsAny() const;
};

enum class Verification { Crc, ReadBack, None };

struct ProgramOptions {
    EraseChoice erase = EraseChoice::Necessary;
    std::string erasedSectors;  // with `Listed`
    bool keepCcfg = false;
    std::optional<std::string> skippedSectors;
    std::optional<std::uint8_t> skippedFill;
    Verification verification = Verification::Crc;
    ClosingChanges closing;
};

struct LoadResult {
    std::size_t programmedBytes = 0;  // whole sectors, as sent
    std::size_t fileBytes = 0;        // of these, the file's
    std::size_t verifiedBytes = 0;
    std::chrono::nanoseconds elapsed{};
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
    CcfgInfo ReadCcfg();

    // What a load of the image would do. Reads the chip, changes nothing. Refuses what cannot work.
    WritePlan Plan(const ProgramImage& image, const ProgramOptions& options);

    // Carries the plan out, for the same options.
    LoadResult Program(const WritePlan& plan, const ProgramOptions& options);

    // Compares flash with the image, byte by byte; returns the number of bytes compared.
    std::size_t Verify(const ProgramImage& image);

    std::vector<std::uint8_t> Read(std::uint32_t address, std::uint32_t lengthBytes);
    void EraseAll(bool keepCcfg);
    void EraseSectors(const std::string& pages);
    void BlankCheck();  // Failure (Difference) when flash is programmed

    std::string ReadAddress(AddressKind kind);
    void WriteAddress(AddressKind kind, const std::string& address);
    void ChangeCcfg(const ClosingChanges& changes);

private:
    // What must not be lost when an operation fails half-way. Later members lie over earlier ones.
    struct Kept {
        std::vector<std::uint8_t> lastSector;  // empty while the operation is to change it
        std::uint32_t ccfgAddress = 0;
        std::vector<std::uint8_t> ccfg;  // up to the end of flash; empty when it need not stay
        std::string ble, ieee;           // secondary addresses; "" when they need not stay

        bool IsAnything() const { return !lastSector.empty() || !ccfg.empty() || !ble.empty() || !ieee.empty(); }
    };

    // Runs one step of the plug-in to its real end: settled, without complaints. `bytes` are those it programs.
    void Operate(const std::string& attempt, Stage stage, std::uint64_t bytes, const std::function<void()>& work);
    [[noreturn]] void FailOperation(const std::string& attempt, const std::string& pluginText);
    void RequireNoComplaints(const std::string& attempt);
    void RequireNotInterrupted() const;

    FlashGeometry MeasuredGeometry() const;
    void ReadPieces(Stage stage, const std::vector<DataRun>& where,
                    const std::function<void(std::uint32_t, std::span<const std::uint8_t>)>& take);
    std::vector<std::uint8_t> ReadMemory(std::uint32_t address, std::uint32_t lengthBytes);
    std::string ReadAddressField(const std::string& key);
    CcfgInfo ReadCcfgToKeep();
    PlanRequest MakeRequest(const ProgramOptions& options);
    void RefuseContradictions(const PlanRequest& request, const ProgramOptions& options) const;
    void WarnAboutProtection(const WritePlan& plan);

    void SetProgramOptions(ScopedSettings& scope, const ProgramOptions& options, const WritePlan& plan);
    void SetClosing(ScopedSettings& scope, const ClosingChanges& changes);
    Kept Remember(const ProgramOptions& options);
    void Load(const WritePlan& plan, const ProgramOptions& options, ScopedSettings& scope);
    void RequireAllProgrammed(const WritePlan& plan, const ProgramOptions& options, const Kept& kept) const;
    void VerifyLoad(const WritePlan& plan, const ProgramOptions& options, const Kept& kept);
    void RequireKeptCcfg(const std::string& attempt, const Kept& kept);
    void AbandonLoad(const Kept& kept, ScopedSettings& scope);
    void KeepLastSector(Kept& kept);
    void OrPutBack(const Kept& kept, ScopedSettings& scope, const std::function<void()>& work);
    void PutBack(const Kept& kept, ScopedSettings& scope);
    std::vector<std::uint8_t> LastSectorWith(const Kept& kept);
    std::string LossOf(const Kept& kept) const;
    void WarnIfFails(const std::string& consequence, const std::function<void()>& work);
    void Close(const ClosingChanges& changes, ScopedSettings& scope);
    void CheckClosed(const ClosingChanges& changes, const Kept& kept);
    bool IsRestOfLastSectorAsItWas(const ClosingChanges& changes, const Kept& kept);
    std::size_t Compare(const std::vector<DataRun>& expected);

    Probe& probe;
    Settings& settings;
    const DeviceDescription& device;
    Observer& observer;
    const std::atomic<bool>& isInterrupted;
    PluginServices services;
    PluginDevice plugin;
    ChipInfo info;
};

}  // namespace flash::host
