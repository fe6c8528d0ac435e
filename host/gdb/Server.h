// A GDB server over one chip: packets in, packets out, one client at a time. Flash changes only when a load was
// finished; whatever ends a load before leaves the chip as it was.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/gdb/Channel.h"
#include "host/gdb/Requests.h"
#include "host/gdb/ServedChip.h"

namespace flash::host::gdb {

struct ServerOptions {
    std::uint32_t packetBytes = 0x4000;  // larger ones delay an interrupt, which debuggers send only between packets
    std::function<void(const std::string&)> say = [](const std::string&) {};  // for whoever started the server
    std::function<void()> onIdle = [] {};                                     // the client says nothing at the moment
};

class Server {
public:
    // All must outlive the server. `isInterrupted` belongs to what the chip works on: it is set when the client wants
    // an end, and put back before the next work. `mustEnd` ends the serving.
    Server(ServedChip& servedChip, Clock& serverClock, ServerOptions serverOptions, std::atomic<bool>& interruptFlag,
           const std::atomic<bool>& endFlag)
        : chip(servedChip),
          clock(serverClock),
          options(std::move(serverOptions)),
          isInterrupted(interruptFlag),
          mustEnd(endFlag) {}

    // Until the client leaves, is turned away, or the server must end.
    void Serve(ByteStream& stream);

private:
    class Visit;

    ServedChip& chip;
    Clock& clock;
    ServerOptions options;
    std::atomic<bool>& isInterrupted;
    const std::atomic<bool>& mustEnd;
    std::string lastFailure;  // in words; outlives the client that met it
};

}  // namespace flash::host::gdb
