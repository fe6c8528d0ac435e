// What the plug-in asks of its host, and what it makes of a host that fails.
#include <algorithm>
#include <functional>

#include "validator/Check.h"

namespace flash::validator {
namespace {

void SwitchAllOn(SimulatedHost& host) {
    for (const char* option : {"FlashVerboseMode", "KeepCcfgSetting", "CrcVerify", "RetainIeeeSecondaryAddr"}) {
        host.properties[option] = "1";
    }
}

// One load with its phases; the first error text ends it.
const char* TryLoad(ReadyDevice& ready, const std::vector<std::uint8_t>& data) {
    if (const char* error = ready.device.NotifyPhase(1)) {
        return error;
    }
    if (const char* error = ready.device.Write(data, ready.host.memory.FlashSize() - 0x2000)) {
        return error;
    }
    return ready.device.NotifyPhase(2);
}

// A failing call gives its own text, or one that is fixed for that step.
bool IsAnswerTo(const std::string& error, const std::string& injected) {
    const std::string fixed[] = {
        injected,
        "Failed to write flashloader to device SRAM.",
        "Failed to write configuration block to target.",
        "Failed to write data to temporary buffer in RAM before programming device FLASH memory.",
        "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory.",
        "DoReadMacAddress(): Failed to read 8 bytes from 0x.\nError: " + injected,
    };
    return std::find(std::begin(fixed), std::end(fixed), error) != std::end(fixed);
}

std::string TextOfFailure(std::size_t index) { return "failure of call " + std::to_string(index); }

std::size_t CountFailableCalls(const SimulatedHost& host) {
    return static_cast<std::size_t>(
        std::ranges::count_if(host.calls, [](const HostCall& call) { return HasErrorText(call.service); }));
}

void FailOneCallOfALoad(const ModuleUnderCheck& module, std::size_t index, const std::vector<std::uint8_t>& data,
                        const std::vector<std::uint8_t>& expectedFlash) {
    ReadyDevice ready(module);
    SwitchAllOn(ready.host);
    const std::string text = TextOfFailure(index);
    ready.host.failures.FailNthWithErrorText(index + 1, text);
    const char* error = TryLoad(ready, data);
    Expect(error != nullptr && IsAnswerTo(error, text), Quoted(text) + " or the text of its step", Quoted(error));
    ready.host.failures.Clear();
    ready.host.properties["FlashEraseSetting"] = "Necessary Sectors Only";
    error = TryLoad(ready, data);
    Expect(error == nullptr, "success when the load is repeated after " + Quoted(text), Quoted(error));
    ExpectBytes("flash after the repeated load", std::span(expectedFlash).first(0x1'FFA8),
                std::span<const std::uint8_t>(ready.host.memory.flash).first(0x1'FFA8));
}

void EveryFailingCallIsAnswered(const ModuleUnderCheck& module) {
    const std::vector<std::uint8_t> data = Pattern(0x2000);
    ReadyDevice clean(module);
    SwitchAllOn(clean.host);
    const char* error = TryLoad(clean, data);
    Expect(error == nullptr, "success of the load without failures", Quoted(error));
    const std::size_t calls = CountFailableCalls(clean.host);
    for (std::size_t index = 0; index < calls; ++index) {
        FailOneCallOfALoad(module, index, data, clean.host.memory.flash);
    }
}

void EveryFailingStartIsAnswered(const ModuleUnderCheck& module) {
    NewDevice clean(module);
    clean.host.properties["FlashVerboseMode"] = "1";
    clean.device.Initialize();
    const std::size_t calls = CountFailableCalls(clean.host);
    for (std::size_t index = 0; index < calls; ++index) {
        NewDevice made(module);
        made.host.properties["FlashVerboseMode"] = "1";
        made.host.failures.FailNthWithErrorText(index + 1, TextOfFailure(index));
        bool isReady = false;
        const char* operations = nullptr;
        ExpectText("Initialize", TextOfFailure(index), made.device.Initialize(&isReady, &operations));
        made.host.failures.Clear();
        made.device.Initialize();
    }
}

void FailedImageIsExplained(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.failures.FailEvery(Service::LoadProgram);
    ExpectText("Write", "Failed to write flashloader to device SRAM.", ready.device.Write(Pattern(16), 0));
    ExpectTexts("messages", {std::string("Failed to write flashloader to device SRAM.\nError: ") + kFailureText + "\n"},
                ready.host.messages);
}

void FailedBufferIsExplained(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.failures.FailEvery(Service::WriteMemory);
    ExpectText("Write", "Failed to write data to temporary buffer in RAM before programming device FLASH memory.",
               ready.device.Write(Pattern(0x123), 0x1000));
    ExpectTexts(
        "messages",
        {std::string("  Failed to write data to temporary buffer in RAM before programming device FLASH memory. "
                     "addr=0x20001000, writeLength=291(0x123), bufIdx=0\nError: ") +
         kFailureText + "\n"},
        ready.host.messages);
}

// Everything at once: a load with all options, and all operations.
void DoEverything(NewDevice& made) {
    made.device.Initialize();
    SwitchAllOn(made.host);
    made.host.properties["DisableCpuDap"] = "1";
    made.host.properties["StandaloneEraseSpecificText"] = "1-2";
    made.device.MustLoad(Pattern(0x3000), 0x1'D000);
    for (const char* name : {"ReadPriBle", "ReadSecBle", "ReadPriIeee", "ReadSecIeee", "WriteSecIeee", "EraseSectors",
                             "BlankCheck", "Erase"}) {
        made.device.MustExecute(name);
    }
}

void ReservedSlotsAreLeftAlone(const ModuleUnderCheck& module) {
    NewDevice made(module);
    DoEverything(made);
    const auto calls = made.host.CallsOf(Service::Reserved);
    Expect(calls.empty(), "no call of a reserved slot",
           calls.empty() ? "" : "a call of slot " + std::to_string(calls.front().number));
}

void MemoryIsAskedForAsAgreed(const ModuleUnderCheck& module) {
    NewDevice made(module);
    DoEverything(made);
    for (const Service service : {Service::ReadMemory, Service::WriteMemory}) {
        for (const HostCall& call : made.host.CallsOf(service)) {
            ExpectNumber(std::string("page of ") + call.ToText(), 1, call.page);
            Expect(call.value == 1 || (call.value == 4 && service == Service::ReadMemory && call.number == 4),
                   "bytes, or one word to read", call.ToText());
            Expect(call.number != 0, "at least one byte", call.ToText());
        }
    }
}

}  // namespace

std::vector<Check> FailingHostChecks() {
    constexpr const char* kTopic = "host services";
    return {
        {kTopic, "reserved-slots-are-left-alone", "The plug-in calls no host slot that is reserved.",
         ReservedSlotsAreLeftAlone},
        {kTopic, "memory-is-asked-for-as-agreed", "Memory is read and written on page 1, in bytes or one word.",
         MemoryIsAskedForAsAgreed},
        {kTopic, "every-failing-start-is-answered", "Any failing call of Initialize is its error, a retry succeeds.",
         EveryFailingStartIsAnswered},
        {kTopic, "every-failing-call-is-answered", "Any failing call of a load is its error, a retry succeeds.",
         EveryFailingCallIsAnswered},
        {kTopic, "failed-image-is-explained", "A flashloader that cannot be loaded is printed with the host's text.",
         FailedImageIsExplained},
        {kTopic, "failed-buffer-is-explained", "A buffer that cannot be written is printed with its place.",
         FailedBufferIsExplained},
    };
}

}  // namespace flash::validator
