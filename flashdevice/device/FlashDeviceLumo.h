// The device: one Lumo chip behind a debugger host. The class is the place where the state of all subsystems meets;
// each member function is defined in the folder of the subsystem that owns it, which the groups below name. A
// generation
// (`FlashDeviceLumoDor`, `FlashDeviceLumoFen`) adds only its constants and the five pure operations.
// Addresses are target addresses; flash starts at 0. Failures are exceptions whose text is for the user.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "flashdevice/device/FlashUtil.h"
#include "flashdevice/interface/IFlashHost.h"

namespace flash {

struct CcfgData;
enum class EraseMode : std::uint32_t;
enum class Command : std::uint32_t;
struct CommandBlock;
struct MemoryField;
struct SecondaryAddressOptions;

// What `verboseState` holds before the host's setting is read.
inline constexpr std::uint32_t kVerboseUnread = 0xFFFF'FFFF;

// The one register that the generations know by name: bits 31 to 16 hold the size of CCFG in bytes.
inline constexpr char kCcfgSizeRegisterName[] = "CCFG_SIZE_AND_DIS_FLAGS";

class FlashDeviceLumo {
public:
    FlashDeviceLumo(const FlashDeviceLumo&) = delete;
    FlashDeviceLumo& operator=(const FlashDeviceLumo&) = delete;

    // The constants and pure operations of a generation (device/FlashDeviceLumoDor.cpp, FlashDeviceLumoFen.cpp).
    virtual ~FlashDeviceLumo();
    virtual std::uint32_t GetRamSize(std::uint32_t sizeCode) const = 0;          // bytes
    virtual std::uint32_t GetRegisterAddress(std::string name) const = 0;        // throws for an unknown name
    virtual std::uint32_t GetSectorOffset(std::uint32_t address) const = 0;      // bytes into the sector
    virtual std::uint32_t GetSectorStart(std::uint32_t address) const = 0;       // address of the sector
    virtual std::uint32_t GetErasedFlashChecksum(std::uint32_t size) const = 0;  // throws for an unknown size

    // Start-up (operations/DeviceStartUp.cpp, which also has the constructor)
    void Initialize();
    std::shared_ptr<FlashUtil> GetFlashUtil() const { return flashUtil; }

    // Named operations (operations/OperationDispatch.cpp)
    void ExecuteOperation(const std::string& operation);

    // Geometry in bytes, measured at the first need (device/Geometry.cpp)
    std::uint32_t MeasuredFlashSize();

    // Programming (programming/ProgramPipeline.cpp)
    void ProgramData(const std::uint8_t* data, std::uint32_t address, std::uint32_t length);
    bool HandlesVerification();

    // What happens at the edges of an operation (operations/Options.cpp)
    void OnFlashPhase(std::uint32_t phase);

protected:
    // The second and third text of the host are not used by any generation.
    FlashDeviceLumo(std::string name, const std::string& secondText, const std::string& thirdText,
                    IFlashHost* flashHost);

