// One address of the pool, and runs of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/ccfg/RadioAddress.h"
#include "host/line/Database.h"

namespace flash::host::line {

enum class PoolKind { Ieee, Ble };

inline constexpr PoolKind kPoolKinds[] = {PoolKind::Ieee, PoolKind::Ble};

// "ieee", "ble".
std::string_view KindName(PoolKind kind);
std::optional<PoolKind> ParseKind(std::string_view name);
std::size_t BytesOf(PoolKind kind);

// Free: nobody's. Leased: given to a chip that is not known to have it. Confirmed: read back from that chip. Burned:
// never given out again. Nothing leads back to Free.
enum class AddressState { Free, Leased, Confirmed, Burned };

inline constexpr AddressState kAddressStates[] = {AddressState::Free, AddressState::Leased, AddressState::Confirmed,
                                                  AddressState::Burned};

// "FREE", …
std::string_view StateName(AddressState state);
std::optional<AddressState> ParseState(std::string_view name);

struct PoolAddress {
    PoolKind kind;
    RadioAddress address;
    AddressState state = AddressState::Free;
    Cell chip = std::nullopt;     // the identity of the chip that has it, or is to have it
    Cell station = std::nullopt;  // that changed it last
    Cell time = std::nullopt;     // of that change
    Cell note = std::nullopt;     // why it was burned
};

// All zeros or all ones: what erased flash reads as, never an address.
bool IsNoAddress(const RadioAddress& address);

struct AddressRange {
    PoolKind kind;
    std::uint64_t first, last;  // both in it

    std::uint64_t Count() const { return last - first + 1; }
};

// Far more than one block of addresses has; a longer range is a mistake.
inline constexpr std::uint64_t kMostAddresses = std::uint64_t{1} << 24;

// "FIRST-LAST", whatever separates the bytes. Throws BadInput.
AddressRange ParseAddressRange(std::string_view text, PoolKind kind);

RadioAddress AddressOf(PoolKind kind, std::uint64_t number);

}  // namespace flash::host::line
