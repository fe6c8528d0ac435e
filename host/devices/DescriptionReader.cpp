// Reading and checking with pugixml.
#include "host/devices/DescriptionReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <pugixml.hpp>
#include <vector>

#include "host/Failure.h"
#include "host/Numbers.h"
#include "host/files/FileContent.h"

namespace flash::host {
namespace {

constexpr std::size_t kMaximumFileBytes = std::size_t{1} << 20;

struct LocationRule {
    const char* key;
    std::uint32_t lengthBytes;
    bool isInCcfg;  // which lies in the last sector
};

constexpr LocationRule kLocationRules[] = {
    {"DeviceBlePrimaryLoc", 6, false},   {"DeviceBleSecondaryLoc", 6, true}, {"DeviceIeeePrimaryLoc", 8, false},
    {"DeviceIeeeSecondaryLoc", 8, true}, {"DisableBootloaderLoc", 1, true},  {"DisableCpuDapLoc", 1, true},
    {"CCFG_PROT_31_0Loc", 8, true},
};
constexpr std::array kTextKeys = {"DeviceInfoRevisionTranslation", "DeviceFlashloaderFile"};

const LocationRule* RuleFor(std::string_view key) {
    const auto* found = std::ranges::find(kLocationRules, key, &LocationRule::key);
    return found == std::end(kLocationRules) ? nullptr : found;
}

// The mark of a hexadecimal number may be missing where every number is one.
std::string WithoutMark(const std::string& number) {
    return number.starts_with("0x") || number.starts_with("0X") ? number.substr(2) : number;
}

bool IsControlCharacter(unsigned char character) { return character < 0x20 || character == 0x7F; }

class DescriptionReader {
public:
    explicit DescriptionReader(const std::filesystem::path& path) : file(path) {
        const std::vector<std::uint8_t> content = LoadFile(file, kMaximumFileBytes);
        text.assign(content.begin(), content.end());
        if (const std::size_t zero = text.find('\0'); zero != std::string::npos) {
            Fail(static_cast<std::ptrdiff_t>(zero), "holds a zero byte; device descriptions are UTF-8 text");
        }
    }

    DeviceDescription Read() {
        const pugi::xml_node root = ParseXml();
        if (std::strcmp(root.name(), "flashProperties") != 0) {
            Fail(root.offset_debug(), fmt::format("starts with <{}>, expected <flashProperties>", root.name()));
        }
        RefuseOthers(root, {"device", "summary"}, {"chip", "property"});
        DeviceDescription description{};
        description.file = file;
        description.name = Attribute(root, "device");
        description.summary = Attribute(root, "summary");
        if (!SelectsGeneration(description.name)) {
            Fail(root.offset_debug(), fmt::format("the device name \"{}\" has no digit as its sixth character, which "
                                                  "selects the generation",
                                                  description.name));
        }
        ReadChip(root, description);
        ReadProperties(root, description);
        return description;
    }

private:
    // The document's element. Parsed as a fragment, because else what stands beside it would be passed over in silence.
    pugi::xml_node ParseXml() {
        const pugi::xml_parse_result parsed = document.load_buffer(
            text.data(), text.size(), pugi::parse_default | pugi::parse_fragment, pugi::encoding_utf8);
        if (!parsed) {
            Fail(parsed.offset, fmt::format("is not well-formed XML: {}", parsed.description()));
        }
        const pugi::xml_node root = document.document_element();
        if (document.first_child().empty()) {
            Fail(0, "is not well-formed XML: there is no element");
        }
        for (const pugi::xml_node& node : document.children()) {
            if (node != root) {
                Fail(node.offset_debug(), "is not well-formed XML: one element holds everything");
            }
        }
        return root;
    }

    [[noreturn]] void Fail(std::ptrdiff_t offset, const std::string& complaint) const {
        const auto end = text.begin() + std::clamp<std::ptrdiff_t>(offset, 0, static_cast<std::ptrdiff_t>(text.size()));
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}:{}: {}", file.string(), 1 + std::count(text.begin(), end, '\n'), complaint));
    }

    std::string Attribute(const pugi::xml_node& node, const char* name) const {
        const pugi::xml_attribute attribute = node.attribute(name);
        if (attribute.empty() || *attribute.value() == '\0') {
            Fail(node.offset_debug(), fmt::format("<{}> needs the attribute {}", node.name(), name));
        }
        std::string value = attribute.value();
        if (std::any_of(value.begin(), value.end(), IsControlCharacter)) {
            Fail(node.offset_debug(), fmt::format("the attribute {} holds a control character", name));
        }
        return value;
    }

    std::uint32_t Number(const pugi::xml_node& node, const char* name, std::uint32_t least, std::uint32_t most) const {
        const std::string value = Attribute(node, name);
        const std::optional<std::uint32_t> number = ParseNumber(value);
        if (!number || *number < least || *number > most) {
            Fail(node.offset_debug(),
                 fmt::format("{}=\"{}\" is not a number from {} to {} (decimal, or hexadecimal after 0x)", name, value,
                             least, most));
        }
        return *number;
    }

    void RefuseOthers(const pugi::xml_node& node, std::initializer_list<std::string_view> attributes,
                      std::initializer_list<std::string_view> children) const {
        for (const pugi::xml_attribute& attribute : node.attributes()) {
            if (std::find(attributes.begin(), attributes.end(), attribute.name()) == attributes.end()) {
                Fail(node.offset_debug(), fmt::format("<{}> has no attribute {}", node.name(), attribute.name()));
            }
            if (node.attribute(attribute.name()) != attribute) {
                Fail(node.offset_debug(),
                     fmt::format("<{}> has the attribute {} twice", node.name(), attribute.name()));
            }
        }
        for (const pugi::xml_node& child : node.children()) {
            if (std::find(children.begin(), children.end(), child.name()) == children.end()) {
                Fail(child.offset_debug(), fmt::format("<{}> cannot hold {}", node.name(),
                                                       *child.name() ? fmt::format("<{}>", child.name()) : "text"));
            }
        }
    }

