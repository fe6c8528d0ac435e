// Files as a whole: read with a bound, written entirely or not at all, and never over a file that has another part in
// the work.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

// The file's bytes. Refuses what is missing, unreadable, no regular file, empty, or larger than `mostBytes`.
std::vector<std::uint8_t> LoadFile(const std::filesystem::path& path, std::size_t mostBytes = kMaxFileBytes);

// Whether the file is there and its owner does not want it changed, or the user may not. (Who may do everything is not
// stopped by the system.)
bool IsReadOnly(const std::filesystem::path& path);

// Whether both name one file, there already or not. Devices and pipes are nobody's own.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// Where symbolic links lead in the end, which need not exist. Throws std::system_error, as for a link to itself.
std::filesystem::path FollowLinks(const std::filesystem::path& path);

// A new file beside its destination, gone again unless it is put in place: by itself, or with the next one if the
// program was killed. Refuses a read-only destination. Throws Failure (Operation).
class FileInTheMaking {
public:
    FileInTheMaking(std::filesystem::path destination, std::span<const std::uint8_t> content);
    ~FileInTheMaking();
    FileInTheMaking(const FileInTheMaking&) = delete;
    FileInTheMaking& operator=(const FileInTheMaking&) = delete;

    void Replace();    // what is there, if anything
    void PlaceAnew();  // fails when something is there

    // The file itself, which was locked before it had its name and stays so until the caller closes it.
    int TakeOver();

private:
    void Discard();

    std::filesystem::path destination, fresh;
    int file = -1;  // of the new one, open and locked while it is in the making
};

// Creates the file or replaces its content; a link stays and leads to the new content. Throws Failure (Operation).
void SaveFile(const std::filesystem::path& path, std::span<const std::uint8_t> content);

}  // namespace flash::host
