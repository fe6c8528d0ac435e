// Initialize: identification, geometry and what is published.
#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr char kOperations[] =
    "Erase, EraseSectors, ReadPriBle, ReadSecBle, WriteSecBle, ReadPriIeee, ReadSecIeee, WriteSecIeee, BlankCheck";

void TellsItsOperations(const ModuleUnderCheck& module) {
    NewDevice made(module);
    bool isReady = false;
    const char* operations = nullptr;
    ExpectText("Initialize", "no text", Quoted(made.device.Initialize(&isReady, &operations)));
    ExpectTrue("ready flag", isReady);
    ExpectText("operations", kOperations, operations);
}

void FailureLeavesResults(const ModuleUnderCheck& module) {
    NewDevice made(module);
    made.host.failures.FailEvery(Service::ReadMemory);
    bool isReady = false;
    const char* operations = "untouched";
    ExpectText("Initialize with a failing read", kFailureText, made.device.Initialize(&isReady, &operations));
    ExpectFalse("ready flag", isReady);
    ExpectText("operations", "untouched", operations);
}

void IdentifiesOverTheRouter(const ModuleUnderCheck& module) {
    NewDevice made(module);
    made.device.Initialize();
    std::vector<std::string> steps;
    for (const HostCall& call : made.host.calls) {
        const bool isStep = call.service == Service::SelectCore || call.service == Service::ReadRegister;
        if (isStep) {
            steps.push_back(std::string(NameOf(call.service)) + " " +
                            (call.text.empty() ? std::to_string(call.number) : call.text));
        }
    }
    ExpectTexts("steps of identification", {"SelectCore Sluice", "ReadRegister 1", "SelectCore Cortex"}, steps);
}

std::string RevisionFor(const ModuleUnderCheck& module, std::uint64_t idCode, const char* table) {
    NewDevice made(module, {0x1000, 32, 3, idCode});
    made.host.properties["DeviceInfoRevisionTranslation"] = table;
    made.device.Initialize();
    return made.host.properties["DeviceInfoRevision"];
}

