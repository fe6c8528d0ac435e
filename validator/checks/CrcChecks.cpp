// The CRC that the flashloader checks what it programmed against.
#include "validator/Check.h"

namespace flash::validator {
namespace {

const std::vector<std::uint8_t> kCheckDigits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
constexpr std::uint32_t kCheckValue = 0xCBF4'3926;  // of CRC-32 over the digits 1 to 9

void FlagFollowsTheOption(const ModuleUnderCheck& module) {
    struct Case {
        const char* eraseSetting;
        const char* option;
        std::uint64_t command;
    };
    const Case cases[] = {
        {"Do not erase sectors (program load only)", "1", 0x12},
        {"Necessary Sectors Only", "1", 0x13},
        {"Necessary Sectors Only (Retain untouched content within sector)", "1", 0x14},
        {"Necessary Sectors Only", "0", 0x3},
        {"Necessary Sectors Only", "true", 0x3},
    };
    for (const Case& c : cases) {
        ReadyDevice ready(module);
        ready.host.properties["FlashEraseSetting"] = c.eraseSetting;
        ready.host.properties["CrcVerify"] = c.option;
        ready.device.MustLoad(kCheckDigits, 0x1000);
        ExpectNumber("posted commands", 1, ready.host.flashloader.commands.size());
        ExpectNumber(std::string("command with CrcVerify ") + Quoted(c.option), c.command,
                     ready.host.flashloader.commands[0].command);
    }
}

std::uint32_t CrcOf(const ModuleUnderCheck& module, const std::vector<std::uint8_t>& data, const char* option) {
    ReadyDevice ready(module);
    ready.host.properties["CrcVerify"] = option;
    ready.device.MustLoad(data, 0x1000);
    ExpectNumber("posted commands", 1, ready.host.flashloader.commands.size());
    return ready.host.flashloader.commands[0].crc;
}

void ValueIsCrc32(const ModuleUnderCheck& module) {
    ExpectNumber("CRC of the digits 1 to 9", kCheckValue, CrcOf(module, kCheckDigits, "1"));
    ExpectNumber("CRC of one zero byte", 0xD202'EF8D, CrcOf(module, {0}, "1"));
    ExpectNumber("CRC of 32 bytes 0xFF", 0xFF6C'AB0B, CrcOf(module, std::vector<std::uint8_t>(32, 0xFF), "1"));
}

void NoValueWithoutTheOption(const ModuleUnderCheck& module) {
    ExpectNumber("CRC field with the option off", 0, CrcOf(module, kCheckDigits, "0"));
}

void CrcIsTold(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["CrcVerify"] = "1";
    ready.host.properties["FlashVerboseMode"] = "1";
    ready.device.MustLoad(kCheckDigits, 0x1000);
    ExpectTrue("the chunk's line shows its CRC",
               ready.host.HasPrinted("  Chunk 1: addr=0x00001000, length=9, crc=0xCBF43926 (using block 0)"));
}

}  // namespace

std::vector<Check> CrcChecks() {
    constexpr const char* kTopic = "crc";
    return {
        {kTopic, "crc-flag", "CrcVerify \"1\" adds 0x10 to commands 2, 3 and 4; nothing else does.",
         FlagFollowsTheOption},
        {kTopic, "crc-value", "The CRC field holds the CRC-32 of the chunk.", ValueIsCrc32},
        {kTopic, "crc-field-is-0-without-the-option", "Without CrcVerify the CRC field is 0.", NoValueWithoutTheOption},
        {kTopic, "crc-is-told", "Verbose mode prints the CRC of each chunk.", CrcIsTold},
    };
}

}  // namespace flash::validator
