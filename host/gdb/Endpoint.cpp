// An address of version 6 has colons of its own, so it stands in brackets.
#include "host/gdb/Endpoint.h"

#include <fmt/format.h>

#include <limits>
#include <optional>
#include <stdexcept>

#include "host/Numbers.h"

namespace flash::host::gdb {
namespace {

constexpr std::string_view kDefaultHost = "127.0.0.1";

[[noreturn]] void Refuse(std::string_view text, std::string_view reason) {
    throw std::invalid_argument(fmt::format("\"{}\" is no HOST:PORT: {}", text, reason));
}

std::uint16_t ParsePort(std::string_view text, std::string_view digits) {
    const std::optional<std::uint32_t> port = ParseDecimal(digits);
    if (!port || *port > std::numeric_limits<std::uint16_t>::max()) {
        Refuse(text, "the port is a number from 0 to 65535");
    }
    return static_cast<std::uint16_t>(*port);
}

}  // namespace

Endpoint ParseEndpoint(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        Refuse(text, "there is no port");
    }
    if (text.front() == '[' && text.back() == ']') {
        Refuse(text, "there is no port");
    }
    std::string_view host = text.substr(0, colon);
    if (!host.empty() && host.front() == '[') {
        if (host.back() != ']') {
            Refuse(text, "the bracket is not closed");
        }
        host = host.substr(1, host.size() - 2);
        if (host.empty()) {
            Refuse(text, "the brackets are empty");
        }
    } else if (host.find_first_of(":[]") != std::string_view::npos) {
        Refuse(text, "an address with colons stands in brackets, as in [::1]:3333");
    }
    return {std::string(host.empty() ? kDefaultHost : host), ParsePort(text, text.substr(colon + 1))};
}

std::string TextOf(const Endpoint& endpoint) {
    const bool hasColons = endpoint.host.find(':') != std::string::npos;
    return fmt::format("{}{}{}:{}", hasColons ? "[" : "", endpoint.host, hasColons ? "]" : "", endpoint.port);
}

bool IsLoopback(const Endpoint& endpoint) {
    if (endpoint.host == "localhost" || endpoint.host == "::1") {
        return true;
    }
    // Dotted numbers only: a name may begin with "127.", too.
    return endpoint.host.starts_with("127.") && endpoint.host.find_first_not_of("0123456789.") == std::string::npos;
}

}  // namespace flash::host::gdb
