#include "host/line/PoolAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "host/Failure.h"

namespace flash::host::line {
namespace {

constexpr std::string_view kStateNames[] = {"FREE", "LEASED", "CONFIRMED", "BURNED"};

constexpr unsigned kBitsPerByte = 8;

std::uint64_t NumberOf(const RadioAddress& address) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < address.Bytes().size(); ++i) {
        number |= std::uint64_t{address.Bytes()[i]} << (kBitsPerByte * i);
    }
    return number;
}

}  // namespace

std::string_view KindName(PoolKind kind) { return kind == PoolKind::Ieee ? "ieee" : "ble"; }

std::optional<PoolKind> ParseKind(std::string_view name) {
    const auto* const kind = std::ranges::find(kPoolKinds, name, KindName);
    return kind == std::end(kPoolKinds) ? std::nullopt : std::optional(*kind);
}

std::size_t BytesOf(PoolKind kind) { return kind == PoolKind::Ieee ? kIeeeAddressBytes : kBleAddressBytes; }

std::string_view StateName(AddressState state) { return kStateNames[static_cast<std::size_t>(state)]; }

std::optional<AddressState> ParseState(std::string_view name) {
    const auto* const found = std::ranges::find(kStateNames, name);
    return found == std::end(kStateNames) ? std::nullopt
                                          : std::optional(static_cast<AddressState>(found - std::begin(kStateNames)));
}

bool IsNoAddress(const RadioAddress& address) {
    const auto isAll = [&](std::uint8_t value) {
        return std::ranges::all_of(address.Bytes(), [value](std::uint8_t byte) { return byte == value; });
    };
    return isAll(0x00) || isAll(0xFF);
}

AddressRange ParseAddressRange(std::string_view text, PoolKind kind) {
    const Field field = kind == PoolKind::Ieee ? Field::Ieee : Field::Ble;
    // The dash in the middle: others may stand between the bytes.
    const std::size_t middle = text.size() / 2;
    if (text.size() % 2 == 0 || text[middle] != '-') {
        throw BadInput(field, fmt::format("\"{}\" is not FIRST-LAST, two addresses of {} bytes", text, BytesOf(kind)));
    }
    const AddressRange range{kind, NumberOf(ParseRadioAddress(text.substr(0, middle), BytesOf(kind), field)),
                             NumberOf(ParseRadioAddress(text.substr(middle + 1), BytesOf(kind), field))};
    if (range.first > range.last) {
        throw BadInput(field, fmt::format("\"{}\" ends before it begins", text));
    }
    if (range.last - range.first >= kMostAddresses) {
        throw BadInput(field, fmt::format("\"{}\" are more than {} addresses", text, kMostAddresses));
    }
    for (const std::uint64_t number : {range.first, range.last}) {
        if (IsNoAddress(AddressOf(kind, number))) {
            throw BadInput(field, AddressOf(kind, number).Text() + " is no address that a chip can have");
        }
    }
    return range;
}

RadioAddress AddressOf(PoolKind kind, std::uint64_t number) {
    std::vector<std::uint8_t> bytes(BytesOf(kind));
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(number);
        number >>= kBitsPerByte;
    }
    return RadioAddress(bytes);
}

}  // namespace flash::host::line
