// Where a server listens, as users write it: "localhost:3333", "127.0.0.1:3333", "[::1]:3333", ":3333".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace flash::host::gdb {

struct Endpoint {
    std::string host;  // a name or an address, without brackets; this machine's loopback when none was written
    std::uint16_t port = 0;
    bool operator==(const Endpoint&) const = default;
};

// Throws std::invalid_argument with a text that says what is wrong.
Endpoint ParseEndpoint(std::string_view text);

// "[::1]:3333"
std::string TextOf(const Endpoint& endpoint);

// Whether only this machine can reach it. A name other than "localhost" counts as outside.
bool IsLoopback(const Endpoint& endpoint);

}  // namespace flash::host::gdb
