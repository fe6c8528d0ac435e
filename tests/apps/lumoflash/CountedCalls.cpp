// Preloaded into a program: counts the calls by which it changes files, and at the one whose number the environment
// names ends the program (KILL_AT), as a power cut would, or fails the call (FAIL_AT).
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

enum class Verdict { Pass, Fail };

long count = 0;

long NumberIn(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? 0 : std::strtol(value, nullptr, 10);
}

template <typename Function>
Function Next(Function, const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// `half` is what of the call is done when it is cut.
template <typename Half>
Verdict Count(Half half) {
    static const long kKillAt = NumberIn("KILL_AT"), kFailAt = NumberIn("FAIL_AT");
    ++count;
    if (count == kKillAt) {
        half();
        raise(SIGKILL);
    }
    if (count == kFailAt) {
        dprintf(STDERR_FILENO, "call %ld is cut\n", count);
        errno = EIO;
        return Verdict::Fail;
    }
    return Verdict::Pass;
}

Verdict Count() {
    return Count([] {});
}

bool IsRegular(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

int Open(const char* name, const char* path, int flags, mode_t mode) {
    if ((flags & O_ACCMODE) != O_RDONLY && Count() == Verdict::Fail) {
        return -1;
    }
    return reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, name))(path, flags, mode);
}

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return Open("open", path, flags, mode);
}

EXPORT int open64(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return Open("open64", path, flags, mode);
}

EXPORT ssize_t write(int file, const void* bytes, size_t length) {
    const auto next = Next(&write, "write");
    if (IsRegular(file) && Count([&] { next(file, bytes, length / 2); }) == Verdict::Fail) {
        return -1;
    }
    return next(file, bytes, length);
}

EXPORT int fsync(int file) { return Count() == Verdict::Fail ? -1 : Next(&fsync, "fsync")(file); }

EXPORT int fchmod(int file, mode_t mode) { return Count() == Verdict::Fail ? -1 : Next(&fchmod, "fchmod")(file, mode); }

EXPORT int rename(const char* from, const char* to) noexcept {
    return Count() == Verdict::Fail ? -1 : Next(&rename, "rename")(from, to);
}

EXPORT int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
    return Count() == Verdict::Fail ? -1 : Next(&renameat2, "renameat2")(fromFolder, from, toFolder, to, flags);
}

EXPORT int link(const char* from, const char* to) noexcept {
    return Count() == Verdict::Fail ? -1 : Next(&link, "link")(from, to);
}

EXPORT int unlink(const char* path) noexcept { return Count() == Verdict::Fail ? -1 : Next(&unlink, "unlink")(path); }
