// What a user gives the host. A text that is about such a field carries the field, not what some program calls it:
// whoever talks to the user puts in the words that the user knows, such as the name of an option.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace flash::host {

enum class Field {
    // Of every operation.
    Device,
    DevicesFolder,
    Probe,
    Fault,
    Plugin,
    Verbose,
    // Of a program load; those from Ble on of a change of CCFG, too.
    FileFormat,
    BaseAddress,
    Erase,
    ErasedSectors,
    SkippedSectors,
    SkippedFill,
    KeptCcfg,
    ReplacedCcfg,
    Verification,
    RetainedBle,
    RetainedIeee,
    Ble,
    Ieee,
    Protect,
    Bootloader,
    DebugPort,
    // Of an erase alone, of reading alone, of a new address alone, of a load for certain chips.
    Sectors,
    Range,
    Address,
    OnlyChip,
    // Of addresses from a pool.
    ErasedChip,
};

// The host's own name: "devices folder".
std::string_view FieldName(Field field);

// A text with fields in it.
class FieldText {
public:
    // Not explicit: most texts have no field, and a field is often all that a piece is.
    FieldText(std::string text) : pieces{std::move(text)} {}
    FieldText(const char* text) : pieces{std::string(text)} {}
    FieldText(Field field) : pieces{field} {}

    FieldText& operator+=(const FieldText& more);

    using NameOf = std::function<std::string(Field)>;
    std::string With(const NameOf& nameOf) const;

    // With the host's own names, in quotes.
    std::string Plain() const;

private:
    std::vector<std::variant<std::string, Field>> pieces;
};

FieldText operator+(FieldText first, const FieldText& second);

}  // namespace flash::host
