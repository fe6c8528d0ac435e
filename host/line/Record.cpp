#include "host/line/Record.h"

#include <fmt/format.h>
#include <sodium.h>

#include <array>
#include <nlohmann/json.hpp>

#include "host/Failure.h"
#include "host/line/Csv.h"

namespace flash::host::line {

using nlohmann::json;

namespace {

json DocumentOf(const Record& record) {
    json files = json::array();
    for (const RecordedFile& file : record.files) {
        files.push_back({{"name", file.name}, {"sha256", file.sha256}});
    }
    return {{"run", record.run},
            {"chip", record.chip},
            {"ieee", record.ieee},
            {"ble", record.ble},
            {"files", files},
            {"flashSha256", record.flashSha256},
            {"ccfg", record.ccfg},
            {"part", record.part},
            {"revision", record.revision},
            {"station", record.station},
            {"slot", record.slot},
            {"operator", record.operatorName},
            {"version", record.version},
            {"plugin", record.plugin},
            {"start", record.start},
            {"seconds", record.seconds},
            {"verdict", record.isGood ? "good" : "bad"},
            {"cause", record.cause}};
}

std::string FilesText(const std::vector<RecordedFile>& files) {
    std::string text;
    for (const RecordedFile& file : files) {
        text += fmt::format("{}{}={}", text.empty() ? "" : " ", file.name, file.sha256);
    }
    return text;
}

}  // namespace

std::string RecordJson(const Record& record) {
    return DocumentOf(record).dump(-1, ' ', false, json::error_handler_t::replace);
}

Record ParseRecordJson(const std::string& line) {
    try {
        const json document = json::parse(line);
        const auto text = [&](const char* name) { return document.at(name).get<std::string>(); };
        Record record{.run = text("run"), .chip = text("chip"), .ieee = text("ieee"), .ble = text("ble")};
        for (const json& file : document.at("files")) {
            record.files.push_back({file.at("name").get<std::string>(), file.at("sha256").get<std::string>()});
        }
        record.flashSha256 = text("flashSha256");
        record.ccfg = text("ccfg");
        record.part = text("part");
        record.revision = text("revision");
        record.station = text("station");
        record.slot = text("slot");
        record.operatorName = text("operator");
        record.version = text("version");
        record.plugin = text("plugin");
        record.start = text("start");
        record.seconds = document.at("seconds").get<double>();
        record.isGood = text("verdict") == "good";
        record.cause = text("cause");
        return record;
    } catch (const json::exception& error) {
        throw Failure(FailureKind::Operation, fmt::format("This is no record: {}", error.what()));
    }
}

std::string RecordCsvHeader() {
    return "run,chip,ieee,ble,files,flashSha256,ccfg,part,revision,station,slot,operator,version,plugin,start,seconds,"
           "verdict,cause\n";
}

std::string RecordCsv(const Record& record) {
    return CsvLine({record.run, record.chip, record.ieee, record.ble, FilesText(record.files), record.flashSha256,
                    record.ccfg, record.part, record.revision, record.station, record.slot, record.operatorName,
                    record.version, record.plugin, record.start, fmt::format("{:.3f}", record.seconds),
                    record.isGood ? "good" : "bad", record.cause});
}

std::string DrawRunName() {
    std::array<unsigned char, 8> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    std::string name;
    for (const unsigned char byte : bytes) {
        name += fmt::format("{:02x}", byte);
    }
    return name;
}

}  // namespace flash::host::line
