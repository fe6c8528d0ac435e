#include "flashdevice/device/FormatText.h"

#include <cstddef>
#include <cstdio>

namespace flash {

std::string FormatText(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = FormatTextWith(format, arguments);
    va_end(arguments);
    return text;
}

std::string FormatTextWith(const char* format, std::va_list arguments) {
    std::va_list counted;
    va_copy(counted, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace flash
