// Bytes in both directions, and the clock that bounds the waiting for them. A socket, the standard streams, or memory
// in tests: the protocol does not know which.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace flash::host::gdb {

// The other end is gone, or could not be reached. The text says what came of it: "connection refused".
class StreamError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class ByteStream {
public:
    virtual ~ByteStream() = default;

    // Waits up to `bound` for bytes and gives what is there, at least one; 0 when none came. Throws StreamError at the
    // end.
    virtual std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) = 0;

    // All of them, or StreamError.
    virtual void Write(std::string_view bytes) = 0;

protected:
    ByteStream() = default;
    ByteStream(const ByteStream&) = default;
    ByteStream& operator=(const ByteStream&) = default;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual std::chrono::nanoseconds Now() = 0;  // only differences mean anything

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

class SteadyClock final : public Clock {
public:
    std::chrono::nanoseconds Now() override { return std::chrono::steady_clock::now().time_since_epoch(); }
};

}  // namespace flash::host::gdb
