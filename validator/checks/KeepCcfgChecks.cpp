// Keeping the customer configuration area across programming.
#include <algorithm>

#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr std::uint32_t kCcfgSize = 88;
constexpr std::uint32_t kCcfg = 0x2'0000 - kCcfgSize;

struct KeepingDevice : ReadyDevice {
    explicit KeepingDevice(const ModuleUnderCheck& module)
        : ReadyDevice(module), ccfg(FlashBytes(host, kCcfg, kCcfgSize)) {
        host.properties["KeepCcfgSetting"] = "1";
    }
    std::vector<std::uint8_t> ccfg;
};

void SurvivesALoad(const ModuleUnderCheck& module) {
    KeepingDevice keeping(module);
    const std::vector<std::uint8_t> data = Pattern(0x2000);
    keeping.device.MustLoad(data, 0x1'E000);
    ExpectBytes("CCFG after a load over it", keeping.ccfg, FlashBytes(keeping.host, kCcfg, kCcfgSize));
    const std::span<const std::uint8_t> kept(data.data(), data.size() - kCcfgSize);
    ExpectBytes("the data before CCFG", kept, FlashBytes(keeping.host, 0x1'E000, kept.size()));
}

void SurvivesABankErase(const ModuleUnderCheck& module) {
    KeepingDevice keeping(module);
    keeping.device.MustExecute("Erase");
    ExpectBytes("CCFG after a bank erase", keeping.ccfg, FlashBytes(keeping.host, kCcfg, kCcfgSize));
}

void RequestsAreTrimmed(const ModuleUnderCheck& module) {
    struct Case {
        std::uint32_t address;
        std::size_t length;
        std::vector<std::string> commands;
    };
    const Case cases[] = {
        {0x1'F000, 0x1000 - kCcfgSize, {"0x3@0x1F000+4008"}},
        {0x1'F000, 0x1000, {"0x3@0x1F000+4008", "0x4@0x1FFA8+88"}},
        {kCcfg, 2, {"0x4@0x1FFA8+88"}},
        {kCcfg, 1, {}},
        {0x1000, 16, {"0x3@0x1000+16"}},
    };
    for (const Case& c : cases) {
        KeepingDevice keeping(module);
        keeping.device.MustNotify(1);
        keeping.device.MustWrite(Pattern(c.length), c.address);
        ExpectTexts("commands for " + std::to_string(c.length) + " bytes at " + Hex(c.address), c.commands,
                    CommandTexts(keeping.host));
    }
}

void InvalidSizeIsIgnored(const ModuleUnderCheck& module) {
    for (const std::uint8_t highByte : {std::uint8_t{0x00}, std::uint8_t{0x20}}) {
        KeepingDevice keeping(module);
        keeping.host.memory.flash[0x1'FFB2] = 0;
        keeping.host.memory.flash[0x1'FFB3] = highByte;
        keeping.host.properties["FlashVerboseMode"] = "1";
        keeping.device.MustNotify(1);
        keeping.device.MustWrite(Pattern(0x1000), 0x1'F000);
        ExpectTrue("the verbose line",
                   keeping.host.HasPrinted("Keep CCFG: Device CCFG size is invalid, ignoring option."));
        ExpectTexts("commands", {"0x3@0x1F000+4096"}, CommandTexts(keeping.host));
    }
}

}  // namespace

std::vector<Check> KeepCcfgChecks() {
    constexpr const char* kTopic = "keep ccfg";
    return {
        {kTopic, "ccfg-survives-a-load", "Kept CCFG is programmed back after data that reaches into it.",
         SurvivesALoad},
        {kTopic, "ccfg-survives-a-bank-erase", "Kept CCFG is programmed back after a bank erase.", SurvivesABankErase},
        {kTopic, "requests-are-trimmed", "Data stops short of kept CCFG, which is restored only when reached.",
         RequestsAreTrimmed},
        {kTopic, "invalid-ccfg-size-is-ignored", "A CCFG size of 0 or above a sector switches keeping off.",
         InvalidSizeIsIgnored},
    };
}

}  // namespace flash::validator
