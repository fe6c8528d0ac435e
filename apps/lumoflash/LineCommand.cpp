// What each slot's program is told, and what becomes of its end.
#include "apps/lumoflash/LineCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "apps/lumoflash/ChiplessCommands.h"
#include "apps/lumoflash/CommandLine.h"
#include "apps/lumoflash/JobFile.h"
#include "apps/lumoflash/LineInput.h"
#include "apps/lumoflash/LineRecord.h"
#include "apps/lumoflash/LineReport.h"
#include "apps/lumoflash/LineTexts.h"
#include "apps/lumoflash/LineView.h"
#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/PoolOptions.h"
#include "host/Failure.h"
#include "host/Words.h"
#include "host/backends/OpenProbe.h"
#include "host/devices/DeviceDescription.h"
#include "host/line/Database.h"
#include "host/line/FileHashes.h"
#include "host/line/Record.h"
#include "host/line/Schema.h"
#include "host/line/Station.h"

namespace flash::app {
namespace {

using host::line::Job;
using host::line::Line;
using host::line::Slot;
using host::line::StartMode;

constexpr const char* kThisProgram = "/proc/self/exe";

void Append(std::vector<std::string>& words, const std::string& option, const std::string& value) {
    if (!value.empty()) {
        words.push_back(option + "=" + value);
    }
}

// What the user told the line and what holds for every command, so for each chip, too.
std::vector<std::string> SharedWords(const Options& options) {
    std::vector<std::string> words;
    Append(words, "--plugin", options.plugin.string());
    Append(words, "--devices", options.devicesFolder.string());
    Append(words, "--data", options.dataFolder.string());
    Append(words, "--config", options.isConfigNamed ? options.configFile.string() : "");
    for (const auto& [key, value] : options.properties) {
        words.push_back(fmt::format("--property={}={}", key, value));
    }
    if (options.isAgreed) {
        words.emplace_back("--yes");
    }
    return words;
}

class LineRun {
public:
    LineRun(const Options& runOptions, Job theJob)
        : options(runOptions), line(std::move(theJob)), hashes(host::line::HashFiles(GetJob().paths)) {
        host::line::RequireSame(GetJob().pinnedHashes, hashes, "this is not the file that the job is about");
    }

    Outcome Run(const std::atomic<bool>& isInterrupted) {
        host::FindDevice(host::LoadDeviceDescriptions(DevicesFolderFor(options, FindLocations())).devices,
                         GetJob().device);
        MakeChipFolders();
        const std::string lost = CheckDatabase();
        const auto view = MakeLineView(options);
        if (!lost.empty()) {
            view->Note(lost);
        }
        const InterruptPipe interrupts(isInterrupted);
        const bool hasKeys = GetJob().start == StartMode::Key;
        const std::optional<KeyInput> keys = hasKeys ? std::optional<KeyInput>(std::in_place) : std::nullopt;
        host::line::Station station(line, Duties(*view, interrupts.Reading()));
        station.Run();
        std::ranges::for_each(SendRecords(GetJob()), [&](const std::string& text) { view->Note(text); });
        return Verdict();
    }

private:
    const Job& GetJob() const { return line.GetJob(); }

    host::line::StationDuties Duties(host::line::StationView& view, int interrupts) {
        return {.programFor = [this](const Slot& slot) { return ProgramFor(slot); },
                .labelFor = [this](const Slot& slot) { return LabelFor(slot); },
                .checkFiles = [this] { CheckFiles(); },
                .record = [this](const Slot& slot) { RecordBadChip(GetJob(), hashes, slot); },
                .drawRunId = host::line::DrawRunName,
                .view = view,
                .interrupts = interrupts,
                .requests = GetJob().start == StartMode::Immediately ? -1 : STDIN_FILENO};
    }

    // What would be wrong for every chip is told before the first one; a database that is away may come back.
    std::string CheckDatabase() const {
        if (GetJob().database.empty()) {
            return "";
        }
        try {
            host::line::RequireSchema(*host::line::OpenDatabase(GetJob().database));
            return "";
        } catch (const host::line::DatabaseLost& failure) {
            return failure.what();
        }
    }

