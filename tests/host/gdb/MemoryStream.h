// A stream that lies in memory, with a peer that a test writes: it is handed what is written and gives what can be
// read. Waiting for what does not come moves the clock, so that every bound is reached at once.
#pragma once

#include <deque>
#include <functional>
#include <string>

#include "host/gdb/ByteStream.h"

namespace flash::host::gdb {

class FakeClock final : public Clock {
public:
    std::chrono::nanoseconds Now() override { return now; }
    std::chrono::nanoseconds now{0};
};

class MemoryStream final : public ByteStream {
public:
    explicit MemoryStream(FakeClock& fakeClock) : clock(fakeClock) {}

    std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) override {
        if (readable.empty() && onSilence) {
            readable += onSilence();
        }
        if (readable.empty()) {
            if (isClosed) {
                throw StreamError("the other side closed the connection");
            }
            clock.now += bound;
            return 0;
        }
        const std::size_t count = std::min({buffer.size(), readable.size(), longestRead});
        readable.copy(buffer.data(), count);
        readable.erase(0, count);
        return count;
    }

    void Write(std::string_view bytes) override {
        if (isClosed) {
            throw StreamError("the other side closed the connection");
        }
        writes.emplace_back(bytes);
        if (onWrite) {
            readable += onWrite(bytes);
        }
    }

    std::string Written() const {
        std::string all;
        for (const std::string& write : writes) {
            all += write;
        }
        return all;
    }

    FakeClock& clock;
    std::string readable;
    std::vector<std::string> writes;
    std::size_t longestRead = std::string::npos;
    bool isClosed = false;                                 // once all that is readable was read
    std::function<std::string(std::string_view)> onWrite;  // what the peer sends when it is written to
    std::function<std::string()> onSilence;                // what it sends when it is read from and has said all
};

}  // namespace flash::host::gdb
