// The lock is the system's on the file itself, so it ends with the program however that ends. A file that is replaced
// takes its lock along: whoever has locked looks whether this is still the file of that name.
#include "host/virtual_chip/ChipFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "host/Failure.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

namespace flash::host {
namespace {

[[noreturn]] void FailToOpen(const std::filesystem::path& path, const std::string& reason) {
    throw Failure(FailureKind::Unreachable,
                  fmt::format("Cannot open the virtual chip in {}: {}", path.string(), reason));
}

std::filesystem::path FollowLinksTo(const std::filesystem::path& path) {
    try {
        return FollowLinks(path);
    } catch (const std::system_error& error) {
        FailToOpen(path, error.code().message());
    }
}

}  // namespace

ChipFile::ChipFile(const std::filesystem::path& given) : path(FollowLinksTo(given)) {
    do {
        if (lock >= 0) {
            close(lock);
        }
        lock = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (lock < 0 && errno == ENOENT) {
            return;
        }
        if (lock < 0 || flock(lock, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            if (lock >= 0) {
                close(lock);
            }
            FailToOpen(given, error == EWOULDBLOCK ? "it is in use by another program"
                                                   : std::generic_category().message(error));
        }
    } while (!IsStillThere());
}

ChipFile::~ChipFile() {
    if (lock >= 0) {
        close(lock);
    }
}

bool ChipFile::IsStillThere() const {
    struct stat opened {
    }, named{};
    return fstat(lock, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

std::vector<std::uint8_t> ChipFile::Load() const { return LoadFile(path); }

void ChipFile::RequireStillThere() const {
    if (!IsStillThere()) {
        throw Failure(
            FailureKind::Operation,
            fmt::format("{}: the file cannot be written: somebody has replaced or removed it", path.string()));
    }
}

// The new file is another one to the system. It has been locked since before it had this name, so that it is nobody
// else's for a moment.
void ChipFile::Save(std::span<const std::uint8_t> content) {
    if (Exists()) {
        RequireStillThere();
        if (std::ranges::equal(Load(), content)) {
            return;
        }
    }
    FileInTheMaking file(path, content);
    Exists() ? file.Replace() : file.PlaceAnew();
    if (Exists()) {
        close(lock);
    }
    lock = file.TakeOver();
}

}  // namespace flash::host