    // A new virtual chip is kept where the job says, as is a record.
    void MakeChipFolders() const {
        for (const Slot& slot : line.Slots()) {
            if (const auto file = host::FileOf(host::ParseProbe(slot.Plan().probe))) {
                std::error_code refused;  // then the program tells what is wrong with the file
                std::filesystem::create_directories(file->parent_path(), refused);
            }
        }
    }

    std::vector<std::string> ProgramFor(const Slot& slot) const {
        const Job& job = GetJob();
        std::vector<std::string> words{kThisProgram, "--json", "--device", job.device, "--probe", slot.Run()->probe};
        std::ranges::copy(SharedWords(options), std::back_inserter(words));
        words.emplace_back("program");
        std::ranges::copy(job.programOptions, std::back_inserter(words));
        for (const std::string& identity : job.pinnedIdentities) {
            Append(words, "--only-chip", identity);
        }
        AppendRecording(words, slot);
        words.emplace_back("--");
        std::ranges::copy(job.files, std::back_inserter(words));
        return words;
    }

    void AppendRecording(std::vector<std::string>& words, const Slot& slot) const {
        const Job& job = GetJob();
        if (job.database.empty()) {
            return;
        }
        if (!job.assign.empty()) {
            Append(words, "--assign", fmt::format("{}", fmt::join(job.assign, ",")));
            Append(words, "--assign-from", job.database);
            Append(words, "--lease-ahead", job.leaseAhead == 0 ? "" : std::to_string(job.leaseAhead));
        }
        Append(words, "--record", job.database);
        Append(words, "--operator", job.operatorName);
        Append(words, "--station", job.station);
        Append(words, "--slot", slot.Plan().name);
        Append(words, "--run-id", slot.Run()->id);
    }

    std::vector<std::string> LabelFor(const Slot& slot) const {
        const std::map<std::string, std::string>& known = slot.Run()->addresses;
        const auto addressOf = [&](const std::string& kind) {
            const auto own = known.find("secondary " + kind), factory = known.find("primary " + kind);
            return own != known.end() ? own->second : factory != known.end() ? factory->second : "";
        };
        const auto identity = known.find("primary IEEE");
        const std::map<std::string, std::string> values{{"ieee", addressOf("IEEE")},
                                                        {"ble", addressOf("BLE")},
                                                        {"identity", identity == known.end() ? "" : identity->second},
                                                        {"slot", slot.Plan().name},
                                                        {"n", std::to_string(slot.Run()->number)}};
        std::vector<std::string> words;
        std::ranges::transform(GetJob().onGood, std::back_inserter(words),
                               [&](const std::string& word) { return host::line::FillIn(word, values); });
        return words;
    }

    void CheckFiles() const {
        host::line::RequireSame(hashes, host::line::HashFiles(GetJob().paths),
                                "the file has changed while the line runs; start the line anew if that is meant");
    }

    Outcome Verdict() const {
        const std::string counts = fmt::format("{} good, {} bad", host::Counted(line.Good(), "chip"), line.Bad());
        if (!line.Trouble().empty()) {
            return {static_cast<int>(host::FailureKind::Operation), line.Trouble() + "; " + counts, 0, {}};
        }
        if (line.Bad() != 0) {
            return {static_cast<int>(host::FailureKind::Operation), counts, 0, {}};
        }
        // Who ends the line has seen how many there were: chips that nobody put in are no bad ones.
        const std::string ended =
            line.IsWhole() ? "" : fmt::format("Ended before all chips were done: {}; ", ProgressOf(line));
        return {line.Good() != 0 ? 0 : static_cast<int>(host::FailureKind::Interrupted), ended + counts, 0, {}};
    }

    const Options& options;
    Line line;
    host::line::FileHashes hashes;
};

Job JobOf(const Options& options) {
    Job job = ReadJob(options.line.job, MakeEntryCheck());
    job.operatorName = options.line.operatorName.empty() ? job.operatorName : options.line.operatorName;
    job.station = options.line.station.empty() ? job.station : options.line.station;
    job.station = job.station.empty() ? HostName() : job.station;
    return job;
}

}  // namespace

Outcome RunLine(const Options& options, const std::atomic<bool>& isInterrupted) {
    return options.command == Command::LineReport ? WriteLineReport(options.line)
                                                  : LineRun(options, JobOf(options)).Run(isInterrupted);
}

}  // namespace flash::app
