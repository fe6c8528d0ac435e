// Each failing call is told with the system's reason.
#include "host/files/FileContent.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

#include "host/Failure.h"
#include "host/Words.h"

namespace flash::host {
namespace {

constexpr mode_t kModeOfNewFiles = 0666;  // less the user's mask
constexpr int kMostLinks = 40;            // as the system follows

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

int WriteAndClose(int file, std::span<const std::uint8_t> content) {
    const int error = WriteAll(file, content);
    const int closed = close(file) == 0 ? 0 : errno;
    return error != 0 ? error : closed;
}

// A name that nobody has yet: several may write beside one file at once.
int CreateBeside(const std::filesystem::path& destination, std::filesystem::path& fresh) {
    int file = -1;
    for (int n = 0; file < 0; ++n) {
        fresh = fmt::format("{}.{}-{}.new", destination.string(), getpid(), n);
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
    const int file = CreateBeside(destination, fresh);
    struct stat present {};
    if (stat(destination.c_str(), &present) == 0) {
        fchmod(file, present.st_mode & 07777);
    }
    if (const int error = WriteAndClose(file, content); error != 0) {
        unlink(fresh.c_str());
        FailToWrite(destination, error);
    }
}

FileInTheMaking::~FileInTheMaking() {
    if (!fresh.empty()) {
        unlink(fresh.c_str());
    }
}

void FileInTheMaking::Replace() {
    if (rename(fresh.c_str(), destination.c_str()) != 0) {
        FailToWrite(destination, errno);
    }
    fresh.clear();
}

void FileInTheMaking::PlaceAnew() {
    const int name = open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kModeOfNewFiles);
    if (name < 0) {
        FailToWrite(destination, errno);
    }
    close(name);
    Replace();
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
