// The services that the plug-in calls, over a probe: properties, target access, the flashloader's image, messages.
// Faithful to the contract, and careful where the plug-in relies on it (docs/host-guide.md).
#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>

#include "flashdevice/interface/IFlashHost.h"
#include "host/probe/Probe.h"
#include "host/services/Flashloader.h"
#include "host/services/Observer.h"
#include "host/services/OperationRecord.h"
#include "host/settings/Settings.h"

namespace flash::host {

class PluginServices final : public IFlashHost {
public:
    // What they serve with.
    struct Means {
        Probe& probe;
        Settings& settings;
        const std::filesystem::path& dataFolder;  // its `arm` holds what the property DeviceFlashloaderFile names
        std::uint32_t sectorSizeBytes;
    };

    // All must outlive the services, but for the path. `isInterrupted` is asked before each whole sector of data.
    PluginServices(const Means& means, Observer& observer, const std::atomic<bool>& isInterrupted);

    // Forgets what earlier operations reported, and says how many bytes the next one programs in which stage.
    void BeginOperation(Stage programStage, std::uint64_t programBytes) { record.Begin(programStage, programBytes); }

    // Ends the stage in progress.
    void EndOperation() { record.End(); }

    // Gives a running flashloader a bounded time to finish what is posted, then stops the core. A posted command that
    // nobody waited for and that failed is recorded.
    void Settle() { flashloader.Settle(record); }
    bool IsFlashloaderRunning() const { return flashloader.IsRunning(); }

    // What the operation has done and told, so far.
    const OperationRecord& Record() const { return record; }

    // The mailbox in words; nothing when no flashloader was loaded.
    std::optional<MailboxReport> ExplainMailbox() { return flashloader.Explain(); }

    // Before the first program of ours runs on the target, and once only: the core is reset and stands, whatever used
    // it before. Where the probe cannot reset it, it is only halted.
    void TakeCoreOver();

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
    const char* Refuse(const FieldText& text);
    bool IsSafePoint(std::uint32_t address, std::size_t lengthBytes) const;

    Probe& probe;
    Settings& settings;
    Observer& observer;
    std::string directoryText;
    std::uint32_t sectorSizeBytes;
    const std::atomic<bool>& isInterrupted;

    std::string errorText;  // of the last failing call
    bool isCoreOurs = false;
    Flashloader flashloader;
    OperationRecord record;
};

}  // namespace flash::host
