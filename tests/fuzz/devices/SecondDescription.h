// The rules of docs/device-descriptions.md a second time, over the simple reader of XML.
#pragma once

#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include "host/devices/DeviceDescription.h"
#include "tests/fuzz/SecondNumber.h"
#include "tests/fuzz/devices/SimpleXml.h"

namespace flash::fuzz {

using host::DeviceDescription;

class SecondDescription {
public:
    // Nothing when a rule is broken.
    static std::optional<DeviceDescription> Of(const Element& root) {
        SecondDescription reader;
        reader.ReadRoot(root);
        return reader.isGood ? std::optional(reader.description) : std::nullopt;
    }

private:
    void Demand(bool holds) { isGood = isGood && holds; }

    // The attribute's value, which must be there.
    std::string Value(const Element& element, const std::string& name) {
        const std::string* value = element.Attribute(name);
        Demand(value != nullptr && !value->empty());
        return value != nullptr ? *value : "";
    }

    std::uint32_t Number(const Element& element, const std::string& name, std::uint32_t least, std::uint32_t most) {
        const std::optional<std::uint32_t> number = SecondNumber(Value(element, name), least, most);
        Demand(number.has_value());
        return number.value_or(0);
    }

    void ReadRoot(const Element& root) {
        Demand(root.name == "flashProperties" && !root.hasText && root.attributes.size() == 2);
        description.name = Value(root, "device");
        description.summary = Value(root, "summary");
        Demand(description.name.size() >= 6 && SecondNumber(description.name.substr(5, 1), 0, 9).has_value());
        std::size_t chips = 0;
        for (const Element& child : root.children) {
            Demand(child.children.empty() && !child.hasText);
            if (child.name == "chip") {
                ++chips;
                ReadChip(child);
            } else {
                ReadProperty(child);
            }
        }
        Demand(chips == 1 && description.properties.size() == 9);
        for (const auto& [key, value] : description.properties) {
            if (key.ends_with("Loc")) {
                Demand(IsLocation(key, value));
            }
        }
    }

    void ReadChip(const Element& chip) {
        const bool hasController = chip.Attribute("controller") != nullptr;
        Demand(chip.attributes.size() == (hasController ? 7U : 6U));
        description.controller = hasController ? Value(chip, "controller") : "";
        description.sectorSizeBytes = Number(chip, "sectorSize", 256, 65'536);
        description.sectorCount = Number(chip, "sectors", 1, 128);
        description.referenceFlashSizeBytes = Number(chip, "referenceFlashSize", 256, 16'777'216);
        description.ramSizeCode = Number(chip, "ramSizeCode", 0, 3);
        description.revisionCode = Number(chip, "revisionCode", 0, 15);
        description.ccfgSizeRegister = Number(chip, "ccfgSizeRegister", 0, 4'294'967'292);
    }

    void ReadProperty(const Element& property) {
        static const std::set<std::string> kKeys{
            "DeviceIeeePrimaryLoc",          "DeviceBlePrimaryLoc",  "DeviceIeeeSecondaryLoc",
            "DeviceBleSecondaryLoc",         "DisableBootloaderLoc", "DisableCpuDapLoc",
            "DeviceInfoRevisionTranslation", "CCFG_PROT_31_0Loc",    "DeviceFlashloaderFile"};
        Demand(property.name == "property" && property.attributes.size() == 2);
        const std::string key = Value(property, "key");
        const std::string value = Value(property, "value");
        Demand(description.properties.emplace(key, value).second);
        Demand(kKeys.contains(key) && (key != "DeviceInfoRevisionTranslation" || IsRevisionTable(value)));
    }

    static std::string_view WithoutPrefix(std::string_view text) {
        return text.starts_with("0x") || text.starts_with("0X") ? text.substr(2) : text;
    }

    // Addresses of a radio have 6 or 8 bytes, switches one; all but the primary addresses lie in the last sector.
    bool IsLocation(const std::string& key, std::string_view value) const {
        const std::size_t colon = value.find(':');
        if (colon == std::string_view::npos) {
            return false;
        }
        const auto address = DigitsOf(WithoutPrefix(value.substr(0, colon)), 16);
        const auto length = DigitsOf(WithoutPrefix(value.substr(colon + 1)), 16);
        const std::uint64_t expected = key.starts_with("DeviceBle") ? 6 : key.starts_with("Disable") ? 1 : 8;
        if (!address || *address > 0xFFFF'FFFF || length != expected) {
            return false;
        }
        const std::uint64_t flashEnd = description.referenceFlashSizeBytes;
        return key.find("Primary") != std::string::npos ||
               (*address + description.sectorSizeBytes >= flashEnd && *address + expected <= flashEnd);
    }

    // Takes what stands before the mark off the front.
    static std::string_view CutAt(char mark, std::string_view& rest) {
        const std::string_view piece = rest.substr(0, rest.find(mark));
        rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
        return piece;
    }

    static bool IsRevisionTable(std::string_view rest) {
        if (rest.ends_with(':')) {
            return false;
        }
        while (!rest.empty()) {
            const std::string_view code = CutAt(':', rest);
            std::string_view version = CutAt(':', rest);
            const std::string_view major = CutAt('.', version);
            if (!SecondNumber(code, 0, 15) || !SecondNumber(major, 0, 0xFFFF'FFFF) ||
                !SecondNumber(version, 0, 0xFFFF'FFFF) || CutAt(':', rest).empty()) {
                return false;
            }
        }
        return true;
    }

    DeviceDescription description{};
    bool isGood = true;
};

}  // namespace flash::fuzz