void RevisionFromTheTable(const ModuleUnderCheck& module) {
    ExpectText("revision of code 1", "RevB (2.0)", RevisionFor(module, 0x1000'0001, "0:1.0:RevA:1:2.0:RevB"));
    ExpectText("revision of a code that is named twice", "First (1.2)",
               RevisionFor(module, 0x3FFF'FFFF, "3:1.2:First:1:2.0:RevB:3:4.5:Second"));
    ExpectText("revision of a text that is not major.minor", "RevA (0.0)", RevisionFor(module, 0, "0:2.1.0:RevA"));
}

void UnknownRevisionAssumesTheLast(const ModuleUnderCheck& module) {
    NewDevice made(module, {0x1000, 32, 3, 0xA000'0001});
    made.host.properties["DeviceInfoRevisionTranslation"] = "0:1.0:RevA:1:2.1:RevB";
    made.device.Initialize();
    ExpectTexts("messages",
                {"Device revision '0xa' unknown for selected target. Assuming latest known revision: Rev. 2.1."},
                made.host.messages);
    ExpectText("revision", "- (2.1)", made.host.properties["DeviceInfoRevision"]);
}

const char* InitializeText(NewDevice& made) {
    bool isReady = false;
    const char* operations = nullptr;
    return made.device.Initialize(&isReady, &operations);
}

void RevisionTableIsChecked(const ModuleUnderCheck& module) {
    NewDevice made(module);
    made.host.properties["DeviceInfoRevisionTranslation"] = "0:1.0:RevA:1";
    ExpectText("Initialize with a table of four pieces",
               "Property DeviceInfoRevisionTranslation in Flash Properties XML does not contain the expected number of "
               "entries (N * 3 entries expected)",
               InitializeText(made));
    made.host.properties["DeviceInfoRevisionTranslation"] = "";
    ExpectText("Initialize with an empty table", "invalid vector<T> subscript", InitializeText(made));
    made.host.properties["DeviceInfoRevisionTranslation"] = "1::RevB";
    ExpectText("Initialize with an empty revision",
               "FlashUtil::ConvertRevisionStringToMajorMinor(): Input string is empty", InitializeText(made));
}

void WideIdCodeIsRefused(const ModuleUnderCheck& module) {
    NewDevice made(module, {0x1000, 32, 3, 0x1'0000'0000});
    ExpectText("Initialize", "Lumo flash supports only supports 32 bit addresses", InitializeText(made));
}

std::string Published(const ModuleUnderCheck& module, const ChipModel& model, const char* property,
                      const char* name = nullptr) {
    NewDevice made(module, model, name);
    made.device.Initialize();
    return made.host.properties[property];
}

void FlashSizeIsPublished(const ModuleUnderCheck& module) {
    ExpectText("first generation", "128 KB (32 sectors)", Published(module, kFirstGeneration, "DeviceInfoFlashSize"));
    ExpectText("second generation", "352 KB (44 sectors)", Published(module, kSecondGeneration, "DeviceInfoFlashSize"));
    ExpectText("register 0x120: only its low byte counts", "128 KB (32 sectors)",
               Published(module, {0x1000, 0x120, 3, 0}, "DeviceInfoFlashSize"));
}

void SectorCountIsClamped(const ModuleUnderCheck& module) {
    ExpectText("255 sectors, first generation", "512 KB (128 sectors)",
               Published(module, {0x1000, 0xFF, 3, 0}, "DeviceInfoFlashSize"));
    ExpectText("200 sectors, second generation", "1024 KB (128 sectors)",
               Published(module, {0x2000, 200, 3, 0}, "DeviceInfoFlashSize"));
}

void RamSizeOfTheFirstGeneration(const ModuleUnderCheck& module) {
    const char* const small[] = {"2 KB", "4 KB", "8 KB", "16 KB"};
    const char* const large[] = {"4 KB", "10 KB", "16 KB", "20 KB"};
    for (std::uint32_t code = 0; code < 4; ++code) {
        const std::string what = "RAM of size code " + std::to_string(code);
        const ChipModel revision1{0x1000, 32, 0xFFFF'FFFC | code, 0};
        const ChipModel revision2{0x1000, 32, code, 0x1000'0000};
        ExpectText(what + ", revision 1", small[code], Published(module, revision1, "DeviceInfoRAMSize"));
        ExpectText(what + ", revision 1 named with R2", large[code],
                   Published(module, revision1, "DeviceInfoRAMSize", "LumoD1x-R2"));
        ExpectText(what + ", revision 2", large[code], Published(module, revision2, "DeviceInfoRAMSize"));
    }
}

void RamSizeOfTheSecondGeneration(const ModuleUnderCheck& module) {
    const char* const sizes[] = {"32 KB", "48 KB", "64 KB", "80 KB"};
    for (std::uint32_t code = 0; code < 4; ++code) {
        ExpectText("RAM of size code " + std::to_string(code), sizes[code],
                   Published(module, {0x2000, 44, code, 0}, "DeviceInfoRAMSize"));
    }
}

void VerboseNotice(const ModuleUnderCheck& module) {
    for (const char* setting : {"1", "0", "true", "1 "}) {
        NewDevice made(module);
        made.host.properties["FlashVerboseMode"] = setting;
        made.device.Initialize();
        std::vector<std::string> expected;
        if (std::string(setting) == "1") {
            expected = {"Flashloader: Verbose output enabled."};
        }
        ExpectTexts("messages with FlashVerboseMode " + Quoted(setting), expected, made.host.messages);
    }
}

}  // namespace

std::vector<Check> StartUpChecks() {
    constexpr const char* kTopic = "start-up";
    return {
        {kTopic, "tells-its-operations", "Initialize sets the ready flag and the text of nine operations.",
         TellsItsOperations},
        {kTopic, "failed-start-leaves-results", "A failing Initialize leaves both results untouched.",
         FailureLeavesResults},
        {kTopic, "identifies-over-the-router", "The identification code is read on route Sluice, then Cortex is back.",
         IdentifiesOverTheRouter},
        {kTopic, "revision-from-the-table", "The first table entry of the chip's code gives the revision.",
         RevisionFromTheTable},
        {kTopic, "unknown-revision-assumes-the-last", "An unknown code gives a notice and the last entry's numbers.",
         UnknownRevisionAssumesTheLast},
        {kTopic, "revision-table-is-checked", "A table that cannot be used ends Initialize with its own text.",
         RevisionTableIsChecked},
        {kTopic, "wide-id-code-is-refused", "An identification code above 32 bits is an error.", WideIdCodeIsRefused},
        {kTopic, "flash-size-is-published", "DeviceInfoFlashSize says kilobytes and sectors.", FlashSizeIsPublished},
        {kTopic, "sector-count-is-clamped", "More than 128 sectors count as 128.", SectorCountIsClamped},
        {kTopic, "ram-size-first-generation", "RAM size goes by size code, name and major revision.",
         RamSizeOfTheFirstGeneration},
        {kTopic, "ram-size-second-generation", "RAM size goes by size code.", RamSizeOfTheSecondGeneration},
        {kTopic, "verbose-notice", "Verbose mode, and only the text 1, prints one notice at the start.", VerboseNotice},
    };
}

}  // namespace flash::validator
