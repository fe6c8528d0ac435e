// A field in target memory, as the host's flash properties place it.
#pragma once

#include <cstdint>

namespace flash {

struct MemoryField {
    std::uint32_t address = 0;
    std::uint32_t length = 0;  // bytes
    bool operator==(const MemoryField&) const = default;
};

}  // namespace flash
