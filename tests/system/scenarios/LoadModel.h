// What a program load must send to the flashloader and tell the user: a model of the rules by which requests are cut,
// trimmed, restricted to sectors and skipped. It shares no code with the plug-in and talks to no host.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/ConnectedChip.h"

namespace flash::test {

enum class Erasing { Nothing, Necessary, Retaining, Bank, Listed };

// The user's settings with their meaning beside the text.
struct LoadSettings {
    Erasing erasing = Erasing::Necessary;
    std::string erasingText;
    std::set<std::uint32_t> erasedSectors;  // with `Erasing::Listed`
    std::string erasedSectorsText;
    bool isSkippingSectors = false;
    std::set<std::uint32_t> skippedSectors;
    std::string skippedSectorsText;
    bool isSkippingFill = false;
    std::uint8_t fillValue = 0;
    std::string fillText;
    bool isKeepingCcfg = false;
    bool isVerifying = false;
    bool isVerbose = false;
};

class LoadModel {
public:
    // `flash` is what the chip holds before the load, all of it.
    LoadModel(FlashGeometry flashGeometry, LoadSettings loadSettings, Bytes flashBefore);

    void Start();
    void Write(const Segment& segment);

    std::vector<PostedCommand> commands;
    std::vector<std::string> messages;

private:
    struct SectorRun {
        std::uint32_t first, last;
    };
    struct AddressRun {
        std::uint32_t first, last;
    };

    void Say(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void SayWhatIsSkipped();
    void Post(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t crc, Bytes data);
    void NeedFlashloader();
    std::vector<SectorRun> Runs(const std::set<std::uint32_t>& sectors, bool areNamed) const;

    using ProgrammedByte = std::optional<std::uint8_t>;
    static ProgrammedByte ByteWithinRun(const Segment& segment, AddressRun run, std::uint64_t address);
    bool WriteWithinRun(const Segment& segment, AddressRun run);
    void WriteUnfilled(const Segment& segment);
    void Program(const Segment& segment);
    void SendChunks(std::uint32_t address, const Bytes& data);
    void EraseBank();
    void SaveCcfg();
    void RestoreCcfg();
    std::uint32_t Trimmed(std::uint32_t address, std::uint32_t length);

    FlashGeometry geometry;
    LoadSettings settings;
    Bytes flash;

    bool isLoaded = false;
    bool isBankErased = false;
    bool areSectorsKnown = false;
    std::uint32_t nextBlock = 0;
    Bytes ccfg;  // saved; empty: none
    std::uint32_t ccfgAddress = 0;
};

}  // namespace flash::test
