// Standalone Asio, used in a blocking way: each call runs its own operations to their end or to the bound.
#include "host/gdb/Socket.h"

#include <fmt/format.h>

#include <algorithm>
#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/write.hpp>

namespace flash::host::gdb {
namespace {

using asio::ip::tcp;

// Runs until the operation has set `error`, or cancels it by `cancel` when the bound has passed; false then.
template <typename Cancel>
bool Finish(asio::io_context& context, std::optional<asio::error_code>& error, std::chrono::nanoseconds bound,
            const Cancel& cancel) {
    context.restart();
    if (bound <= std::chrono::nanoseconds::zero()) {
        context.poll();
    } else {
        context.run_for(bound);
    }
    if (error) {
        return true;
    }
    cancel();
    context.run();
    // It may have ended just before it was cancelled.
    return *error != asio::error::operation_aborted;
}

class SocketStream final : public ByteStream {
public:
    SocketStream(std::unique_ptr<asio::io_context> socketContext, tcp::socket connected,
                 std::chrono::nanoseconds patience)
        : context(std::move(socketContext)), socket(std::move(connected)), longestWrite(patience) {
        asio::error_code ignored;  // slower, but no reason to give up
        socket.set_option(tcp::no_delay(true), ignored);
    }
    ~SocketStream() override {
        asio::error_code ignored;
        socket.shutdown(tcp::socket::shutdown_both, ignored);
    }
    SocketStream(const SocketStream&) = delete;
    SocketStream& operator=(const SocketStream&) = delete;

    std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) override {
        std::optional<asio::error_code> error;
        std::size_t count = 0;
        socket.async_read_some(asio::buffer(buffer.data(), buffer.size()),
                               [&](const asio::error_code& result, std::size_t length) {
                                   error = result;
                                   count = length;
                               });
        if (!Finish(*context, error, bound, [this] { socket.cancel(); })) {
            return 0;
        }
        if (*error) {
            throw StreamError(*error == asio::error::eof ? "the other side closed the connection" : error->message());
        }
        return count;
    }

    // Whoever takes nothing for so long will not, and would keep all others away.
    void Write(std::string_view bytes) override {
        std::optional<asio::error_code> error;
        asio::async_write(socket, asio::buffer(bytes.data(), bytes.size()),
                          [&](const asio::error_code& result, std::size_t) { error = result; });
        if (!Finish(*context, error, longestWrite, [this] { socket.cancel(); })) {
            throw StreamError("the other side takes nothing of what is sent");
        }
        if (*error) {
            throw StreamError(error->message());
        }
    }

private:
    std::unique_ptr<asio::io_context> context;
    tcp::socket socket;
    std::chrono::nanoseconds longestWrite;
};

// Numbers as well as names; a name may stand for several addresses.
tcp::resolver::results_type Resolve(asio::io_context& context, const Endpoint& endpoint) {
    asio::error_code error;
    tcp::resolver resolver(context);
    auto results = resolver.resolve(endpoint.host, std::to_string(endpoint.port), error);
    if (error || results.empty()) {
        throw StreamError(fmt::format("the host \"{}\" is not known", endpoint.host));
    }
    return results;
}

// Only an address of one's own can be bound.
bool IsOfThisMachine(asio::io_context& context, const asio::ip::address& address) {
    if (address.is_loopback() || address.is_unspecified()) {
        return true;
    }
    tcp::acceptor attempt(context);
    asio::error_code error;
    attempt.open(address.is_v4() ? tcp::v4() : tcp::v6(), error);
    if (!error) {
        attempt.bind({address, 0}, error);
    }
    return !error;
}

asio::ip::address WithoutMapping(const asio::ip::address& address) {
    return address.is_v6() && address.to_v6().is_v4_mapped()
               ? asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6())
               : address;
}

std::string LowerCase(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](char letter) { return letter >= 'A' && letter <= 'Z' ? char(letter + 32) : letter; });
    return text;
}

}  // namespace

std::set<std::string> PlacesOf(const Endpoint& endpoint) {
    asio::io_context context;
    std::set<std::string> places;
    try {
        for (const auto& found : Resolve(context, endpoint)) {
            const asio::ip::address address = WithoutMapping(found.endpoint().address());
            places.insert(IsOfThisMachine(context, address) ? TextOf({"localhost", endpoint.port})
                                                            : TextOf({address.to_string(), endpoint.port}));
        }
    } catch (const StreamError&) {
        places.insert(TextOf({LowerCase(endpoint.host), endpoint.port}));
    }
    return places;
}

std::unique_ptr<ByteStream> Connect(const Endpoint& endpoint, std::chrono::nanoseconds bound,
                                    std::chrono::nanoseconds longestWrite) {
    auto context = std::make_unique<asio::io_context>();
    const auto addresses = Resolve(*context, endpoint);
    tcp::socket socket(*context);
    std::optional<asio::error_code> error;
    asio::async_connect(socket, addresses,
                        [&](const asio::error_code& result, const tcp::endpoint&) { error = result; });
    if (!Finish(*context, error, bound, [&] { socket.close(); })) {
        throw StreamError("no answer in time");
    }
    if (*error) {
        throw StreamError(*error == asio::error::connection_refused ? "connection refused" : error->message());
    }
    return std::make_unique<SocketStream>(std::move(context), std::move(socket), longestWrite);
}

struct Listener::State {
    asio::io_context context;
    tcp::acceptor acceptor{context};
    std::string host;
};

Listener::Listener(const Endpoint& endpoint) : state(std::make_unique<State>()) {
    const tcp::endpoint address = *Resolve(state->context, endpoint).begin();
    try {
        state->acceptor.open(address.protocol());
        state->acceptor.set_option(tcp::acceptor::reuse_address(true));
        state->acceptor.bind(address);
        state->acceptor.listen(1);
    } catch (const asio::system_error& error) {
        throw StreamError(error.code().message());
    }
    state->host = endpoint.host;
}

Listener::~Listener() = default;
Listener::Listener(Listener&&) noexcept = default;
Listener& Listener::operator=(Listener&&) noexcept = default;

Endpoint Listener::Local() const { return {state->host, state->acceptor.local_endpoint().port()}; }

std::unique_ptr<ByteStream> Listener::Accept(std::chrono::nanoseconds bound) {
    auto context = std::make_unique<asio::io_context>();
    tcp::socket socket(*context);
    std::optional<asio::error_code> error;
    state->acceptor.async_accept(socket, [&](const asio::error_code& result) { error = result; });
    if (!Finish(state->context, error, bound, [this] { state->acceptor.cancel(); })) {
        return nullptr;
    }
    if (*error) {
        throw StreamError(error->message());
    }
    return std::make_unique<SocketStream>(std::move(context), std::move(socket), kLongestWrite);
}

}  // namespace flash::host::gdb
