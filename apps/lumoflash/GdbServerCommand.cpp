// One client after the other, over one listening socket.
#include "apps/lumoflash/GdbServerCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

#include "apps/lumoflash/GdbServerChip.h"
#include "host/Failure.h"
#include "host/gdb/FileStream.h"
#include "host/gdb/Server.h"
#include "host/gdb/Socket.h"

namespace flash::app {
namespace {

using host::Failure;
using host::FailureKind;

constexpr std::chrono::milliseconds kAcceptSlice{100};  // after which the server looks whether it must end

constexpr const char* kErrorStart = "error: ";

void Say(const std::string& text) { fmt::print(stderr, "{}\n", text); }

host::gdb::Listener Listen(const host::gdb::Endpoint& endpoint) {
    try {
        return host::gdb::Listener(endpoint);
    } catch (const host::gdb::StreamError& error) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("Cannot listen at {}: {}", host::gdb::TextOf(endpoint), error.what()));
    }
}

void ServeClients(host::gdb::Server& server, host::gdb::Listener& listener, const Options& options,
                  const std::atomic<bool>& mustEnd) {
    const host::gdb::Endpoint place = listener.Local();
    if (!host::gdb::IsLoopback(place)) {
        Say("warning: Whoever reaches this port can program and read the chip");
    }
    fmt::print("listening on {}\n", host::gdb::TextOf(place));
    std::fflush(stdout);
    while (!mustEnd) {
        const auto client = listener.Accept(kAcceptSlice);
        if (client) {
            server.Serve(*client);
        }
        if (client && options.server.isOnce) {
            return;
        }
    }
}

}  // namespace

void RunGdbServer(const Options& options, host::Connection& connection, GdbServerObserver& observer,
                  GdbServerEnds ends) {
    GdbServerChip chip(connection, observer, options);
    host::gdb::SteadyClock clock;
    std::optional<host::gdb::Listener> listener;
    host::gdb::ServerOptions serverOptions;
    serverOptions.packetBytes = options.server.packetBytes;
    serverOptions.say = [&options](const std::string& text) {
        if (!options.isQuiet || text.starts_with(kErrorStart)) {
            Say(text);
        }
    };
    serverOptions.onIdle = [&listener, &serverOptions] {
        // It is told before the second client's connection ends.
        if (const auto second = listener ? listener->Accept(std::chrono::nanoseconds::zero()) : nullptr) {
            serverOptions.say("Turned a second client away");
        }
    };
    host::gdb::Server server(chip, clock, serverOptions, ends.isCancelled, ends.mustEnd);
    if (options.server.isStdio) {
        host::gdb::FileStream stream(STDIN_FILENO, STDOUT_FILENO);
        server.Serve(stream);
        return;
    }
    listener.emplace(Listen(host::gdb::ParseEndpoint(options.server.listen)));
    ServeClients(server, *listener, options, ends.mustEnd);
}

}  // namespace flash::app
