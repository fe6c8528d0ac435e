// The phases that frame a program load.
#include "validator/Check.h"

namespace flash::validator {
namespace {

void EdgePhasesHalt(const ModuleUnderCheck& module) {
    struct Case {
        std::int64_t phase;
        std::size_t halts;
    };
    for (const Case& c : {Case{1, 1}, Case{2, 1}, Case{0, 0}, Case{3, 0}, Case{-1, 0}}) {
        ReadyDevice ready(module);
        ready.device.MustNotify(c.phase);
        ExpectNumber("halts of phase " + std::to_string(c.phase), c.halts,
                     ready.host.CallsOf(Service::HaltTarget).size());
    }
}

void QuietClosingTouchesNothing(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustNotify(2);
    for (const Service service :
         {Service::ReadMemory, Service::WriteMemory, Service::RunTarget, Service::LoadProgram, Service::SetProperty}) {
        ExpectNumber(std::string("calls of ") + NameOf(service), 0, ready.host.CallsOf(service).size());
    }
}

void VerboseIsReadAgain(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["FlashVerboseMode"] = "1";
    ready.device.MustWrite(Pattern(16), 0);
    ExpectTexts("messages before the next phase", {}, ready.host.messages);
    ready.device.MustNotify(1);
    ready.device.MustWrite(Pattern(16), 0x1000);
    ExpectTrue("the flashloader's loading is told after phase 1",
               ready.host.HasPrinted("Loading flashloader to target: flashloader.out\n"));
}

void FlashloaderIsLoadedOncePerLoad(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustNotify(1);
    ready.device.MustWrite(Pattern(16), 0);
    ready.device.MustWrite(Pattern(16), 0x1000);
    ExpectNumber("flashloader loads for two writes", 1, ready.host.CallsOf(Service::LoadProgram).size());
    ready.device.MustNotify(2);
    ready.device.MustLoad(Pattern(16), 0x2000);
    ExpectNumber("flashloader loads for two program loads", 2, ready.host.CallsOf(Service::LoadProgram).size());
}

void FlashloaderIsStarted(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustWrite(Pattern(16), 0);
    std::vector<std::string> steps;
    for (const HostCall& call : ready.host.calls) {
        if (call.service == Service::HaltTarget || call.service == Service::RunTarget) {
            steps.emplace_back(NameOf(call.service));
        } else if (call.service == Service::LoadProgram) {
            steps.push_back(call.text + "|" + call.secondText + "|" + call.thirdText);
        } else if (call.service == Service::WriteRegister) {
            steps.push_back("register " + std::to_string(call.number) + " = " + Hex(call.value));
        }
    }
    ExpectTexts("steps of loading the flashloader",
                {"HaltTarget", "flashloader.out||C:\\tools\\bin\\debug\\..\\..\\arm\\",
                 "register 527 = " + Hex(kEntryPoint), "RunTarget"},
                steps);
}

void SkippedPagesForbidBankErase(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    ready.device.MustNotify(1);
    ExpectText("erase setting without page skipping", "All Unprotected Sectors",
               ready.host.properties["FlashEraseSetting"]);
    ready.host.properties["FlashPageToggle"] = "1";
    ready.host.properties["FlashPages"] = "3";
    ready.device.MustNotify(1);
    ExpectText("erase setting with page skipping", "Necessary Sectors Only",
               ready.host.properties["FlashEraseSetting"]);
}

}  // namespace

std::vector<Check> PhaseChecks() {
    constexpr const char* kTopic = "phases";
    return {
        {kTopic, "edge-phases-halt", "Phases 1 and 2 halt the target once, others do not.", EdgePhasesHalt},
        {kTopic, "quiet-closing-touches-nothing", "Phase 2 without an option only halts.", QuietClosingTouchesNothing},
        {kTopic, "verbose-is-read-again", "A changed verbose switch counts from the next phase 1 or 2.",
         VerboseIsReadAgain},
        {kTopic, "flashloader-once-per-load", "The flashloader is loaded once between two phases.",
         FlashloaderIsLoadedOncePerLoad},
        {kTopic, "flashloader-is-started", "Loading halts, loads, sets the program counter and runs.",
         FlashloaderIsStarted},
        {kTopic, "skipped-pages-forbid-bank-erase", "Phase 1 replaces a bank erase when pages are skipped.",
         SkippedPagesForbidBankErase},
    };
}

}  // namespace flash::validator
