// The services that the plug-in calls, over a probe: properties, target access, the flashloader's image, messages.
// Faithful to the contract, and careful where the plug-in relies on it (docs/host-guide.md).
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "flashdevice/interface/IFlashHost.h"
#include "host/files/ElfFile.h"
#include "host/probe/Probe.h"
#include "host/services/Mailbox.h"
#include "host/services/Observer.h"
#include "host/settings/Settings.h"

namespace flash::host {

class PluginServices final : public IFlashHost {
public:
    // The image that the property DeviceFlashloaderFile names is looked for in `dataFolder`/arm. `isInterrupted` is
    // asked before each whole sector of data.
    PluginServices(Probe& probe, Settings& settings, Observer& observer, const std::filesystem::path& dataFolder,
                   std::uint32_t sectorSizeBytes, const std::atomic<bool>& isInterrupted);

    // Forgets what earlier operations reported, and says how many bytes the next one programs in which stage.
    void BeginOperation(Stage programStage, std::uint64_t programBytes);

    // Ends the stage in progress.
    void EndOperation();

    // Gives a running flashloader a bounded time to finish what is posted, then stops the core. A posted command that
    // nobody waited for and that failed is recorded.
    void Settle();
    bool IsFlashloaderRunning() const { return isFlashloaderRunning; }

    // What went wrong although the operation reported success: ReportError texts and unawaited commands.
    const std::vector<std::string>& Complaints() const { return complaints; }
    const std::vector<std::string>& Messages() const { return messages; }
    bool SawVerificationFailure() const { return sawVerificationFailure; }
    bool WasInterrupted() const { return wasInterrupted; }

    // The mailbox in words; null when no flashloader was loaded.
    std::optional<MailboxReport> ExplainMailbox();

    std::uint64_t ProgrammedBytes() const { return programmedBytes; }
    std::uint64_t CheckedBytes() const { return checkedBytes; }  // of these, compared by CRC on the target

    // IFlashHost, in slot order.
    const char* GetProperty(const char* name) override;
    const char* SetProperty(const char* name, const char* value) override;
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override;
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override;
    const char* RunTarget() override;
    void Reserved5() override {}
    const char* HaltTarget() override;
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override;
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override;
    void Reserved12() override {}
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override;
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    const char* ReportError(const char* text) override;
    const char* PrintMessage(const char* text) override;
    const char* GetDirectoryPath() override;
    const char* WaitMilliseconds(std::uint32_t milliseconds) override;
    void Reserved23() override {}
    void Reserved24() override {}
    void Reserved25() override {}
    void Reserved26() override {}
    const char* SelectCore(const char* name) override;

private:
    template <typename Work>
    const char* Guarded(Work work);

    void LoadImage(const std::filesystem::path& file);
    void WatchPost(std::uint32_t address, std::span<const std::uint8_t> bytes);
    void WatchStatus(std::uint32_t address, std::uint32_t value);
    void FinishBlock(const CommandBlockView& block);
    bool IsSafePoint(std::uint32_t address, std::size_t lengthBytes) const;
    void AwaitPending();
    void AwaitBlock(std::uint32_t index);
    void StartStage(Stage stage, std::uint64_t totalBytes);
    void FinishStage();

    Probe& probe;
    Settings& settings;
    Observer& observer;
    std::string directoryText;
    std::uint32_t sectorSizeBytes;
    const std::atomic<bool>& isInterrupted;

    std::string errorText;  // of the last failing call
    SymbolTable symbols;
    std::optional<MailboxSymbols> mailbox;
    bool isFlashloaderRunning = false;
    std::optional<CoreState> coreBeforeHalt;
    std::array<std::optional<CommandBlockView>, kBlockCount> pending;  // posted, not yet seen done
    std::optional<std::uint32_t> polledBlock;                          // whose status the plug-in found not done
    std::chrono::microseconds waited{};                                // for that block, through WaitMilliseconds

    std::vector<std::string> complaints;
    std::vector<std::string> messages;
    bool sawVerificationFailure = false;
    bool wasInterrupted = false;

    std::optional<Stage> stage;
    std::chrono::nanoseconds stageStart{};
    std::uint64_t stageBytes = 0;
    Stage programStage = Stage::Program;
    std::uint64_t programBytes = 0;
    std::uint64_t programmedBytes = 0;
    std::uint64_t checkedBytes = 0;
};

}  // namespace flash::host
