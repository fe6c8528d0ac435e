// lumoflash gdbserver: GDB, and every IDE that uses it, programs and debugs the chip through this host.
#pragma once

#include <atomic>

#include "apps/lumoflash/GdbServerObserver.h"
#include "apps/lumoflash/Options.h"
#include "host/session/Connection.h"

namespace flash::app {

struct GdbServerEnds {
    std::atomic<bool>& isCancelled;    // the connection's work
    const std::atomic<bool>& mustEnd;  // all
};

// Serves one client after the other until it must end, or until the first one has left. Standard output gets the one
// line that tells where the server listens, and with --stdio the protocol alone. Throws Failure when it cannot serve.
void RunGdbServer(const Options& options, host::Connection& connection, GdbServerObserver& observer,
                  GdbServerEnds ends);

}  // namespace flash::app
