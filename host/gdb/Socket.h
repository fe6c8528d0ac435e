// TCP, with the delay of small packets switched off: with it each packet would take some 40 ms.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "host/gdb/ByteStream.h"
#include "host/gdb/Endpoint.h"

namespace flash::host::gdb {

// For what is written to be taken by the other side.
inline constexpr std::chrono::seconds kLongestWrite{5};

// Tries each address that the host's name stands for. Throws StreamError: "connection refused", "timed out".
std::unique_ptr<ByteStream> Connect(const Endpoint& endpoint, std::chrono::nanoseconds bound,
                                    std::chrono::nanoseconds longestWrite = kLongestWrite);

// Which servers these may be, one text each: two endpoints that share one reach the same server. All addresses of this
// machine count as one, because a server may listen on all of them. A name that nobody knows stands for itself.
std::set<std::string> PlacesOf(const Endpoint& endpoint);

class Listener {
public:
    // Throws StreamError when nobody can listen there. Port 0 takes a free one.
    explicit Listener(const Endpoint& endpoint);
    ~Listener();
    Listener(Listener&&) noexcept;
    Listener& operator=(Listener&&) noexcept;

    Endpoint Local() const;

    // The next client, or null when none came within `bound`.
    std::unique_ptr<ByteStream> Accept(std::chrono::nanoseconds bound);

private:
    struct State;
    std::unique_ptr<State> state;
};

}  // namespace flash::host::gdb
