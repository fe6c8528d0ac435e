// The names of fields, and putting a text together.
#include "host/Field.h"

#include <array>

namespace flash::host {

std::string_view FieldName(Field field) {
    static constexpr std::array<std::string_view, 27> kNames = {
        "device",
        "devices folder",
        "probe",
        "fault",
        "plug-in",
        "verbose",
        "file format",
        "base address",
        "erase",
        "erased pages",
        "skipped pages",
        "skipped fill",
        "kept CCFG",
        "replaced CCFG",
        "verification",
        "retained BLE address",
        "retained IEEE address",
        "BLE address",
        "IEEE address",
        "protected pages",
        "boot loader",
        "debug port",
        "sectors",
        "range",
        "address",
        "only chip",
        "erased chip",
    };
    return kNames.at(static_cast<std::size_t>(field));
}

FieldText& FieldText::operator+=(const FieldText& more) {
    pieces.insert(pieces.end(), more.pieces.begin(), more.pieces.end());
    return *this;
}

FieldText operator+(FieldText first, const FieldText& second) { return first += second; }

std::string FieldText::With(const NameOf& nameOf) const {
    std::string text;
    for (const std::variant<std::string, Field>& piece : pieces) {
        const Field* field = std::get_if<Field>(&piece);
        text += field == nullptr ? std::get<std::string>(piece) : nameOf(*field);
    }
    return text;
}

std::string FieldText::Plain() const {
    return With([](Field field) { return '"' + std::string(FieldName(field)) + '"'; });
}

}  // namespace flash::host
