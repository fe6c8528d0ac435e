#include "tests/host/gdb/QemuServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "host/gdb/Socket.h"

namespace flash::host::gdb {
namespace {

constexpr int kStartAttempts = 600;
constexpr int kAttemptMilliseconds = 50;

Endpoint FreePlace() { return Listener({"127.0.0.1", 0}).Local(); }

// Its server takes one client, so nobody connects just to try: Linux tells which ports are listened at.
bool IsListening(std::uint16_t port) {
    char wanted[32];
    std::snprintf(wanted, sizeof wanted, "0100007F:%04X 00000000:0000 0A", port);
    std::string table;
    char piece[4096];
    const int file = open("/proc/net/tcp", O_RDONLY | O_CLOEXEC);
    for (ssize_t count = 0; (count = read(file, piece, sizeof piece)) > 0;) {
        table.append(piece, static_cast<std::size_t>(count));
    }
    close(file);
    return table.find(wanted) != std::string::npos;
}

}  // namespace

QemuServer::QemuServer() : place(FreePlace()) {
    const std::string gdb = "tcp:" + TextOf(place);
    process = fork();
    if (process == 0) {
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, STDIN_FILENO);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);  // a target that runs into empty vectors when it is let go
        execlp("qemu-system-arm", "qemu-system-arm", "-machine", "mps2-an385", "-S", "-gdb", gdb.c_str(), "-display",
               "none", "-serial", "none", "-monitor", "none", "-nic", "none", nullptr);
        _exit(127);
    }
    for (int attempt = 0; attempt < kStartAttempts && !IsListening(place.port); ++attempt) {
        if (waitpid(process, nullptr, WNOHANG) != 0) {
            process = -1;
            throw std::runtime_error("QEMU ended at once: is the package qemu-system-arm installed?");
        }
        poll(nullptr, 0, kAttemptMilliseconds);
    }
}

QemuServer::~QemuServer() { Kill(); }

void QemuServer::Kill() {
    if (process > 0) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        process = -1;
    }
}

}  // namespace flash::host::gdb
