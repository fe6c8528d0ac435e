#include "tests/fuzz/lumoflash/PrintedOptions.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <sstream>

#include "apps/lumoflash/PoolOptions.h"

namespace flash::fuzz {
namespace {

using app::Command;
using app::Options;
using Kind = PrintedOption::Kind;

class Printer {
public:
    explicit Printer(const Options& parsed) : options(parsed), command(app::CommandName(parsed.command)) {}

    std::vector<PrintedOption> Print() {
        PrintGlobal();
        switch (options.command) {
            case Command::Program:
                PrintFileOptions();
                PrintProgram();
                PutFlag("dry-run", options.isDryRun);
                PrintRecording();
                PutFlag("run", options.runsAfterwards);
                PutUnlessEmpty("picture", options.pictureFile, Kind::Path);
                PutUnlessEmpty("report", options.reportFile, Kind::Path);
                break;
            case Command::GdbServer:
                Put("listen", options.server.listen, Kind::Text);
                PutFlag("stdio", options.server.isStdio);
                PutFlag("once", options.server.isOnce);
                Put("packet-size", std::to_string(options.server.packetBytes), Kind::Number);
                PrintProgram();
                break;
            case Command::LineRun:
                PutUnlessEmpty("operator", options.line.operatorName, Kind::Text);
                PutUnlessEmpty("station", options.line.station, Kind::Text);
                break;
            case Command::LineReport:
                Put("out", options.line.out.string(), Kind::Path);
                break;
            case Command::PoolCreate:
                PrintRanges();
                break;
            case Command::PoolReconcile:
                PutFlag("journal-only", options.pool.isJournalAlone);
                Put("station", options.pool.station, Kind::Text);
                break;
            case Command::PoolExport:
                Put("out", options.pool.file.string(), Kind::Path);
                PutFlag("records", options.pool.hasRecords);
                break;
            case Command::Verify:
                PrintFileOptions();
                Put("by", options.verifyBy == host::VerifyBy::Link ? "link" : "target", Kind::Text);
                PrintRange();
                break;
            case Command::BlankCheck:
                PrintRange();
                break;
            case Command::Ccfg:
                PrintClosing();
                break;
            case Command::Read:
                PrintRead();
                break;
            case Command::Erase:
                Put("sectors", options.sectors);
                PutFlag("keep-ccfg", options.keepCcfg);
                PutFlag("dry-run", options.isDryRun);
                break;
            case Command::ValidatePlugin:
                if (options.validation.isListing) {  // excludes a path, whatever its value
                    PutFlag("list", true);
                }
                Put("time-limit", std::to_string(options.validation.limits.cpuSeconds), Kind::Number);
                break;
            default:
                break;
        }
        return std::move(printed);
    }

private:
    void PrintGlobal() {
        const std::string own = std::exchange(command, "");
        PutUnlessEmpty("device", options.device, Kind::Text);
        Put("probe", host::PrintProbeSpec(options.probe), Kind::Path);
        PutUnlessEmpty("plugin", options.plugin, Kind::Path);
        PutUnlessEmpty("devices", options.devicesFolder, Kind::Path);
        PutUnlessEmpty("data", options.dataFolder, Kind::Path);
        PutUnlessEmpty("trace", options.traceFile, Kind::Path);
        PutFlag("check-writes", options.checksWrites);
        PutFlag("verbose", options.isVerbose);
        PutFlag("json", options.isJson);
        PutFlag("quiet", options.isQuiet);
        PutFlag("no-color", options.isColorOff);
        PutFlag("yes", options.isAgreed);
        command = own;
    }

    void PrintFileOptions() {
        if (const auto base = options.fileOptions.binaryBase) {
            Put("base", std::to_string(*base), Kind::Number);
        }
        if (const auto format = options.fileOptions.format) {
            Put("format", std::string(host::FileFormatName(*format)), Kind::Text);
        }
    }

    void PrintProgram() {
        const host::ProgramOptions& program = options.program;
        const char* const erases[] = {"necessary", "retain", "all", "sectors:", "none"};
        const char* const verifications[] = {"crc", "readback", "none"};
        Put("erase", erases[static_cast<int>(program.erase)] + options.lists.erased, Kind::Text);
        Put("verify", verifications[static_cast<int>(program.verification)], Kind::Text);
        Put("write", program.write == host::WriteChoice::All ? "all" : "changed", Kind::Text);
        if (program.keepCcfg) {  // switched off it says something, too: the same as --replace-ccfg
            PutFlag("keep-ccfg", *program.keepCcfg);
        }
        PutFlag("replace-ccfg", false);
        Put("skip-pages", options.lists.skipped);
        if (program.skippedFill) {
            Put("skip-fill", std::to_string(*program.skippedFill), Kind::Number);
        }
        PutFlag("retain-ble", program.closing.retainBle);
        PutFlag("retain-ieee", program.closing.retainIeee);
        PrintClosing();
    }

