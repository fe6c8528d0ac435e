#include "flashdevice/boundary/FlashDeviceFactory.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace flash {

const char* KeepText(std::string& holder, const char* text) noexcept {
    try {
        holder.assign(text);
    } catch (const std::bad_alloc&) {
        // Fits in what the holder already has, so nothing is allocated.
        holder.assign(text, std::min(std::strlen(text), holder.capacity()));
    }
    return holder.c_str();
}

void RequirePointer(const void* pointer, const char* what) {
    if (pointer == nullptr) {
        throw std::invalid_argument(std::string(what) + " was given");
    }
}

}  // namespace flash
