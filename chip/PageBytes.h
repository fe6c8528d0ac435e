// Bytes that begin on a page of the workstation's memory, as the emulated core maps them, with a fixed length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace flash::chip {

class PageBytes {
public:
    explicit PageBytes(std::size_t length)
        : start(static_cast<std::uint8_t*>(::operator new(length, kAlignment))), lengthBytes(length) {}
    std::span<std::uint8_t> Bytes() { return {start.get(), lengthBytes}; }
    std::span<const std::uint8_t> Bytes() const { return {start.get(), lengthBytes}; }

private:
    static constexpr std::align_val_t kAlignment{4096};
    struct Release {
        void operator()(std::uint8_t* bytes) const { ::operator delete(bytes, kAlignment); }
    };
    std::unique_ptr<std::uint8_t, Release> start;
    std::size_t lengthBytes;
};

}  // namespace flash::chip
