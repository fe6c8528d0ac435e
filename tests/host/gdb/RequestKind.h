// What a request asks for, by its first letter: the way of the servers that tests have, which is not the product's.
#pragma once

#include <string>

namespace flash::host::gdb {

enum class RequestKind { Memory, Register, AllRegisters, Breakpoint, Other };

inline RequestKind KindOf(const std::string& request) {
    switch (request.empty() ? '\0' : request.front()) {
        case 'm':
        case 'M':
        case 'X':
            return RequestKind::Memory;
        case 'p':
        case 'P':
            return RequestKind::Register;
        case 'g':
        case 'G':
            return RequestKind::AllRegisters;
        case 'z':
        case 'Z':
            return RequestKind::Breakpoint;
        default:
            return RequestKind::Other;
    }
}

}  // namespace flash::host::gdb
