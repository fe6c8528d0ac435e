// What a debugger asks of a server, as types: one struct per kind of packet. Parsing checks every number and every
// length; nothing behind it reads text again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace flash::host::gdb {

// Addresses have 32 bits; `lengthBytes` may reach past the end of memory, and who obeys has to look.
struct AddressRange {
    std::uint32_t address = 0;
    std::uint32_t lengthBytes = 0;
    bool operator==(const AddressRange&) const = default;
};

namespace request {

struct QuerySupported {
    std::vector<std::string> features;  // "swbreak+"
};
struct StartNoAckMode {};
struct EnableExtendedMode {};
struct AskWhyStopped {};
struct AskCurrentThread {};
struct AskThreads {
    bool isFirst;  // the list's beginning; all of it fits there
};
struct AskWhetherAttached {};
struct SelectThread {};
struct AskThreadAlive {};
struct AskResumeActions {};

struct ReadRegisters {};
struct WriteRegisters {
    std::vector<std::uint8_t> bytes;
};
struct ReadRegister {
    std::uint32_t number;
};
struct WriteRegister {
    std::uint32_t number;
    std::vector<std::uint8_t> bytes;
};

struct ReadMemory {
    AddressRange range;
};
struct WriteMemory {
    std::uint32_t address;
    std::vector<std::uint8_t> bytes;
};
struct Checksum {
    AddressRange range;
};
struct ReadObject {
    std::string object, annex;  // "features", "target.xml"
    AddressRange range;         // within the object
};

enum class Resumption { Continue, Step };
struct Resume {
    Resumption how;
    std::optional<std::uint32_t> address;  // from here, if not from the program counter
};
struct Stop {};  // "vCont;t"

enum class BreakpointKind { Software, Hardware, WriteWatch, ReadWatch, AccessWatch };
struct ChangeBreakpoint {
    bool isInserted;
    BreakpointKind kind;
    std::uint32_t address;
};

struct EraseFlash {
    AddressRange range;
};
struct WriteFlash {
    std::uint32_t address;
    std::vector<std::uint8_t> bytes;
};
struct FinishFlash {};

struct Monitor {
    std::string command;
};

struct Run {};      // "vRun": from the reset on
struct Restart {};  // "R": likewise, and without an answer
struct Kill {
    bool wantsAnswer;
};
struct Detach {};

struct Unknown {};  // answered by an empty packet, which says so
struct Malformed {
    std::string reason;
};

}  // namespace request

using Request =
    std::variant<request::QuerySupported, request::StartNoAckMode, request::EnableExtendedMode, request::AskWhyStopped,
                 request::AskCurrentThread, request::AskThreads, request::AskWhetherAttached, request::SelectThread,
                 request::AskThreadAlive, request::AskResumeActions, request::ReadRegisters, request::WriteRegisters,
                 request::ReadRegister, request::WriteRegister, request::ReadMemory, request::WriteMemory,
                 request::Checksum, request::ReadObject, request::Resume, request::Stop, request::ChangeBreakpoint,
                 request::EraseFlash, request::WriteFlash, request::FinishFlash, request::Monitor, request::Run,
                 request::Restart, request::Kill, request::Detach, request::Unknown, request::Malformed>;

Request ParseRequest(std::string_view payload);

// Whether it belongs to a load of flash: any other packet means that the load was given up.
bool IsPartOfLoad(const Request& request);

}  // namespace flash::host::gdb
