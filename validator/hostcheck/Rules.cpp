// The table that the report and the host guide show.
#include "validator/hostcheck/Rules.h"

namespace flash::hostcheck {
namespace {

constexpr RuleText kRules[] = {
    {Rule::FactoryName, "factory", "factory-name", "the part's name is given in full: its sixth character is a digit"},
    {Rule::FactoryHost, "factory", "factory-host", "the services are given to the factory"},
    {Rule::FactoryPlace, "factory", "factory-place", "a place for the new device is given to the factory"},
    {Rule::HostTable, "factory", "host-table", "every slot that a plug-in calls holds a function"},
    {Rule::HostOutlivesDevices, "factory", "host-outlives-devices",
     "the services live as long as every device made with them"},
    {Rule::InitializeFirst, "order", "initialize-first", "Initialize is the first operation of a device"},
    {Rule::WriteInLoad, "order", "write-in-load", "Write comes between NotifyPhase(1) and NotifyPhase(2)"},
    {Rule::LoadEnded, "order", "load-ended", "a load that did not fail is ended by NotifyPhase(2)"},
    {Rule::ExecuteOutsideLoad, "order", "execute-outside-load", "Execute does not come inside a load"},
    {Rule::PhaseNumber, "order", "phase-number", "NotifyPhase is given 1 or 2"},
    {Rule::DeviceReleased, "order", "device-released", "every device is released before the module is unloaded"},
    {Rule::ReleaseIsLast, "order", "release-is-last", "nothing is asked of a device behind its Release"},
    {Rule::SameThread, "threads", "same-thread", "all operations of a device come on one thread"},
    {Rule::OneAtATime, "threads", "one-at-a-time", "a device is asked one thing at a time"},
    {Rule::NotFromInside, "threads", "not-from-inside", "a service does not call the device that called it"},
    {Rule::WriteData, "arguments", "write-data", "data are given for a length above 0"},
    {Rule::WriteNotEmpty, "arguments", "write-not-empty", "a write has at least one byte"},
    {Rule::WriteDataStays, "arguments", "write-data-stays", "data stay as they are until Write returns"},
    {Rule::WriteInsideFlash, "arguments", "write-inside-flash", "what is written lies inside flash"},
    {Rule::WriteAscending, "arguments", "write-ascending", "the writes of a load ascend"},
    {Rule::WriteSectorOnce, "arguments", "write-sector-once",
     "with \"Necessary Sectors Only\" no two writes of a load share a sector"},
    {Rule::WriteKeptCcfgToEnd, "arguments", "write-kept-ccfg-to-end",
     "with a kept CCFG a write into the last sector ends where flash ends"},
    {Rule::WriteListedSectorsOnce, "arguments", "write-listed-sectors-once",
     "\"Specific Sectors\" is set for the first write of a load only"},
    {Rule::AddressFits, "arguments", "address-fits", "addresses have 32 bits"},
    {Rule::ResultPlaces, "arguments", "result-places", "a place is given for each result"},
    {Rule::OperationText, "arguments", "operation-text", "Execute is given a text"},
    {Rule::OperationName, "arguments", "operation-name",
     "Execute is given a name that Initialize told, or \"MassErase()\""},
    {Rule::PropertySameTwice, "properties", "property-same-twice",
     "asked twice in a row, GetProperty gives the same text"},
    {Rule::PropertySteady, "properties", "property-steady",
     "a property that the plug-in does not set stays the same during an operation"},
    {Rule::PropertyTextLives, "properties", "property-text-lives",
     "a text of GetProperty or GetDirectoryPath lives until the next service call"},
    {Rule::PropertySetTakes, "properties", "property-set-takes", "GetProperty gives what SetProperty took"},
    {Rule::PropertySetCopies, "properties", "property-set-copies", "SetProperty copies its texts"},
    {Rule::SettingsOfPart, "settings", "settings-of-part",
     "\"DeviceInfoRevisionTranslation\" and \"DeviceFlashloaderFile\" exist"},
    {Rule::SettingsOfLoad, "settings", "settings-of-load", "\"FlashEraseSetting\" and \"FlashPageToggle\" exist"},
    {Rule::SettingsWhenOn, "settings", "settings-when-on",
     "what goes with a setting that is on exists: pages, a fill value, a list, \"WriteProtectionToggle\""},
    {Rule::SettingsEraseText, "settings", "settings-erase-text",
     "\"FlashEraseSetting\" is one of the five texts; any other means \"Necessary Sectors Only\""},
    {Rule::SettingsSwitchText, "settings", "settings-switch-text",
     "a switch is \"1\", \"0\", empty or missing; any other text is off"},
    {Rule::MemoryFills, "memory", "memory-fills", "ReadMemory fills all that was asked for, or gives an error"},
    {Rule::MemoryBounds, "memory", "memory-bounds", "ReadMemory writes nothing beside the buffer"},
    {Rule::MemoryOrder, "memory", "memory-order", "elements of four bytes are in the workstation's byte order"},
    {Rule::MemorySourceStays, "memory", "memory-source-stays", "WriteMemory leaves the buffer as it is"},
    {Rule::MemoryReadsBack, "memory", "memory-reads-back", "SRAM holds what WriteMemory wrote"},
    {Rule::RegisterValue, "memory", "register-value", "ReadRegister(1) gives a value while \"Sluice\" is selected"},
    {Rule::RouteSelects, "memory", "route-selects", "SelectCore takes \"Sluice\" and \"Cortex\""},
    {Rule::CounterTakesOddAddress, "memory", "counter-takes-odd-address",
     "register 527, the program counter, takes an address with bit 0 set"},
    {Rule::RunWhileRunning, "memory", "run-while-running", "RunTarget is harmless while the target runs"},
    {Rule::HaltWhileHalted, "memory", "halt-while-halted", "HaltTarget is harmless while the target is halted"},
    {Rule::HaltLetsFinish, "memory", "halt-lets-finish", "HaltTarget lets a command end that is posted"},
    {Rule::WaitBounded, "memory", "wait-bounded", "WaitMilliseconds(5) returns within a second"},
    {Rule::DirectoryGiven, "image", "directory-given", "GetDirectoryPath gives a text"},
    {Rule::DirectoryEnds, "image", "directory-ends", "GetDirectoryPath's text ends in a backslash"},
    {Rule::ImageFound, "image", "image-found",
     "LoadProgram finds the file in a directory that holds \"..\\\" and backslashes"},
    {Rule::SymbolKnown, "image", "symbol-known", "LookUpSymbol knows the image's symbols once it is loaded"},
    {Rule::SymbolUnknown, "image", "symbol-unknown",
     "LookUpSymbol gives an error for a symbol that the image does not have"},
    {Rule::SymbolValue, "image", "symbol-value", "LookUpSymbol sets the value when it succeeds"},
    {Rule::SymbolPlace, "image", "symbol-place", "the image's symbols lie in SRAM, each at an address of its own"},
    {Rule::MessageTaken, "texts", "message-taken", "PrintMessage and ReportError take any text"},
    {Rule::ErrorTextLives, "texts", "error-text-lives", "an error text lives until the next service call"},
    {Rule::ErrorTextSays, "texts", "error-text-says", "an error text is not empty"},
    {Rule::ServiceNeverThrows, "texts", "service-never-throws", "a service returns; it does not throw"},
    {Rule::RecoverFromInitialize, "recovery", "recover-from-initialize",
     "behind an Initialize that failed comes Initialize or Release"},
    {Rule::RecoverFromPhaseOne, "recovery", "recover-from-phase-one",
     "behind a NotifyPhase(1) that failed nothing is written"},
    {Rule::RecoverFromWrite, "recovery", "recover-from-write",
     "behind a Write that failed comes NotifyPhase before the next Write"},
};

constexpr bool IsInOrder() {
    for (std::size_t i = 0; i < kRuleCount; ++i) {
        if (static_cast<std::size_t>(kRules[i].rule) != i) {
            return false;
        }
    }
    return true;
}

static_assert(std::size(kRules) == kRuleCount && IsInOrder());

}  // namespace

std::span<const RuleText, kRuleCount> AllRules() { return kRules; }

}  // namespace flash::hostcheck
