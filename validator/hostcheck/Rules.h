// What a host owes to a plug-in: one rule for each thing that can be watched from inside one.
#pragma once

#include <cstddef>
#include <span>

namespace flash::hostcheck {

enum class Rule {
    // The factory, and what it is given.
    FactoryName,
    FactoryHost,
    FactoryPlace,
    HostTable,
    HostOutlivesDevices,
    // The order of calls.
    InitializeFirst,
    WriteInLoad,
    LoadEnded,
    ExecuteOutsideLoad,
    PhaseNumber,
    DeviceReleased,
    ReleaseIsLast,
    SameThread,
    OneAtATime,
    NotFromInside,
    // What is given to operations.
    WriteData,
    WriteNotEmpty,
    WriteDataStays,
    WriteInsideFlash,
    WriteAscending,
    WriteSectorOnce,
    WriteKeptCcfgToEnd,
    WriteListedSectorsOnce,
    AddressFits,
    ResultPlaces,
    OperationText,
    OperationName,
    // Properties.
    PropertySameTwice,
    PropertySteady,
    PropertyTextLives,
    PropertySetTakes,
    PropertySetCopies,
    SettingsOfPart,
    SettingsOfLoad,
    SettingsWhenOn,
    SettingsEraseText,
    SettingsSwitchText,
    // Memory and registers.
    MemoryFills,
    MemoryBounds,
    MemoryOrder,
    MemorySourceStays,
    MemoryReadsBack,
    RegisterValue,
    RouteSelects,
    CounterTakesOddAddress,
    RunWhileRunning,
    HaltWhileHalted,
    HaltLetsFinish,
    WaitBounded,
    // The flashloader's image.
    DirectoryGiven,
    DirectoryEnds,
    ImageFound,
    SymbolKnown,
    SymbolUnknown,
    SymbolValue,
    SymbolPlace,
    // Texts and failures.
    MessageTaken,
    ErrorTextLives,
    ErrorTextSays,
    ServiceNeverThrows,
    RecoverFromInitialize,
    RecoverFromPhaseOne,
    RecoverFromWrite,
    Count
};

inline constexpr std::size_t kRuleCount = static_cast<std::size_t>(Rule::Count);

struct RuleText {
    Rule rule;
    const char* topic;
    const char* name;     // unique, as the report names it
    const char* promise;  // one line
};

// All rules, in the order of `Rule`.
std::span<const RuleText, kRuleCount> AllRules();

inline const RuleText& TextOf(Rule rule) { return AllRules()[static_cast<std::size_t>(rule)]; }

}  // namespace flash::hostcheck
