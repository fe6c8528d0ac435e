// The command line of lumoflash, parsed and checked; nothing is touched yet.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/files/ProgramFile.h"
#include "host/plan/WritePlan.h"
#include "host/probe/ProbeSpec.h"
#include "host/session/Session.h"
#include "validator/ValidatePlugin.h"

namespace flash::app {

enum class Command { Program, Verify, Read, Erase, BlankCheck, Info, MacRead, MacWrite, Ccfg, Devices, ValidatePlugin };

// "program", "mac read", …
std::string CommandName(Command command);

struct Options {
    Command command = Command::Info;

    // For every command.
    std::string device;
    std::filesystem::path plugin, devicesFolder, dataFolder, traceFile;
    host::ProbeSpec probe;
    std::map<std::string, std::string> properties;  // host properties, by key
    bool isVerbose = false, isJson = false, isQuiet = false, isColorOff = false, isAgreed = false;

    // program, verify
    std::vector<std::filesystem::path> files;
    host::ReadOptions fileOptions;
    host::ProgramOptions program;  // `closing` is also that of ccfg
    bool isDryRun = false;

    // read
    std::filesystem::path outFile;
    host::FileFormat outFormat = host::FileFormat::Binary;
    std::optional<std::pair<std::uint32_t, std::uint32_t>> range;  // address, length

    // erase
    std::optional<std::string> sectors;
    bool keepCcfg = false;

    // mac
    std::vector<host::AddressKind> addressKinds;
    std::string newAddress;

    // validate-plugin
    host::ValidatePluginOptions validation;
};

// Exactly one of the two.
struct ParsedCommandLine {
    std::optional<Options> options;
    std::optional<std::string> help;  // or the version: what to print instead of a command's work
};

// Throws Failure (BadInput) for whatever is wrong.
ParsedCommandLine ParseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace flash::app
