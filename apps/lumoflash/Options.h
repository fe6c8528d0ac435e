// What a user asks of lumoflash, checked as far as that can be done without a chip.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/ccfg/RadioAddress.h"
#include "host/files/ProgramFile.h"
#include "host/line/Pool.h"
#include "host/probe/ProbeSpec.h"
#include "host/session/Session.h"
#include "host/settings/ProgramOptions.h"
#include "validator/ValidatePlugin.h"

namespace flash::app {

enum class Command {
    Program,
    Verify,
    Read,
    Erase,
    BlankCheck,
    Info,
    MacRead,
    MacWrite,
    Ccfg,
    Devices,
    ValidatePlugin,
    Reset,
    GdbServer,
    LineRun,
    LineReport,
    PoolCreate,
    PoolImport,
    PoolStatus,
    PoolShow,
    PoolReconcile,
    PoolExport,
};

struct GdbServerOptions {
    std::string listen = "127.0.0.1:3333";  // HOST:PORT
    bool isStdio = false;
    bool isOnce = false;
    std::uint32_t packetBytes = 0x4000;
};

struct LineOptions {
    std::filesystem::path job;
    std::string operatorName, station;  // instead of the job's
    std::string database;
    std::filesystem::path out;  // of the report
};

inline bool IsOfLine(Command command) { return command == Command::LineRun || command == Command::LineReport; }

// Of program: addresses from a pool, and the record of the chip.
struct RecordingOptions {
    std::string database;                      // empty for neither
    std::vector<host::line::PoolKind> assign;  // empty for a record alone
    bool wasErased = false;
    std::size_t leaseAhead = 0;  // addresses of each kind
    host::line::Place place;
    std::string operatorName;
};

// Of the commands of pool.
struct PoolOptions {
    std::string database, address;
    std::vector<host::line::AddressRange> ranges;
    std::filesystem::path file;  // that is read or written
    bool hasRecords = false;     // instead of the addresses
    bool isJournalAlone = false;
    std::vector<std::string> burned;
    std::string station;
};

// "program", "mac read", …
std::string CommandName(Command command);

// Lists of sectors as they were given: what is in them depends on the chip.
struct SectorLists {
    std::string erased;
    std::optional<std::string> skipped, protect;
};

struct Options {
    Command command = Command::Info;

    // For every command.
    std::string device;
    std::filesystem::path plugin, devicesFolder, dataFolder, traceFile;
    std::filesystem::path configFile;
    bool isConfigNamed = false;  // by the user, not only found
    host::ProbeSpec probe;
    bool checksWrites = false;                      // of a GDB server
    std::vector<std::string> faults;                // of the virtual chip
    std::map<std::string, std::string> properties;  // host properties, by key
    bool isVerbose = false, isJson = false, isQuiet = false, isColorOff = false, isAgreed = false;

    // program, verify; gdbserver has `program`, too
    std::vector<host::ProgramSource> files;
    host::ReadOptions fileOptions;
    host::ProgramOptions program;  // `closing` is also that of ccfg; both without the lists
    SectorLists lists;
    bool isDryRun = false;
    bool runsAfterwards = false;
    std::vector<host::RadioAddress> onlyChips;  // by their primary IEEE addresses; empty for any
    std::filesystem::path pictureFile, reportFile;
    host::VerifyBy verifyBy = host::VerifyBy::Target;

    // read
    std::filesystem::path outFile;
    host::FileFormat outFormat = host::FileFormat::Binary;

    // read, verify, blank-check
    std::optional<std::pair<std::uint32_t, std::uint32_t>> range;  // address, length

    // erase; `isDryRun`, too
    std::optional<std::string> sectors;
    bool keepCcfg = false;

    // mac
    std::vector<host::AddressKind> addressKinds;
    std::optional<host::RadioAddress> newAddress;

    // validate-plugin
    validator::ValidatePluginOptions validation;

    GdbServerOptions server;
    LineOptions line;
    RecordingOptions recording;
    PoolOptions pool;
};

// Only such a command makes a chip where there is none, and keeps what became of it.
bool ChangesChip(const Options& options);

// With what other options say about it. Throws BadInput for what it cannot do.
host::ProbeSpec ProbeOf(const Options& options);

// The options of a load or a change on a chip of so many sectors. Throws BadInput for a wrong list.
host::ProgramOptions ProgramOptionsFor(const Options& options, std::uint32_t sectorCount);

}  // namespace flash::app
