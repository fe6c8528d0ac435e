// Each failing call is told with the system's reason. A file that is put in place is on the disk before its name is, so
// that whatever ends the program or the machine leaves the old file or the new one.
#include "host/files/FileContent.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/Failure.h"
#include "host/Numbers.h"
#include "host/Words.h"

namespace flash::host {
namespace {

constexpr mode_t kModeOfNewFiles = 0666;  // less the user's mask
constexpr int kMostLinks = 40;            // as the system follows
constexpr std::string_view kEndingOfNewFiles = ".new";

[[noreturn]] void FailToWrite(const std::filesystem::path& path, int error) {
    throw Failure(FailureKind::Operation, fmt::format("{}: the file cannot be written: {}", path.string(),
                                                      std::generic_category().message(error)));
}

// 0, or the error.
int WriteAll(int file, std::span<const std::uint8_t> content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        content = content.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return 0;
}

int WriteToDisk(int file, std::span<const std::uint8_t> content) {
    const int error = WriteAll(file, content);
    return error == 0 && fsync(file) != 0 ? errno : error;
}

int WriteAndClose(int file, std::span<const std::uint8_t> content) {
    const int error = WriteAll(file, content);
    const int closed = close(file) == 0 ? 0 : errno;
    return error != 0 ? error : closed;
}

std::filesystem::path FolderOf(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

// The name itself is on the disk only with its folder. Where that cannot be asked for, the system does what it can.
void SyncFolderOf(const std::filesystem::path& path) {
    const int folder = open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return;
    }
    const int error = fsync(folder) == 0 ? 0 : errno;
    close(folder);
    if (error != 0 && error != EINVAL && error != EROFS) {
        FailToWrite(path, error);
    }
}

// The process that wrote it, of a name such as "chip.bin.4711-0.new" beside "chip.bin".
std::optional<pid_t> WriterOf(std::string_view name, std::string_view destination) {
    if (!name.starts_with(destination) || !name.ends_with(kEndingOfNewFiles) ||
        name.size() <= destination.size() + 1 + kEndingOfNewFiles.size() || name[destination.size()] != '.') {
        return std::nullopt;
    }
    name.remove_prefix(destination.size() + 1);
    name.remove_suffix(kEndingOfNewFiles.size());
    const std::size_t dash = name.find('-');
    const std::optional<std::uint32_t> process = ParseDecimal(name.substr(0, dash));
    const bool isCounted = dash != std::string_view::npos && ParseDecimal(name.substr(dash + 1)).has_value();
    return process && isCounted ? std::optional(static_cast<pid_t>(*process)) : std::nullopt;
}

bool IsLocked(const std::filesystem::path& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) {
        return true;
    }
    const bool isLocked = flock(file, LOCK_EX | LOCK_NB) != 0;
    close(file);
    return isLocked;
}

// A number tells little: another machine, or another program of that number before, may have written it. But who still
// writes has locked it.
bool IsForsaken(const std::filesystem::path& path, pid_t writer) {
    const bool isGone = writer == getpid() || (writer > 0 && kill(writer, 0) != 0 && errno == ESRCH);
    return isGone && !IsLocked(path);
}

// What programs that were killed have left beside this file.
void RemoveForsaken(const std::filesystem::path& destination) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(FolderOf(destination), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const std::optional<pid_t> writer = WriterOf(name, destination.filename().string());
        if (writer && IsForsaken(entry->path(), *writer)) {
            unlink(entry->path().c_str());
        }
    }
}

// A name that nobody has yet: several may write beside one file at once.
int CreateBeside(const std::filesystem::path& destination, std::filesystem::path& fresh) {
    int file = -1;
    for (int n = 0; file < 0; ++n) {
        fresh = fmt::format("{}.{}-{}{}", destination.string(), getpid(), n, kEndingOfNewFiles);
        file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kModeOfNewFiles);
        if (file < 0 && errno != EEXIST) {
            FailToWrite(destination, errno);
        }
    }
    return file;
}

