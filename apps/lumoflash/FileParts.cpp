// Each part is an option and its file; those that are written come first.
#include "apps/lumoflash/FileParts.h"

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

#include "apps/lumoflash/ChiplessCommands.h"
#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/PoolOptions.h"
#include "host/Failure.h"
#include "host/backends/OpenProbe.h"
#include "host/files/FileContent.h"
#include "host/line/Database.h"

namespace flash::app {
namespace {

using Parts = std::vector<std::pair<std::string, std::filesystem::path>>;

void AddUnlessEmpty(Parts& parts, const std::string& option, const std::filesystem::path& file) {
    if (!file.empty()) {
        parts.emplace_back(option, file);
    }
}

// SQLite keeps the newest entries in files beside its own.
void AddDatabase(Parts& parts, const std::string& option, const std::string& name) {
    if (const auto file = host::line::FileOfDatabase(name)) {
        for (const char* const ending : {"", "-wal", "-shm", "-journal"}) {
            AddUnlessEmpty(parts, option, file->string() + ending);
        }
    }
}

void AddFilesIn(Parts& parts, const std::string& option, const std::filesystem::path& folder) {
    std::error_code unknown;  // whoever reads the folder tells
    for (const auto& entry : std::filesystem::directory_iterator(folder, unknown)) {
        parts.emplace_back(option, entry.path());
    }
}

Parts Written(const Options& options) {
    Parts parts;
    const bool isExport = options.command == Command::PoolExport;
    AddUnlessEmpty(parts, "--out", options.outFile == "-" ? "" : options.outFile);
    AddUnlessEmpty(parts, "--out", isExport ? options.pool.file : "");
    AddUnlessEmpty(parts, "--out", options.line.out);
    AddUnlessEmpty(parts, "--trace", options.traceFile);
    AddUnlessEmpty(parts, "--picture", options.pictureFile);
    AddUnlessEmpty(parts, "--report", options.reportFile);
    AddUnlessEmpty(parts, "--probe", ChangesChip(options) ? FileOf(options.probe).value_or("") : "");
    return parts;
}

Parts Read(const Options& options) {
    Parts parts;
    const Locations locations = FindLocations();
    AddUnlessEmpty(parts, "--probe", ChangesChip(options) ? "" : FileOf(options.probe).value_or(""));
    AddUnlessEmpty(parts, "--config", options.configFile);
    AddUnlessEmpty(parts, "--plugin", OrDefault(options.plugin, locations.plugin));
    for (const host::ProgramSource& file : options.files) {
        AddUnlessEmpty(parts, "FILE", file.IsStandardInput() ? "" : file.path);
    }
    AddDatabase(parts, "DB", IsOfPool(options.command) ? options.pool.database : options.line.database);
    AddDatabase(parts, options.recording.assign.empty() ? "--record" : "--assign-from", options.recording.database);
    AddFilesIn(parts, "--devices", DevicesFolderFor(options, locations));
    AddFilesIn(parts, "--data", OrDefault(options.dataFolder, locations.dataFolder) / "arm");
    return parts;
}

}  // namespace

void RefuseFilesWithTwoParts(const Options& options) {
    Parts parts = Written(options);
    const std::size_t written = parts.size();
    if (written == 0) {
        return;
    }
    const Parts read = Read(options);
    parts.insert(parts.end(), read.begin(), read.end());
    for (std::size_t i = 0; i < written; ++i) {
        for (std::size_t k = i + 1; k < parts.size(); ++k) {
            if (host::IsSameFile(parts[i].second, parts[k].second)) {
                throw host::Failure(host::FailureKind::BadInput,
                                    fmt::format("{} and {} name the same file, {}", parts[i].first, parts[k].first,
                                                parts[k].second.string()));
            }
        }
    }
}

}  // namespace flash::app