    void PrintClosing() {
        const host::ClosingChanges& closing = options.program.closing;
        Put("ble", closing.ble);
        Put("ieee", closing.ieee);
        Put("protect", options.lists.protect);
        PutFlag("disable-bootloader", closing.disableBootloader);
        PutFlag("disable-debug", closing.disableDebug);
    }

    void PrintRecording() {
        const app::RecordingOptions& recording = options.recording;
        const char* const kinds[] = {"ieee", "ble"};
        std::string assign;
        for (const host::line::PoolKind kind : recording.assign) {
            assign += (assign.empty() ? "" : ",") + std::string(kinds[static_cast<int>(kind)]);
        }
        PutUnlessEmpty("assign", assign, Kind::Text);
        PutUnlessEmpty(assign.empty() ? "record" : "assign-from", recording.database, Kind::Database);
        PutFlag("was-erased", recording.wasErased);
        PutUnlessEmpty("operator", recording.operatorName, Kind::Text);
        Put("station", recording.place.station, Kind::Text);
        PutUnlessEmpty("slot", recording.place.slot, Kind::Text);
        Put("run-id", recording.place.run, Kind::Text);
    }

    void PrintRanges() {
        for (const host::line::AddressRange& range : options.pool.ranges) {
            Put(range.kind == host::line::PoolKind::Ieee ? "ieee" : "ble",
                AddressOf(range.kind, range.first).Text() + "-" + AddressOf(range.kind, range.last).Text(), Kind::Text);
        }
    }

    void PrintRead() {
        Put("out", options.outFile.string(), Kind::Path);
        Put("format", std::string(host::FileFormatName(options.outFormat)), Kind::Text);
        PrintRange();
    }

    void PrintRange() {
        if (options.range) {
            const auto [address, length] = *options.range;
            Put("range", std::to_string(address) + ":" + std::to_string(length), Kind::Text);
        }
    }

    void Put(const std::string& name, const std::string& value, Kind kind) {
        printed.push_back({command, name, value, kind});
    }
    void PutUnlessEmpty(const std::string& name, const std::string& value, Kind kind) {
        if (!value.empty()) {
            Put(name, value, kind);
        }
    }
    void Put(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            Put(name, *value, Kind::Text);
        }
    }
    void Put(const std::string& name, const std::optional<host::RadioAddress>& value) {
        if (value) {
            Put(name, value->Text(), Kind::Text);
        }
    }
    void PutFlag(const std::string& name, bool isOn) { Put(name, isOn ? "true" : "false", Kind::Flag); }

    const Options& options;
    std::string command;
    std::vector<PrintedOption> printed;
};

// Members one after the other; a text with its length, so that no two lists look alike.
class Description {
public:
    void Add(const std::string& value) { stream << value.size() << ":" << value << " "; }
    void Add(const std::filesystem::path& value) { Add(value.string()); }
    template <typename Value>
    requires std::is_arithmetic_v<Value> || std::is_enum_v<Value>
    void Add(Value value) { stream << static_cast<std::uint64_t>(value) << " "; }
    template <typename First, typename Second>
    void Add(const std::pair<First, Second>& value) {
        AddAll(value.first, value.second);
    }
    template <typename Value>
    void Add(const std::optional<Value>& value) {
        Add(value.has_value());
        if (value) {
            Add(*value);
        }
    }
    template <typename Value>
    void Add(const std::vector<Value>& values) {
        AddList(values);
    }
    void Add(const std::map<std::string, std::string>& values) { AddList(values); }

