// A description is XML from the network: everything in it is doubted, and nothing of it is required.
#include "host/gdb/RegisterLayout.h"

#include <pugixml.hpp>

namespace flash::host::gdb {
namespace {

constexpr int kMostFiles = 16;  // a file may include itself
constexpr std::uint32_t kMostRegisters = 1024;
constexpr std::uint32_t kMostBits = 1024;
constexpr std::uint32_t kRegisterBytes = 4;

struct Reader {
    const std::function<std::optional<std::string>(const std::string&)>& readAnnex;
    RegisterLayout layout;
    std::uint32_t nextNumber = 0;
    int files = 0;

    void ReadFile(const std::string& annex) {
        const auto text = ++files <= kMostFiles ? readAnnex(annex) : std::nullopt;
        pugi::xml_document document;
        if (text && document.load_string(text->c_str(), pugi::parse_default)) {
            ReadChildren(document);
        }
    }

    void ReadChildren(const pugi::xml_node& node) {
        for (const pugi::xml_node& child : node.children()) {
            const std::string_view name = child.name();
            if (name == "xi:include") {
                ReadFile(child.attribute("href").value());
            } else if (name == "reg") {
                AddRegister(child);
            } else if (name == "target" || name == "feature") {
                ReadChildren(child);
            }
        }
    }

    void AddRegister(const pugi::xml_node& node) {
        const std::uint32_t number = node.attribute("regnum").as_uint(nextNumber);
        const std::uint32_t bits = node.attribute("bitsize").as_uint();
        if (number >= kMostRegisters || bits == 0 || bits > kMostBits) {
            return;
        }
        layout.Add(node.attribute("name").value(), {number, (bits + 7) / 8});
        nextNumber = number + 1;
    }
};

}  // namespace

RegisterLayout RegisterLayout::Default() {
    RegisterLayout layout;
    for (std::uint32_t number = 0; number < 13; ++number) {
        layout.Add("r" + std::to_string(number), {number, kRegisterBytes});
    }
    layout.Add("sp", {13, kRegisterBytes});
    layout.Add("lr", {14, kRegisterBytes});
    layout.Add("pc", {15, kRegisterBytes});
    for (std::uint32_t number = 16; number < 24; ++number) {  // of a floating-point unit that no core has any more
        layout.Add("f" + std::to_string(number - 16), {number, 12});
    }
    layout.Add("fps", {24, kRegisterBytes});
    layout.Add("xpsr", {25, kRegisterBytes});
    return layout;
}

std::optional<RegisterPlace> RegisterLayout::Find(const std::string& name) const {
    const auto found = places.find(name);
    return found == places.end() ? std::nullopt : std::optional(found->second);
}

std::size_t RegisterLayout::OffsetOf(RegisterPlace place) const {
    std::map<std::uint32_t, std::uint32_t> lengths;  // two names may stand for one register
    for (const auto& [name, other] : places) {
        lengths[other.number] = other.lengthBytes;
    }
    std::size_t offset = 0;
    for (const auto& [number, length] : lengths) {
        offset += number < place.number ? length : 0;
    }
    return offset;
}

std::optional<RegisterLayout> ReadRegisterLayout(
    const std::function<std::optional<std::string>(const std::string& annex)>& readAnnex) {
    Reader reader{readAnnex, {}, 0, 0};
    reader.ReadFile("target.xml");
    return reader.layout.Find("pc") ? std::optional(reader.layout) : std::nullopt;
}

}  // namespace flash::host::gdb
