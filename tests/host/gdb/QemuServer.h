// The emulator QEMU with a GDB server of its own: a Cortex-M3 with RAM at 0 and at 0x20000000, standing at reset. It is
// ended by its process id, whatever becomes of the test.
#pragma once

#include <sys/types.h>

#include "host/gdb/Endpoint.h"

namespace flash::host::gdb {

class QemuServer {
public:
    // Ready to be connected to. Throws std::runtime_error when that fails.
    QemuServer();
    ~QemuServer();
    QemuServer(const QemuServer&) = delete;
    QemuServer& operator=(const QemuServer&) = delete;

    const Endpoint& Place() const { return place; }
    void Kill();

private:
    Endpoint place;
    pid_t process = -1;
};

}  // namespace flash::host::gdb