    void Add(const host::RadioAddress& value) { AddList(value.Bytes()); }
    void Add(const host::SectorSet& value) { AddAll(value.SectorCount(), value.Text()); }
    void Add(const app::SectorLists& value) {
        const auto& [erased, skipped, protect] = value;
        AddAll(erased, skipped, protect);
    }
    void Add(const host::ProbeSpec& value) {
        const auto& [kind, place, keys] = value;
        AddAll(kind, place, keys);
    }
    void Add(const host::ProgramSource& value) { AddAll(value.path, value.address); }
    void Add(const host::ReadOptions& value) {
        const auto& [format, base, onContent] = value;
        AddAll(format, base);
    }
    void Add(const host::ClosingChanges& value) {
        const auto& [retainBle, retainIeee, ble, ieee, pages, bootloader, debug] = value;
        AddAll(retainBle, retainIeee, ble, ieee, pages, bootloader, debug);
    }
    void Add(const host::ProgramOptions& value) {
        const auto& [erase, erased, keepCcfg, skippedSectors, skippedFill, verification, write, closing] = value;
        AddAll(erase, erased, keepCcfg, skippedSectors, skippedFill, verification, write, closing);
    }
    void Add(const app::GdbServerOptions& value) {
        const auto& [listen, isStdio, isOnce, packetBytes] = value;
        AddAll(listen, isStdio, isOnce, packetBytes);
    }
    void Add(const app::LineOptions& value) {
        const auto& [job, operatorName, station, database, out] = value;
        AddAll(job, operatorName, station, database, out);
    }
    void Add(const host::line::AddressRange& value) { AddAll(value.kind, value.first, value.last); }
    void Add(const host::line::Place& value) {
        const auto& [run, station, slot] = value;
        AddAll(run, station, slot);
    }
    void Add(const app::RecordingOptions& value) {
        const auto& [database, assign, wasErased, leaseAhead, place, operatorName] = value;
        AddAll(database, assign, wasErased, leaseAhead, place, operatorName);
    }
    void Add(const app::PoolOptions& value) {
        const auto& [database, address, ranges, file, hasRecords, isJournalAlone, burned, station] = value;
        AddAll(database, address, ranges, file, hasRecords, isJournalAlone, burned, station);
    }
    void Add(const validator::ValidatePluginOptions& value) {
        const auto& [path, checks, level, isListing, limits] = value;
        AddAll(path, checks, static_cast<int>(level), isListing, limits.cpuSeconds, limits.wallSeconds);
    }

    template <typename... Values>
    void AddAll(const Values&... values) {
        (Add(values), ...);
    }

    std::string Text() const { return stream.str(); }

private:
    template <typename List>
    void AddList(const List& list) {
        Add(list.size());
        for (const auto& value : list) {
            Add(value);
        }
    }

    std::ostringstream stream;
};

// The text that gives this source again: what ends like one with an address gets another "@".
std::string PrintSource(const host::ProgramSource& source) {
    const std::string path = source.path.string();
    if (source.address) {
        return path + "@" + std::to_string(*source.address);
    }
    return host::ParseProgramSource(path).path == path ? path : path + "@";
}

std::vector<std::string> Split(const std::string& command) {
    const std::size_t blank = command.find(' ');
    return blank == std::string::npos ? std::vector{command}
                                      : std::vector{command.substr(0, blank), command.substr(blank + 1)};
}

}  // namespace

std::vector<PrintedOption> PrintOptions(const Options& options) { return Printer(options).Print(); }

std::vector<std::string> PrintWords(const Options& options) {
    std::vector<std::string> words = Split(app::CommandName(options.command));
    std::ranges::transform(options.files, std::back_inserter(words), PrintSource);
    if (options.command == Command::MacRead) {
        const char* const kinds[] = {"pri-ble", "sec-ble", "pri-ieee", "sec-ieee"};
        for (const host::AddressKind kind : options.addressKinds) {
            words.push_back(kinds[static_cast<int>(kind)]);
        }
    }
    if (options.command == Command::MacWrite) {
        words.push_back(options.addressKinds.at(0) == host::AddressKind::SecondaryBle ? "ble" : "ieee");
        words.push_back(options.newAddress.value().Text());
    }
    if (options.command == Command::LineRun) {
        words.push_back(options.line.job);
    }
    if (options.command == Command::LineReport) {
        words.push_back(options.line.database);
    }
    if (app::IsOfPool(options.command)) {
        words.push_back(options.pool.database);
    }
    if (options.command == Command::PoolImport) {
        words.push_back(options.pool.file);
    }
    if (options.command == Command::PoolShow) {
        words.push_back(options.pool.address);
    }
    if (!options.validation.modulePath.empty()) {
        words.push_back(options.validation.modulePath);
    }
    return words;
}

std::string Describe(const Options& options) {
    const auto& [command, device, plugin, devicesFolder, dataFolder, traceFile, configFile, isConfigNamed, probe,
                 checksWrites, faults, properties, isVerbose, isJson, isQuiet, isColorOff, isAgreed, files, fileOptions,
                 program, lists, isDryRun, runsAfterwards, onlyChips, pictureFile, reportFile, verifyBy, outFile,
                 outFormat, range, sectors, keepCcfg, addressKinds, newAddress, validation, server, line, recording,
                 pool] = options;
    Description description;
    description.AddAll(command, device, plugin, devicesFolder, dataFolder, traceFile, probe, checksWrites, faults,
                       properties, isVerbose, isJson, isQuiet, isColorOff, isAgreed, files, fileOptions, program, lists,
                       isDryRun, runsAfterwards, pictureFile, reportFile, verifyBy, outFile, outFormat, range, sectors,
                       keepCcfg, addressKinds, newAddress, validation, server, line, onlyChips, pool);
    if (command == Command::Program) {  // for others a name is drawn that nobody asks for
        description.Add(recording);
    }
    return description.Text();
}

}  // namespace flash::fuzz
