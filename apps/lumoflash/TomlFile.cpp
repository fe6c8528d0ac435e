// Reading with toml++.
#include "apps/lumoflash/TomlFile.h"

#include <fmt/format.h>

#include <system_error>
#include <utility>

#include "apps/lumoflash/RawOptions.h"
#include "apps/lumoflash/TomlDepth.h"
#include "host/files/FileContent.h"

namespace flash::app {
namespace {

constexpr std::size_t kMostBytes = 1024 * 1024;

// Of a program that is a mistake; a file of settings just says nothing.
bool IsEmptyFile(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::is_regular_file(file, error) && std::filesystem::file_size(file, error) == 0;
}

}  // namespace

TomlFile::TomlFile(std::filesystem::path tomlFile) : file(std::move(tomlFile)) {
    if (IsEmptyFile(file)) {
        return;
    }
    try {
        const std::vector<std::uint8_t> content = host::LoadFile(file, kMostBytes);
        const std::string text(content.begin(), content.end());
        if (const auto line = LineNestedTooDeeply(text)) {
            Refuse(fmt::format("{}:{}: too deeply nested", file.string(), *line));
        }
        root = toml::parse(text);
    } catch (const toml::parse_error& error) {
        Refuse(fmt::format("{}:{}: {}", file.string(), error.source().begin.line, error.description()));
    }
}

std::string TomlFile::PlaceOf(const toml::node& node) const {
    return fmt::format("{}:{}", file.string(), node.source().begin.line);
}

std::string TomlFile::TextOf(const toml::node& node, const std::string& name) const {
    if (const auto text = node.value_exact<std::string>()) {
        return *text;
    }
    if (const auto number = node.value_exact<std::int64_t>()) {
        return fmt::format("{}", *number);
    }
    if (const auto isOn = node.value_exact<bool>()) {
        return *isOn ? "true" : "false";
    }
    Refuse(fmt::format("{}: {} is neither a text, a whole number nor true or false", PlaceOf(node), name));
}

std::vector<std::string> TomlFile::TextsOf(const toml::node& node, const std::string& name) const {
    const toml::array* array = node.as_array();
    if (array == nullptr) {
        return {TextOf(node, name)};
    }
    std::vector<std::string> texts;
    for (const toml::node& element : *array) {
        texts.push_back(TextOf(element, name));
    }
    if (texts.empty()) {
        Refuse(fmt::format("{}: {} has no value", PlaceOf(node), name));
    }
    return texts;
}

}  // namespace flash::app
