// The named operations that do not concern addresses: erasing, blank check, and names that are none.
#include <algorithm>

#include "validator/Check.h"

namespace flash::validator {
namespace {

void UnknownOperations(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    for (const char* name : {"", "erase", "Erase ", "MassErase", "dummy", "BlankCheck()"}) {
        ExpectText("Execute " + Quoted(name), std::string("Unsupported Operation Code: '") + name + "'",
                   ready.device.Execute(name));
    }
    ExpectTexts("commands", {}, CommandTexts(ready.host));
}

void EraseIsOneCommand(const ModuleUnderCheck& module) {
    for (const char* name : {"Erase", "MassErase()"}) {
        ReadyDevice ready(module);
        ready.device.MustLoad(Pattern(5000), 0);
        ready.host.ForgetCalls();
        ready.device.MustExecute(name);
        ExpectTexts("commands of " + Quoted(name), {"0x1@0x0+0"}, CommandTexts(ready.host));
        const auto& flash = ready.host.memory.flash;
        ExpectTrue("all of flash is erased",
                   std::all_of(flash.begin(), flash.end(), [](std::uint8_t byte) { return byte == 0xFF; }));
    }
}

void EraseRunsTheTarget(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustExecute("Erase");
    ExpectNumber("runs: at the flashloader's start, and after posting", 2,
                 ready.host.CallsOf(Service::RunTarget).size());
}

void EraseSectorsPostsRanges(const ModuleUnderCheck& module) {
    ReadyDevice ready(module, kSecondGeneration);
    ready.host.properties["StandaloneEraseSpecificText"] = "7, 1,2 ,40-43";
    ready.device.MustExecute("EraseSectors");
    ExpectTexts("commands", {"0x5@0x2000+16383", "0x5@0xE000+8191", "0x5@0x50000+32767"}, CommandTexts(ready.host));
}

void BlankCheckPostsTheReference(const ModuleUnderCheck& module) {
    struct Case {
        ChipModel model;
        std::uint32_t reference;
    };
    const Case cases[] = {
        {{0x1000, 8, 0, 0}, 0x2E85'ACA1},
        {{0x1000, 16, 0, 0}, 0xEB6D'3852},
        {{0x1000, 32, 0, 0}, 0x208E'45D0},
        {{0x2000, 44, 0, 0}, 0x9DF9'84D5},
    };
    for (const Case& c : cases) {
        ReadyDevice ready(module, c.model);
        ready.device.MustExecute("BlankCheck");
        const std::uint32_t size = ready.host.memory.FlashSize();
        ExpectTexts("commands", {"0x6@0x0+" + std::to_string(size)}, CommandTexts(ready.host));
        ExpectNumber("reference for " + Hex(size), c.reference, ready.host.flashloader.commands[0].crc);
    }
}

void BlankCheckSaysTheAnswer(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustExecute("BlankCheck");
    ExpectTexts("messages for flash that holds CCFG", {"Blank Check: Device flash is programmed"}, ready.host.messages);
    ready.host.ForgetCalls();
    std::fill(ready.host.memory.flash.begin(), ready.host.memory.flash.end(), std::uint8_t{0xFF});
    ready.device.MustExecute("BlankCheck");
    ExpectTexts("messages for erased flash", {"Blank Check: Device flash is blank"}, ready.host.messages);
}

void BlankCheckKnowsItsSizes(const ModuleUnderCheck& module) {
    for (const ChipModel& model : {ChipModel{0x1000, 31, 0, 0}, ChipModel{0x2000, 16, 0, 0}}) {
        ReadyDevice ready(module, model);
        ExpectText("Execute \"BlankCheck\"", "Cannot perform Blank Check. Unknown Flash size!",
                   ready.device.Execute("BlankCheck"));
        ExpectTexts("commands", {}, CommandTexts(ready.host));
    }
}

void WorkEndsWithTheClosingPhase(const ModuleUnderCheck& module) {
    for (const char* name : {"Erase", "EraseSectors", "BlankCheck"}) {
        ReadyDevice ready(module);
        ready.device.MustExecute(name);
        const auto& journal = ready.host.calls;
        const auto lastRun = std::find_if(journal.rbegin(), journal.rend(),
                                          [](const HostCall& call) { return call.service == Service::RunTarget; });
        const bool isHalted = std::any_of(journal.rbegin(), lastRun,
                                          [](const HostCall& call) { return call.service == Service::HaltTarget; });
        ExpectTrue(std::string("the target is halted at the end of ") + name, isHalted);
    }
}

void ReadingDoesNotHalt(const ModuleUnderCheck& module) {
    for (const char* name : {"ReadPriBle", "ReadSecBle", "ReadPriIeee", "ReadSecIeee"}) {
        ReadyDevice ready(module);
        ready.device.MustExecute(name);
        ExpectNumber(std::string("halts of ") + name, 0, ready.host.CallsOf(Service::HaltTarget).size());
    }
}

}  // namespace

std::vector<Check> OperationChecks() {
    constexpr const char* kTopic = "operations";
    return {
        {kTopic, "unknown-operations", "Names are compared exactly; any other is refused by name.", UnknownOperations},
        {kTopic, "erase-is-one-command", "\"Erase\" and \"MassErase()\" post command 1.", EraseIsOneCommand},
        {kTopic, "erase-runs-the-target", "The target is run again after a bank erase is posted.", EraseRunsTheTarget},
        {kTopic, "erase-sectors-posts-ranges", "Each run of listed pages is one command 5, its length less one.",
         EraseSectorsPostsRanges},
        {kTopic, "blank-check-posts-the-reference", "Command 6 carries the reference value of the flash size.",
         BlankCheckPostsTheReference},
        {kTopic, "blank-check-says-the-answer", "One line says whether flash is blank or programmed.",
         BlankCheckSaysTheAnswer},
        {kTopic, "blank-check-knows-its-sizes", "A flash size without a reference is refused, nothing is posted.",
         BlankCheckKnowsItsSizes},
        {kTopic, "work-ends-with-the-closing-phase", "Erasing and blank check end by halting the target.",
         WorkEndsWithTheClosingPhase},
        {kTopic, "reading-does-not-halt", "The four read operations leave the target running.", ReadingDoesNotHalt},
    };
}

}  // namespace flash::validator
