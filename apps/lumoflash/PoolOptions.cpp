#include "apps/lumoflash/PoolOptions.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

#include "apps/lumoflash/OptionKinds.h"
#include "host/Numbers.h"
#include "host/line/Record.h"
#include "host/line/Stock.h"

namespace flash::app {
namespace {

using host::line::PoolKind;

constexpr const char* kDatabaseHelp = "sqlite:FILE or postgresql://USER@HOST/NAME";
constexpr std::size_t kLongestName = 64;

CLI::App& AddPoolCommand(CLI::App& pool, const CommandAdder& addCommand, Options& options, Command command,
                         const std::string& name, const std::string& description, const std::string& example) {
    CLI::App& added = *addCommand(pool, command, name, description, "");
    added.footer("Example:\n  lumoflash pool " + name + " sqlite:line.db" + example);
    added.add_option("DB", options.pool.database, kDatabaseHelp)->required();
    return added;
}

std::vector<PoolKind> ParseKinds(const std::string& text) {
    std::vector<PoolKind> kinds;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string word = text.substr(begin, end - begin);
        const std::optional<PoolKind> kind = host::line::ParseKind(word);
        if (!kind || std::ranges::find(kinds, *kind) != kinds.end()) {
            Refuse(fmt::format("--assign: \"{}\" is not ieee, ble or ieee,ble", text));
        }
        kinds.push_back(*kind);
        begin = end + 1;
    }
    return kinds;
}

// It ends up in files that people and other programs read line by line.
void RequireName(const std::string& name, const std::string& option) {
    const bool isPlain =
        std::ranges::all_of(name, [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != 0x7F; });
    if (name.size() > kLongestName || !isPlain) {
        Refuse(fmt::format("{}: give at most {} characters, and none that controls a terminal", option, kLongestName));
    }
}

void RefuseTwoSources(const Options& options) {
    const host::ClosingChanges& closing = options.program.closing;
    for (const PoolKind kind : options.recording.assign) {
        const bool isIeee = kind == PoolKind::Ieee;
        if (isIeee ? closing.ieee || closing.retainIeee : closing.ble || closing.retainBle) {
            Refuse(fmt::format("--assign {0} excludes --{0} and --retain-{0}: which address is it to be?",
                               host::line::KindName(kind)));
        }
    }
}

std::size_t ReadLeaseAhead(const std::string& text) {
    const std::optional<std::uint32_t> count = host::ParseDecimal(text);
    if (!count || *count == 0 || *count > host::line::kMostLeasedAhead) {
        Refuse(fmt::format("--lease-ahead: \"{}\" is no number from 1 to {}", text, host::line::kMostLeasedAhead));
    }
    return *count;
}

// What only the options of one load together can get wrong; a configuration file may have but one of them.
void RefuseHalfAnAssignment(const RawOptions& raw, const Options& options) {
    if (raw.assign.empty() != raw.assignFrom.empty()) {
        Refuse("--assign and --assign-from belong together: which addresses, and from which database");
    }
    if (!raw.assignFrom.empty() && !raw.record.empty() && raw.assignFrom != raw.record) {
        Refuse("--record: the record goes where --assign-from takes the addresses");
    }
    if (options.recording.leaseAhead != 0 && raw.assign.empty()) {
        Refuse("--lease-ahead: there is no --assign, so which addresses?");
    }
    RefuseTwoSources(options);
}

void FinishRecording(const RawOptions& raw, Options& options) {
    RecordingOptions& recording = options.recording;
    recording.database = raw.assignFrom.empty() ? raw.record : raw.assignFrom;
    recording.assign = raw.assign.empty() ? std::vector<PoolKind>() : ParseKinds(raw.assign);
    recording.leaseAhead = raw.leaseAhead.empty() ? 0 : ReadLeaseAhead(raw.leaseAhead);
    recording.place.station = raw.station.empty() ? HostName() : raw.station;
    recording.place.run = raw.run.empty() ? host::line::DrawRunName() : raw.run;
    RequireName(recording.place.station, "--station");
    RequireName(recording.place.slot, "--slot");
    RequireName(recording.place.run, "--run-id");
    RequireName(recording.operatorName, "--operator");
    if (options.command == Command::Program) {
        RefuseHalfAnAssignment(raw, options);
    }
}

void RequireDatabase(const std::string& name) {
    if (!name.empty() && !host::line::IsDatabaseName(name)) {
        Refuse(fmt::format("\"{}\" is no database: give {}", name, kDatabaseHelp));
    }
}

}  // namespace