// Before anything is opened: what is no regular file may block, or have no end.
std::uintmax_t SizeOfUsableFile(const std::filesystem::path& path, std::size_t mostBytes) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    const Origin origin{path.string(), ""};
    if (status.type() == std::filesystem::file_type::not_found) {
        throw ErrorAt(origin, "the file does not exist");
    }
    if (error) {
        throw ErrorAt(origin, fmt::format("the file cannot be examined: {}", error.message()));
    }
    if (std::filesystem::is_directory(status)) {
        throw ErrorAt(origin, "this is a folder, expected a file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw ErrorAt(origin, "this is a device or a pipe, expected a regular file");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        throw ErrorAt(origin, fmt::format("the file cannot be examined: {}", error.message()));
    }
    if (size == 0) {
        throw ErrorAt(origin, "the file is empty");
    }
    if (size > mostBytes) {
        throw ErrorAt(origin, fmt::format("the file has {}, at most {} are allowed", Counted(size, "byte"), mostBytes));
    }
    return size;
}

}  // namespace

std::vector<std::uint8_t> LoadFile(const std::filesystem::path& path, std::size_t mostBytes) {
    const std::uintmax_t size = SizeOfUsableFile(path, mostBytes);
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw ErrorAt({path.string(), ""}, fmt::format("the file cannot be read: {}", std::strerror(errno)));
    }
    std::vector<std::uint8_t> content(size);
    if (!stream.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(size))) {
        throw ErrorAt({path.string(), ""},
                      fmt::format("only {} of {} can be read", stream.gcount(), Counted(size, "byte")));
    }
    return content;
}

bool IsReadOnly(const std::filesystem::path& path) {
    constexpr mode_t kAnyWrite = 0222;
    struct stat present {};
    return stat(path.c_str(), &present) == 0 && ((present.st_mode & kAnyWrite) == 0 || access(path.c_str(), W_OK) != 0);
}

bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code unknown;
    if (std::filesystem::is_other(a, unknown)) {
        return false;
    }
    const auto place = [](const std::filesystem::path& path) {
        return std::filesystem::weakly_canonical(FollowLinks(std::filesystem::absolute(path)));
    };
    try {
        return std::filesystem::equivalent(a, b, unknown) || place(a) == place(b);
    } catch (const std::system_error&) {
        return false;  // what cannot be reached is told by whoever opens it
    }
}

std::filesystem::path FollowLinks(const std::filesystem::path& path) {
    std::filesystem::path place = path;
    for (int links = 0; std::filesystem::is_symlink(std::filesystem::symlink_status(place)); ++links) {
        if (links == kMostLinks) {
            throw std::system_error(std::make_error_code(std::errc::too_many_symbolic_link_levels));
        }
        place = place.parent_path() / std::filesystem::read_symlink(place);
    }
    return place;
}

FileInTheMaking::FileInTheMaking(std::filesystem::path place, std::span<const std::uint8_t> content)
    : destination(std::move(place)) {
    struct stat present {};
    const bool isPresent = stat(destination.c_str(), &present) == 0;
    if (isPresent && IsReadOnly(destination)) {
        FailToWrite(destination, EACCES);
    }
    RemoveForsaken(destination);
    file = CreateBeside(destination, fresh);
    flock(file, LOCK_EX | LOCK_NB);
    if (isPresent) {
        fchmod(file, present.st_mode & 07777);
    }
    if (const int error = WriteToDisk(file, content); error != 0) {
        Discard();
        FailToWrite(destination, error);
    }
}

FileInTheMaking::~FileInTheMaking() { Discard(); }

void FileInTheMaking::Discard() {
    if (!fresh.empty()) {
        unlink(fresh.c_str());
    }
    if (file >= 0) {
        close(file);
    }
}

int FileInTheMaking::TakeOver() { return std::exchange(file, -1); }

void FileInTheMaking::Replace() {
    if (rename(fresh.c_str(), destination.c_str()) != 0) {
        FailToWrite(destination, errno);
    }
    fresh.clear();
    SyncFolderOf(destination);
}

void FileInTheMaking::PlaceAnew() {
    if (renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) {
        fresh.clear();
    } else if (errno != EINVAL && errno != ENOSYS) {
        FailToWrite(destination, errno);
    } else if (link(fresh.c_str(), destination.c_str()) != 0) {  // on what cannot rename like that
        FailToWrite(destination, errno);
    }
    SyncFolderOf(destination);
}

void SaveFile(const std::filesystem::path& path, std::span<const std::uint8_t> content) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);  // a device or a pipe
        if (const int failed = file < 0 ? errno : WriteAndClose(file, content); failed != 0) {
            FailToWrite(path, failed);
        }
        return;
    }
    try {
        FileInTheMaking(FollowLinks(path), content).Replace();
    } catch (const std::system_error& failure) {
        FailToWrite(path, failure.code().value());
    }
}

}  // namespace flash::host
