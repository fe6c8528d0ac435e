// One row for each key.
#include "apps/lumoflash/JobFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

#include "apps/lumoflash/JobSlots.h"
#include "apps/lumoflash/JobValues.h"
#include "apps/lumoflash/RawOptions.h"
#include "apps/lumoflash/TomlFile.h"
#include "host/ccfg/RadioAddress.h"
#include "host/line/Database.h"
#include "host/line/PoolAddress.h"
#include "host/line/Stock.h"

namespace flash::app {
namespace {

using host::line::Job;
using host::line::StartMode;

constexpr std::int64_t kMostChips = 1'000'000'000;
constexpr std::size_t kHashDigits = 64;

// What the line tells each program by itself.
const std::set<std::string> kOwnOptions{"assign",  "assign-from", "lease-ahead", "record",  "operator",
                                        "station", "slot",        "run-id",      "dry-run", "only-chip"};

class JobReader {
public:
    JobReader(const std::filesystem::path& jobFile, const EntryCheck& entryCheck)
        : file(jobFile), values(file), name(jobFile.string()), checkEntry(entryCheck) {}

    Job Read() {
        values.ReadTable(file.Root(), Keys(), "a job");
        Require(!job.device.empty(), "device", "the part, for example device = \"LumoF2F352\"");
        Require(!job.files.empty(), "files", "what is programmed, for example files = [\"app.elf\"]");
        Require(!job.slots.empty(), "[[slot]]", "at least one, with a name and a probe");
        Require(job.assign.empty() || !job.database.empty(), "database", "where the addresses come from");
        CheckHashes();
        CheckLabel();
        return std::move(job);
    }

private:
    JobValues::Readers Keys() {
        return {
            {"device", [this](const auto& node) { job.device = values.Text(node, "device"); }},
            {"files", [this](const auto& node) { ReadFiles(node); }},
            {"hashes", [this](const auto& node) { ReadHashes(node); }},
            {"identities", [this](const auto& node) { ReadIdentities(node); }},
            {"database", [this](const auto& node) { ReadDatabase(node); }},
            {"assign", [this](const auto& node) { ReadAssign(node); }},
            {"lease-ahead",
             [this](const auto& node) {
                 job.leaseAhead = values.Number(node, "lease-ahead", host::line::kMostLeasedAhead);
             }},
            {"start", [this](const auto& node) { ReadStart(node); }},
            {"count", [this](const auto& node) { job.count = values.Number(node, "count", kMostChips); }},
            {"time-limit", [this](const auto& node) { job.timeLimit = values.Seconds(node, "time-limit"); }},
            {"bad-in-a-row",
             [this](const auto& node) { job.badInARow = values.Number(node, "bad-in-a-row", kMostChips); }},
            {"on-good", [this](const auto& node) { ReadLabel(node); }},
            {"on-good-time-limit",
             [this](const auto& node) { job.onGoodTimeLimit = values.Seconds(node, "on-good-time-limit"); }},
            {"operator", [this](const auto& node) { job.operatorName = values.Text(node, "operator"); }},
            {"station", [this](const auto& node) { job.station = values.Text(node, "station"); }},
            {"program", [this](const auto& node) { ReadProgram(node); }},
            {"slot", [this](const auto& node) { job.slots = ReadSlots(node, file, values); }},
        };
    }

    void Require(bool isThere, const std::string& key, const std::string& meaning) const {
        if (!isThere) {
            Refuse(fmt::format("{}: there is no {}: {}", name, key, meaning));
        }
    }

    std::filesystem::path MeantFromHere(const std::string& path) const {
        return (file.AbsoluteFolder() / path).lexically_normal();
    }

    void ReadFiles(const toml::node& node) {
        for (const std::string& text : values.Texts(node, "files")) {
            const host::ProgramSource source = host::ParseProgramSource(text);
            if (source.IsStandardInput()) {
                values.Complain(node, "files: standard input is there only once, for one chip");
            }
            job.files.push_back(MeantFromHere(text).string());
            job.paths.push_back(host::ParseProgramSource(job.files.back()).path);
        }
    }

