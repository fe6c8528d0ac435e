#include "apps/lumoflash/Report.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>

#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/Picture.h"
#include "apps/lumoflash/Texts.h"
#include "apps/lumoflash/Version.h"
#include "host/Failure.h"
#include "host/files/FileHash.h"

namespace flash::app {
namespace {

using nlohmann::json;

std::chrono::nanoseconds NanosecondsOf(const json& microseconds) {
    return std::chrono::nanoseconds(std::llround(microseconds.get<double>() * 1000));
}

// A report is no reason to fail because a file has gone meanwhile.
std::string HashOrReason(const std::filesystem::path& file) {
    try {
        return "SHA-256 " + host::FileHash(file);
    } catch (const host::Failure& failure) {
        return failure.what();
    }
}

host::ReportFacts ChipFacts(const host::Connection& connection) {
    const host::ChipInfo& info = connection.GetSession().Info();
    return {{"Part", connection.PartName() + ", " + connection.Device().summary},
            {"Connected to", connection.GetProbe().Describe()},
            {"Flash", info.flashText},
            {"RAM", info.ramText},
            {"Revision", info.revisionText}};
}

// What was read, and of what was not the reason why.
host::ReportFacts ProgramFiles(const Options& options, const std::vector<std::string>& hashes) {
    host::ReportFacts facts;
    for (const host::ProgramSource& file : options.files) {
        const bool isRead = facts.size() < hashes.size();
        facts.emplace_back(file.IsStandardInput() ? "standard input" : file.path.string(),
                           isRead                   ? "SHA-256 " + hashes[facts.size()]
                           : file.IsStandardInput() ? "not read"
                                                    : HashOrReason(file.path));
    }
    return facts;
}

bool HasLoadedFlashloader(const RunRecorder& recorder) {
    return std::ranges::find(recorder.Phases(), host::StageName(host::Stage::Load), &host::ReportPhase::name) !=
           recorder.Phases().end();
}

// The part's, or what the user has put in its place.
std::filesystem::path FlashloaderOf(const Options& options, const host::DeviceDescription& device) {
    const std::filesystem::path dataFolder = OrDefault(options.dataFolder, FindLocations().dataFolder);
    const std::string key = "DeviceFlashloaderFile";
    const auto given = options.properties.find(key);
    return dataFolder / "arm" / (given == options.properties.end() ? device.properties.at(key) : given->second);
}

host::ReportFacts Versions(const Options& options, const host::Connection* connection, const RunParts& parts) {
    host::ReportFacts facts = ProgramFiles(options, parts.recorder.FileHashes());
    facts.emplace(facts.begin(), "lumoflash", VersionText());
    if (connection != nullptr) {
        const std::filesystem::path plugin = connection->Plugin().Path();
        facts.emplace_back(plugin.string(), HashOrReason(plugin));
    }
    if (connection != nullptr && HasLoadedFlashloader(parts.recorder)) {
        const std::filesystem::path image = FlashloaderOf(options, connection->Device());
        facts.emplace_back(image.string(), HashOrReason(image));
    }
    return facts;
}

host::RunReport MakeReport(const Options& options, const Outcome& outcome, const host::Connection* connection,
                           const RunParts& parts) {
    host::RunReport report;
    report.title = PictureTitle(connection == nullptr ? options.device : connection->PartName(), options);
    report.verdict = outcome.exitCode == 0 ? VerdictText(outcome) : outcome.text;
    report.exitCode = outcome.exitCode;
    report.bytes = outcome.bytes;
    report.elapsed = outcome.elapsed;
    report.picture = parts.picture;
    report.phases = parts.recorder.Phases();
    report.versions = Versions(options, connection, parts);
    if (connection != nullptr) {
        report.chip = ChipFacts(*connection);
        const host::TimelineService* timeline = connection->GetProbe().Timeline();
        report.lanes = timeline == nullptr ? std::vector<host::ReportLane>() : LanesOf(timeline->TraceJson());
    }
    return report;
}

}  // namespace

std::vector<host::ReportLane> LanesOf(const std::string& traceJson) {
    std::map<int, host::ReportLane> lanes;
    const json trace = json::parse(traceJson);
    for (const json& event : trace.at("traceEvents")) {
        const std::string kind = event.at("ph");
        if (kind == "M" && event.at("name") == "thread_name") {
            lanes[event.at("tid")].name = event.at("args").at("name");
        } else if (kind == "X") {
            const std::chrono::nanoseconds start = NanosecondsOf(event.at("ts"));
            lanes[event.at("tid")].slices.push_back({start, start + NanosecondsOf(event.at("dur"))});
        }
    }
    std::vector<host::ReportLane> filled;
    for (auto& [number, lane] : lanes) {
        std::ranges::sort(lane.slices, {}, &host::ReportSlice::start);
        if (!lane.slices.empty()) {
            filled.push_back(std::move(lane));
        }
    }
    return filled;
}

void SaveReport(const Options& options, const Outcome& outcome, const host::Connection* connection,
                const RunParts& parts) {
    if (!options.reportFile.empty()) {
        SaveText(options.reportFile, host::DrawRunReport(MakeReport(options, outcome, connection, parts)));
    }
}

}  // namespace flash::app