    void ReadChip(const pugi::xml_node& root, DeviceDescription& description) const {
        const pugi::xml_node chip = root.child("chip");
        if (chip.empty() || !chip.next_sibling("chip").empty()) {
            Fail(root.offset_debug(), "needs exactly one <chip>");
        }
        RefuseOthers(chip,
                     {"sectorSize", "sectors", "referenceFlashSize", "ramSizeCode", "revisionCode", "ccfgSizeRegister",
                      "controller"},
                     {});
        description.sectorSizeBytes = Number(chip, "sectorSize", 256, 0x10000);
        description.sectorCount = Number(chip, "sectors", 1, 128);
        description.referenceFlashSizeBytes = Number(chip, "referenceFlashSize", 256, 0x1000000);
        description.ramSizeCode = Number(chip, "ramSizeCode", 0, 3);
        description.revisionCode = Number(chip, "revisionCode", 0, 15);
        description.ccfgSizeRegister = Number(chip, "ccfgSizeRegister", 0, 0xFFFF'FFFC);
        description.controller = chip.attribute("controller").empty() ? "" : Attribute(chip, "controller");
    }

    void ReadProperties(const pugi::xml_node& root, DeviceDescription& description) const {
        for (const pugi::xml_node& property : root.children("property")) {
            RefuseOthers(property, {"key", "value"}, {});
            const std::string key = Attribute(property, "key");
            const std::string value = Attribute(property, "value");
            CheckValue(property, key, value, description);
            if (!description.properties.emplace(key, value).second) {
                Fail(property.offset_debug(), fmt::format("the property {} stands twice", key));
            }
        }
        const auto demand = [&](const char* key) {
            if (!description.properties.contains(key)) {
                Fail(root.offset_debug(), fmt::format("the property {} is missing", key));
            }
        };
        std::ranges::for_each(kLocationRules, demand, &LocationRule::key);
        std::for_each(kTextKeys.begin(), kTextKeys.end(), demand);
    }

    void CheckValue(const pugi::xml_node& property, const std::string& key, const std::string& value,
                    const DeviceDescription& description) const {
        const LocationRule* rule = RuleFor(key);
        if (rule == nullptr && std::find(kTextKeys.begin(), kTextKeys.end(), key) == kTextKeys.end()) {
            Fail(property.offset_debug(), fmt::format("the property {} is not known", key));
        }
        if (rule != nullptr) {
            CheckLocation(property, *rule, value, description);
        }
        if (key == "DeviceInfoRevisionTranslation" && !IsRevisionTable(value)) {
            Fail(property.offset_debug(),
                 fmt::format("{}=\"{}\" is not a list CODE:MAJOR.MINOR:NAME[:...]", key, value));
        }
    }

    void CheckLocation(const pugi::xml_node& property, const LocationRule& rule, const std::string& value,
                       const DeviceDescription& description) const {
        const std::optional<FieldLocation> location = ParseLocation(value);
        if (!location || location->lengthBytes != rule.lengthBytes) {
            Fail(property.offset_debug(),
                 fmt::format("{}=\"{}\" is not ADDRESS:LENGTH, both hexadecimal, the length {}", rule.key, value,
                             rule.lengthBytes));
        }
        const std::uint64_t end = std::uint64_t{location->address} + location->lengthBytes;
        const std::uint32_t flashEnd = description.referenceFlashSizeBytes;
        if (rule.isInCcfg &&
            (end > flashEnd || std::uint64_t{location->address} + description.sectorSizeBytes < flashEnd)) {
            Fail(property.offset_debug(), fmt::format("{}=\"{}\" is not in the last sector of 0x{:X} bytes of flash",
                                                      rule.key, value, flashEnd));
        }
    }

    static bool IsRevisionTable(const std::string& value) {
        std::vector<std::string> pieces(1);
        for (const char character : value) {
            character == ':' ? static_cast<void>(pieces.emplace_back()) : pieces.back().push_back(character);
        }
        if (pieces.size() % 3 != 0) {
            return false;
        }
        for (std::size_t i = 0; i < pieces.size(); i += 3) {
            const std::size_t point = pieces[i + 1].find('.');
            const std::optional<std::uint32_t> code = ParseNumber(pieces[i]);
            if (!code || *code > 15 || point == std::string::npos || !ParseNumber(pieces[i + 1].substr(0, point)) ||
                !ParseNumber(pieces[i + 1].substr(point + 1)) || pieces[i + 2].empty()) {
                return false;
            }
        }
        return true;
    }

    std::filesystem::path file;
    std::string text;
    pugi::xml_document document;
};

}  // namespace

DeviceDescription ReadDescription(const std::filesystem::path& file) { return DescriptionReader(file).Read(); }

std::optional<FieldLocation> ParseLocation(const std::string& value) {
    const std::size_t colon = value.find(':');
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> address = ParseHexadecimal(WithoutMark(value.substr(0, colon)));
    const std::optional<std::uint32_t> length = ParseHexadecimal(WithoutMark(value.substr(colon + 1)));
    return address && length ? std::optional(FieldLocation{*address, *length}) : std::nullopt;
}

}  // namespace flash::host