    void ReadHashes(const toml::node& node) {
        for (const auto& [key, value] : values.Table(node, "hashes")) {
            const std::string hash = values.Text(value, "hashes");
            const bool isHash =
                hash.size() == kHashDigits && hash.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
            if (!isHash) {
                values.Complain(value,
                                fmt::format("the SHA-256 of {} has {} hexadecimal digits", key.str(), kHashDigits));
            }
            std::string& pinned = job.pinnedHashes[MeantFromHere(std::string(key.str()))];
            if (!pinned.empty()) {
                values.Complain(value, fmt::format("the SHA-256 of {} is there twice", key.str()));
            }
            std::ranges::transform(hash, std::back_inserter(pinned),
                                   [](char digit) { return digit >= 'A' && digit <= 'F' ? char(digit + 32) : digit; });
        }
    }

    void ReadIdentities(const toml::node& node) {
        for (const std::string& text : values.Texts(node, "identities")) {
            try {
                job.pinnedIdentities.push_back(
                    host::ParseRadioAddress(text, host::kIeeeAddressBytes, host::Field::Address).Text());
            } catch (const host::Failure&) {
                values.Complain(node, fmt::format("identities: \"{}\" is no address of 8 bytes, such as "
                                                  "02:00:00:00:00:00:00:01",
                                                  text));
            }
        }
    }

    void ReadDatabase(const toml::node& node) {
        const std::string text = values.Text(node, "database");
        if (!host::line::IsDatabaseName(text)) {
            values.Complain(node, fmt::format("database: \"{}\" is neither sqlite:FILE nor postgresql://…", text));
        }
        job.database = host::line::DatabaseMeantFrom(file.AbsoluteFolder().string(), text);
    }

    void ReadAssign(const toml::node& node) {
        job.assign = values.Texts(node, "assign");
        for (const std::string& kind : job.assign) {
            if (!host::line::ParseKind(kind)) {
                values.Complain(node, fmt::format("assign: \"{}\" is none of ieee, ble", kind));
            }
            if (std::ranges::count(job.assign, kind) != 1) {
                values.Complain(node, fmt::format("assign: {} is there twice", kind));
            }
        }
    }

    void ReadStart(const toml::node& node) {
        static const std::map<std::string, StartMode> modes{
            {"immediately", StartMode::Immediately}, {"key", StartMode::Key}, {"command", StartMode::Command}};
        const std::string text = values.Text(node, "start");
        const auto mode = modes.find(text);
        if (mode == modes.end()) {
            values.Complain(node, fmt::format("start: \"{}\" is none of immediately, key, command", text));
        }
        job.start = mode->second;
    }

    void ReadLabel(const toml::node& node) {
        labelPlace = file.PlaceOf(node);
        try {
            job.onGood = host::line::SplitWords(values.Text(node, "on-good"));
        } catch (const std::invalid_argument& error) {
            values.Complain(node, fmt::format("on-good: {}", error.what()));
        }
    }

    void CheckHashes() const {
        for (const auto& [path, hash] : job.pinnedHashes) {
            Require(std::ranges::find(job.paths, path) != job.paths.end(), path.string() + " in files",
                    "hashes tells its SHA-256");
        }
    }

    void CheckLabel() const {
        try {
            for (const std::string& word : job.onGood) {
                host::line::FillIn(word, {{"ieee", ""}, {"ble", ""}, {"n", ""}, {"slot", ""}, {"identity", ""}});
            }
        } catch (const std::invalid_argument& error) {
            Refuse(fmt::format("{}: on-good: {}; there are {{ieee}}, {{ble}}, {{identity}}, {{slot}} and {{n}}",
                               labelPlace, error.what()));
        }
    }

    void ReadProgram(const toml::node& node) {
        for (const auto& [key, value] : values.Table(node, "program")) {
            const std::string option(key.str());
            ConfigEntry entry{"program", option, file.TextsOf(value, option), file.PlaceOf(value)};
            if (kOwnOptions.contains(entry.option)) {
                values.Complain(value, fmt::format("{} is what the line tells each program by itself", entry.option));
            }
            checkEntry(entry);
            for (const std::string& text : entry.values) {
                job.programOptions.push_back(
                    fmt::format("--{}={}", option, MeantFrom(file.AbsoluteFolder(), option, text)));
            }
        }
    }

    TomlFile file;
    JobValues values;
    std::string name;
    const EntryCheck& checkEntry;
    Job job;
    std::string labelPlace;
};

}  // namespace

Job ReadJob(const std::filesystem::path& file, const EntryCheck& checkEntry) {
    return JobReader(file, checkEntry).Read();
}

}  // namespace flash::app