std::string HostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "unnamed";
}

void AddPool(CLI::App& app, const CommandAdder& addCommand, Options& options, RawOptions& raw) {
    CLI::App* pool = app.add_subcommand("pool", "Keeps radio addresses, each for one chip.");
    pool->require_subcommand(1);
    pool->fallthrough();
    pool->footer("Example:\n  lumoflash pool status sqlite:line.db");
    const auto add = [&](Command command, const std::string& name, const std::string& description,
                         const std::string& example) -> CLI::App& {
        return AddPoolCommand(*pool, addCommand, options, command, name, description, example);
    };
    CLI::App& create =
        add(Command::PoolCreate, "create", "Makes a pool in a database.", " --ble C2:00:00:00:00:00-C2:00:00:00:03:E7");
    create.add_option("--ieee", raw.poolIeee, "FIRST-LAST, IEEE addresses of eight bytes");
    create.add_option("--ble", raw.poolBle, "FIRST-LAST, BLE addresses of six bytes");
    add(Command::PoolImport, "import", "Adds addresses from a file: a line of CSV for each.", " addresses.csv")
        .add_option("FILE", options.pool.file, "kind,address or what `pool export` writes")
        ->required();
    add(Command::PoolStatus, "status", "Counts the addresses by state.", "");
    add(Command::PoolShow, "show", "Tells all about an address, or about a chip by its identity.", " C2:00:00:00:00:07")
        .add_option("ADDRESS", options.pool.address, "IEEE or BLE")
        ->required();
    CLI::App& reconcile =
        add(Command::PoolReconcile, "reconcile",
            "Brings the pool in line with this station's journal, and with the chip that --device names.", "");
    AddFlag(reconcile, "--journal-only", options.pool.isJournalAlone, "Do not look at a chip");
    TakeOneAtATime(*reconcile.add_option("--burn", options.pool.burned,
                                         "A leased address that no chip will ask for again; may be repeated"));
    reconcile.add_option("--station", raw.station, "This machine's name, instead of its host name");
    CLI::App& exported =
        add(Command::PoolExport, "export", "Writes all addresses, or all records, into a file.", " --out pool.csv");
    exported.add_option("--out,-o", options.pool.file, "The file; records as JSON lines when it ends in .jsonl")
        ->required();
    AddFlag(exported, "--records", options.pool.hasRecords, "What happened to each chip, instead of the addresses");
}

void AddRecording(CLI::App& command, Options& options, RawOptions& raw) {
    command.add_option("--assign", raw.assign, "ieee, ble or ieee,ble: new secondary addresses from a pool");
    command.add_option("--assign-from", raw.assignFrom, std::string("The pool's database, ") + kDatabaseHelp);
    command.add_option("--lease-ahead", raw.leaseAhead,
                       "Keep so many addresses of each kind for this station, to go on while the database is lost");
    AddFlag(command, "--was-erased", options.recording.wasErased,
            "The chip was erased since it got its addresses; give them again");
    command.add_option("--record", raw.record, "Keep a record of the chip in this database");
    command.add_option("--operator", options.recording.operatorName, "Who is there, for the record");
    command.add_option("--station", raw.station, "This machine's name in it, instead of its host name");
    command.add_option("--slot", options.recording.place.slot, "The chip's place in it");
    command.add_option("--run-id", raw.run, "This run's name in it, never used before, instead of one that is drawn");
}

bool IsOfPool(Command command) { return command >= Command::PoolCreate && command <= Command::PoolExport; }

void FinishPoolOptions(const RawOptions& raw, Options& options) {
    FinishRecording(raw, options);
    RequireDatabase(options.recording.database);
    RequireDatabase(options.pool.database);
    options.pool.station = options.recording.place.station;
    if (!raw.poolIeee.empty()) {
        options.pool.ranges.push_back(host::line::ParseAddressRange(raw.poolIeee, PoolKind::Ieee));
    }
    if (!raw.poolBle.empty()) {
        options.pool.ranges.push_back(host::line::ParseAddressRange(raw.poolBle, PoolKind::Ble));
    }
    const bool needsPart = options.command == Command::PoolReconcile && !options.pool.isJournalAlone;
    options.pool.isJournalAlone = !needsPart || options.device.empty();
}

}  // namespace flash::app
