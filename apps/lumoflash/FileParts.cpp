// Each part is an option and its file; those that are written come first.
#include "apps/lumoflash/FileParts.h"

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

#include "host/Failure.h"
#include "host/backends/OpenProbe.h"
#include "host/files/FileContent.h"

namespace flash::app {
namespace {

using Parts = std::vector<std::pair<std::string, std::filesystem::path>>;

void AddUnlessEmpty(Parts& parts, const std::string& option, const std::filesystem::path& file) {
    if (!file.empty()) {
        parts.emplace_back(option, file);
    }
}

Parts Written(const Options& options) {
    Parts parts;
    AddUnlessEmpty(parts, "--out", options.outFile == "-" ? "" : options.outFile);
    AddUnlessEmpty(parts, "--trace", options.traceFile);
    AddUnlessEmpty(parts, "--picture", options.pictureFile);
    AddUnlessEmpty(parts, "--report", options.reportFile);
    AddUnlessEmpty(parts, "--probe", ChangesChip(options) ? FileOf(options.probe).value_or("") : "");
    return parts;
}

Parts Read(const Options& options) {
    Parts parts;
    AddUnlessEmpty(parts, "--probe", ChangesChip(options) ? "" : FileOf(options.probe).value_or(""));
    AddUnlessEmpty(parts, "--config", options.configFile);
    AddUnlessEmpty(parts, "--plugin", options.plugin);
    for (const host::ProgramSource& file : options.files) {
        AddUnlessEmpty(parts, "FILE", file.IsStandardInput() ? "" : file.path);
    }
    return parts;
}

}  // namespace

void RefuseFilesWithTwoParts(const Options& options) {
    Parts parts = Written(options);
    const std::size_t written = parts.size();
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
