// Reading and comparing.
#include "host/line/FileHashes.h"

#include <fmt/format.h>

#include "host/Failure.h"
#include "host/files/FileContent.h"
#include "host/line/Sha256.h"

namespace flash::host::line {

FileHashes HashFiles(const std::vector<std::filesystem::path>& paths) {
    FileHashes hashes;
    for (const std::filesystem::path& path : paths) {
        hashes[path] = Sha256(LoadFile(path));
    }
    return hashes;
}

void RequireSame(const FileHashes& expected, const FileHashes& found, const std::string& reason) {
    for (const auto& [path, hash] : expected) {
        const auto other = found.find(path);
        if (other != found.end() && other->second != hash) {
            throw Failure(FailureKind::BadInput,
                          fmt::format("{}: {}; its SHA-256 is {}, not {}", path.string(), reason, other->second, hash));
        }
    }
}

}  // namespace flash::host::line
