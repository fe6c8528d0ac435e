// Blocking files, asked with a bound whether they hold anything.
#include "host/gdb/FileStream.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace flash::host::gdb {
namespace {

[[noreturn]] void Fail() { throw StreamError(std::strerror(errno)); }

// Rounded up, so that a short bound is no busy loop.
int Milliseconds(std::chrono::nanoseconds bound) {
    const auto count = std::chrono::ceil<std::chrono::milliseconds>(bound).count();
    return static_cast<int>(count < 0 ? 0 : count > INT_MAX ? INT_MAX : count);
}

}  // namespace

std::size_t FileStream::Read(std::span<char> buffer, std::chrono::nanoseconds bound) {
    pollfd waiting{input, POLLIN, 0};
    const int ready = poll(&waiting, 1, Milliseconds(bound));
    if (ready == 0 || (ready < 0 && errno == EINTR)) {  // whoever sent the signal has set a flag
        return 0;
    }
    if (ready < 0) {
        Fail();
    }
    const ssize_t count = read(input, buffer.data(), buffer.size());
    if (count < 0) {
        Fail();
    }
    if (count == 0) {
        throw StreamError("the other side closed the pipe");
    }
    return static_cast<std::size_t>(count);
}

void FileStream::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(output, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            Fail();
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

}  // namespace flash::host::gdb