    // Host services (device/HostWrappers.cpp). Each throws the host's error text.
    IFlashHost& Host() const;
    std::uint32_t ReadWord(std::uint32_t address);
    void ReadBytes(std::uint8_t* begin, std::uint8_t* end, std::uint32_t address);
    void WriteBytes(const std::uint8_t* begin, const std::uint8_t* end, std::uint32_t address);
    std::string ReadProperty(const char* name);
    bool IsOptionOn(const char* name);          // when the host has no such property it is off
    bool IsRequiredOptionOn(const char* name);  // when the host has no such property it is an error
    void WriteProperty(const char* name, const std::string& value);
    void Run();
    void Halt();
    void ReportErrorText(const std::string& text);
    std::string DirectoryPath();
    bool IsVerbose();
    void PrintFormatted(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Runs `work`. When it fails, prints what `explain` returns with the host's text, and fails with the short
    // `failure`.
    template <typename Work, typename Explain>
    void RunOrExplain(const char* failure, Work work, Explain explain) {
        try {
            work();
        } catch (const std::runtime_error& error) {
            PrintFormatted("%s\nError: %s\n", explain().c_str(), error.what());
            throw std::runtime_error(failure);
        }
    }
    std::uint32_t LookUpSymbol(const char* name);

    // Identification (device/Identification.cpp)
    bool IdentifyDevice();
    std::uint32_t ReadIdCode();
    void PrintUnknownRevision(std::uint32_t code);
    std::string RevisionNumber() const;  // "major.minor"

    // Geometry (device/Geometry.cpp)
    void MeasureFlash();
    void ReadRamSize();
    void PublishDeviceInfo();

    // Flashloader link (mailbox/FlashloaderLoading.cpp, mailbox/CommandMailbox.cpp). Loading and posting throw when
    // they fail; their result is for callers that have words for a failure without an exception, and never false.
    bool LoadFlashloader();
    void LoadFlashloaderImage(const std::string& fileName);
    void WriteToBuffer(const std::uint8_t* data, std::uint32_t length, const char* failure);
    bool PostCommand(const CommandBlock& block);
    std::uint32_t WaitForCommand();
    std::uint32_t WaitForPostedCommand();
    std::uint32_t WaitForBlock(std::uint32_t block);
    void ReportStatus(std::uint32_t status);
    void ReportVerificationIssue();
    void PrintUnfinishedCommand(const CommandBlock& block);
    [[noreturn]] void FailTimedOut();

    // Program pipeline (programming/ProgramPipeline.cpp)
    void ProgramSectorRanges(const std::uint8_t* data, std::uint32_t address, std::uint32_t length);
    void ProgramUnfilledPieces(const std::uint8_t* data, std::uint32_t address, std::uint32_t length);
    void ProgramRange(const std::uint8_t* data, std::uint32_t address, std::uint32_t length);
    bool ProgramChunks(const std::uint8_t* data, std::uint32_t address, std::uint32_t length);
    Command ChooseProgramCommand();
    void PrintChunk(std::uint32_t chunkNumber, const CommandBlock& block);
    bool CrcVerifyActive();

    // Erase (programming/Erase.cpp)
    EraseMode GetEraseMode();
    bool MassErase();
    void EraseSectorRanges(const char* propertyName);

    // Keep CCFG (programming/KeepCcfg.cpp)
    bool KeepCcfgActive();
    void HoldCcfg();
    void ReadCcfg();
    std::uint32_t TrimForCcfg(std::uint32_t address, std::uint32_t length);
    void RestoreCcfg();

    // Page skip and fill (programming/PageSkip.cpp, programming/FillSkip.cpp)
    std::vector<bool> ParsePageList(const char* propertyName);
    std::vector<std::string> PageListToRanges(const char* propertyName, bool wanted);
    bool PageSkipActive();
    bool FillSkipActive();

    // Phases (operations/Options.cpp)
    void OnProgramLoadStart();
    void OverrideEraseOfSkippedSectors();
    void ResetOperationState();
    void OnOperationEnd();

    // Blank check (operations/BlankCheck.cpp)
    bool BlankCheck();

    // MAC addresses (operations/MacAddress.cpp)
    MemoryField GetFieldLocation(const std::string& name);
    MemoryField GetCcfgFieldLocation(const std::string& name);
    void DoReadMacAddress(const std::string& command);
    void ShowMacAddress(const std::string& command);
    std::vector<std::uint8_t> ParseMacAddressProperty(const std::string& name);

    // CCFG changes (operations/CcfgChanges.cpp)
    bool ApplyCcfgChanges(const std::string& command);
    bool PatchForCommand(std::vector<std::uint8_t>& image, const std::string& command);
    bool PatchForOptions(std::vector<std::uint8_t>& image);
    bool PatchSecondaryAddress(std::vector<std::uint8_t>& image, const SecondaryAddressOptions& options);
    void ProgramLastSector(const std::vector<std::uint8_t>& image);
    bool UpdateWriteProtection();
    void PatchCcfgField(std::vector<std::uint8_t>& image, const std::vector<std::uint8_t>& bytes,
                        const std::string& name);

    // The host and the chip it is connected to
    IFlashHost* host;  // not owned
    std::string deviceName;
    std::uint32_t revisionMajor = 0;
    std::uint32_t revisionMinor = 0;
    std::string revisionName = "-";        // "-" while no name is known
    std::uint32_t referenceFlashSize = 0;  // bytes; the CCFG field locations are written for this size

    // Geometry
    std::uint32_t flashSize = 0;                                  // bytes; 0 = not yet measured
    std::uint32_t sectorSize = 0;                                 // bytes; a chunk is at most one sector
    std::uint32_t sectorCount = 0;                                // at most 128
    std::map<std::uint32_t, std::uint32_t> erasedFlashChecksums;  // flash size in bytes -> checksum when all erased
    std::uint32_t ramSize = 0;                                    // bytes
    std::uint32_t ramTopSector = 0;                               // `ramSize` - `sectorSize`; kept for the record

    // A cleared bit protects its sector, and stays cleared as long as the device lives.
    std::array<std::uint32_t, 2> writeProtectWords = {0xFFFF'FFFF, 0xFFFF'FFFF};

    // Flashloader link; block N goes with buffer N. Until an image is loaded all addresses are the start of SRAM.
    bool bankEraseDone = false;
    bool flashloaderLoaded = false;
    std::uint32_t verboseState = kVerboseUnread;  // else 0 or 1
    std::array<std::uint32_t, 2> bufferAddress = {0x2000'0000, 0x2000'0000};
    std::array<std::uint32_t, 2> commandBlockAddress = {0x2000'0000, 0x2000'0000};
    std::uint32_t currentBlock = 0;  // the pair that the next command uses

    std::vector<RevisionTranslationEntry> revisionTranslation;
    std::shared_ptr<FlashUtil> flashUtil;
    std::shared_ptr<CcfgData> ccfgData;

    std::map<std::string, std::vector<std::uint8_t>> macAddressCache;  // by name of the read operation
    std::map<std::string, std::string> writeCommandProperties;         // write operation -> property with the address

    std::vector<std::string> sectorRanges;  // "N" or "N-M": the sectors that may be programmed
    std::uint8_t fillValue = 0;             // a sector of only this byte is not programmed
};

}  // namespace flash
