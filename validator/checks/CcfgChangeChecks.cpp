// Changes of the customer configuration area at the closing phase.
#include <algorithm>

#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr std::size_t kProtection = 0x20;
constexpr std::size_t kBootloader = 0x2D;
constexpr std::size_t kCpuDap = 0x29;

// What the closing phase with one option changes: only the listed bytes, from `fromEnd` on.
void ExpectChange(const ModuleUnderCheck& module, const char* option, std::size_t fromEnd,
                  const std::vector<std::uint8_t>& bytes) {
    ReadyDevice ready(module);
    std::vector<std::uint8_t> expected = ready.host.memory.flash;
    std::copy(bytes.begin(), bytes.end(), expected.end() - static_cast<std::ptrdiff_t>(fromEnd));
    ready.host.properties["WriteProtectionText"] = "0,33";
    ready.host.properties[option] = "1";
    ready.device.MustNotify(2);
    ExpectBytes(std::string("flash after the closing phase with ") + option, expected, ready.host.memory.flash);
}

void ProtectsPages(const ModuleUnderCheck& module) {
    NewDevice made(module, {0x1000, 64, 0, 0});
    made.device.Initialize();
    made.host.properties["WriteProtectionToggle"] = "1";
    made.host.properties["WriteProtectionText"] = "0,33";
    made.device.MustNotify(2);
    const std::vector<std::uint8_t> words = {0xFE, 0xFF, 0xFF, 0xFF, 0xFD, 0xFF, 0xFF, 0xFF};
    ExpectBytes("protection words", words, FlashBytes(made.host, made.host.memory.flash.size() - kProtection, 8));
}

void ProtectionAddsUp(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["WriteProtectionToggle"] = "1";
    for (const char* pages : {"0", "1"}) {
        ready.host.properties["WriteProtectionText"] = pages;
        ready.device.MustNotify(2);
    }
    const std::vector<std::uint8_t> word = {0xFC, 0xFF, 0xFF, 0xFF};
    ExpectBytes("first protection word after page 0, then page 1", word,
                FlashBytes(ready.host, ready.host.memory.flash.size() - kProtection, 4));
}

void DisablesTheBootloader(const ModuleUnderCheck& module) {
    ExpectChange(module, "DisableBootloader", kBootloader, {0x00});
}

void DisablesTheDebugPort(const ModuleUnderCheck& module) { ExpectChange(module, "DisableCpuDap", kCpuDap, {0x00}); }

void EraseSettingIsPutBack(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["FlashEraseSetting"] = "Do not erase sectors (program load only)";
    ready.host.properties["DisableCpuDap"] = "1";
    ready.device.MustNotify(2);
    ExpectText("FlashEraseSetting afterwards", "Do not erase sectors (program load only)",
               ready.host.properties["FlashEraseSetting"]);
    ExpectTexts("commands in between", {"0x3@0x1F000+4096"}, CommandTexts(ready.host));
}

void ChangesEndHalted(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["DisableCpuDap"] = "1";
    ready.device.MustNotify(2);
    ExpectFalse("the target runs after the closing phase", ready.host.flashloader.isRunning);
}

}  // namespace

std::vector<Check> CcfgChangeChecks() {
    constexpr const char* kTopic = "ccfg changes";
    return {
        {kTopic, "protects-pages", "Listed pages clear their bits in the two protection words.", ProtectsPages},
        {kTopic, "protection-adds-up", "A cleared protection bit stays cleared for the device's life.",
         ProtectionAddsUp},
        {kTopic, "disables-the-bootloader", "DisableBootloader writes one 0x00 and nothing else.",
         DisablesTheBootloader},
        {kTopic, "disables-the-debug-port", "DisableCpuDap writes one 0x00 and nothing else.", DisablesTheDebugPort},
        {kTopic, "erase-setting-is-put-back", "A change programs with command 3 and restores the erase setting.",
         EraseSettingIsPutBack},
        {kTopic, "changes-end-halted", "After a change the target is halted again.", ChangesEndHalted},
    };
}

}  // namespace flash::validator
