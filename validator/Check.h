// One named demand on a plug-in, and the situation in which it is put to the test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "validator/Expectation.h"
#include "validator/ModuleUnderCheck.h"
#include "validator/simulation/SimulatedHost.h"

namespace flash::validator {

using simulation::AnswerAfterPolls;
using simulation::AnswerWithStatus;
using simulation::BlockAddress;
using simulation::ChipModel;
using simulation::HostCall;
using simulation::kAnswerNever;
using simulation::kEntryPoint;
using simulation::kFailureText;
using simulation::kFirstGeneration;
using simulation::kSecondGeneration;
using simulation::kStatusNotDone;
using simulation::PostedCommand;
using simulation::Service;
using simulation::SimulatedHost;
using simulation::StatusAddress;

struct Check {
    const char* topic;
    const char* name;    // unique
    const char* demand;  // one line
    void (*run)(const ModuleUnderCheck& module);
};

// All checks, by topic, in the order in which they run.
const std::vector<Check>& AllChecks();

// The first of all, and none of them: when it fails, no other can say anything.
extern const Check kCanBeLoaded;

// By its name; null for one that there is not.
const Check* FindCheck(std::string_view name);

// How far one goes: a level has its own checks and those of the levels above it in this list.
enum class Level { Loads, Starts, Programs, Everything };

struct LevelText {
    Level level;
    const char* name;
    const char* help;
};

inline constexpr LevelText kLevels[] = {
    {Level::Loads, "loads", "the module as a file: loaded, unloaded, what it exports, holds and leaves behind"},
    {Level::Starts, "starts", "also what a device tells before any work: generation, start-up, addresses, texts"},
    {Level::Programs, "programs", "also loads and operations: phases, program load, crc, time-out, operations"},
    {Level::Everything, "everything",
     "also radio addresses, pages, CCFG kept and changed, and hosts whose services fail"},
};

Level LevelOf(const Check& check);

// One table per file in `checks/`.
std::vector<Check> LoadingChecks();
std::vector<Check> GenerationChecks();
std::vector<Check> StartUpChecks();
std::vector<Check> AddressChecks();
std::vector<Check> TextChecks();
std::vector<Check> PhaseChecks();
std::vector<Check> ProgramLoadChecks();
std::vector<Check> CrcChecks();
std::vector<Check> TimeOutChecks();
std::vector<Check> OperationChecks();
std::vector<Check> MacAddressChecks();
std::vector<Check> KeepCcfgChecks();
std::vector<Check> PageChecks();
std::vector<Check> CcfgChangeChecks();
std::vector<Check> FailingHostChecks();

inline constexpr char kFirstName[] = "LumoD10";
inline constexpr char kSecondName[] = "LumoF20";

inline const char* NameFor(const ChipModel& model) {
    return model.sectorSize == kFirstGeneration.sectorSize ? kFirstName : kSecondName;
}

// A host and a device that is not yet initialised.
struct NewDevice {
    explicit NewDevice(const ModuleUnderCheck& module, const ChipModel& model = kFirstGeneration,
                       const char* name = nullptr)
        : host(model), device(module, name == nullptr ? NameFor(model) : name, host) {}

    SimulatedHost host;
    DeviceUnderCheck device;
};

// A host and a device after `Initialize`, with an empty journal.
struct ReadyDevice : NewDevice {
    explicit ReadyDevice(const ModuleUnderCheck& module, const ChipModel& model = kFirstGeneration)
        : NewDevice(module, model) {
        device.Initialize();
        host.ForgetCalls();
    }
};

// Bytes that differ from their neighbours and from the erased value.
std::vector<std::uint8_t> Pattern(std::size_t size, std::uint8_t seed = 1);

// Commands as "code@address+length", in the order of posting.
std::vector<std::string> CommandTexts(const SimulatedHost& host);

std::vector<std::uint8_t> FlashBytes(const SimulatedHost& host, std::size_t address, std::size_t length);

}  // namespace flash::validator
