// Reading the TOML file with toml++.
#include "apps/lumoflash/Config.h"

#include <fmt/format.h>

#include <set>
#include <system_error>

#include "apps/lumoflash/Toml.h"
#include "apps/lumoflash/TomlDepth.h"
#include "host/Failure.h"
#include "host/backends/OpenProbe.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

namespace flash::app {
namespace {

using host::Failure;
using host::FailureKind;

const std::string kStandardOutput = "-";
const std::set<std::string> kPropertyTables{"set", "property"};

// Of a program that is a mistake; a configuration file just says nothing.
bool IsEmptyFile(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::is_regular_file(file, error) && std::filesystem::file_size(file, error) == 0;
}

constexpr std::size_t kMostBytes = 1024 * 1024;

class ConfigReader {
public:
    explicit ConfigReader(const std::filesystem::path& configFile) : file(configFile) {}

    std::vector<ConfigEntry> Read() {
        if (IsEmptyFile(file)) {
            return {};
        }
        try {
            const std::vector<std::uint8_t> content = host::LoadFile(file, kMostBytes);
            const std::string text(content.begin(), content.end());
            if (const auto line = LineNestedTooDeeply(text)) {
                throw Failure(FailureKind::BadInput, fmt::format("{}:{}: too deeply nested", file.string(), *line));
            }
            ReadTable(toml::parse(text), "");
        } catch (const toml::parse_error& error) {
            throw Failure(FailureKind::BadInput,
                          fmt::format("{}:{}: {}", file.string(), error.source().begin.line, error.description()));
        }
        return std::move(entries);
    }

private:
    std::string Place(const toml::node& node) const {
        return fmt::format("{}:{}", file.string(), node.source().begin.line);
    }

    void ReadTable(const toml::table& table, const std::string& command) {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            if (const toml::table* inner = node.as_table(); inner != nullptr && command.empty()) {
                kPropertyTables.contains(name) ? ReadProperties(*inner, name) : ReadTable(*inner, name);
                continue;
            }
            ConfigEntry entry{command, name, {}, Place(node)};
            if (const toml::array* array = node.as_array()) {
                for (const toml::node& element : *array) {
                    entry.values.push_back(Text(element, name));
                }
            } else {
                entry.values.push_back(Text(node, name));
            }
            if (entry.values.empty()) {
                throw Failure(FailureKind::BadInput, fmt::format("{}: {} has no value", entry.place, name));
            }
            entries.push_back(entry);
        }
    }

    void ReadProperties(const toml::table& table, const std::string& option) {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            entries.push_back({"", option, {name + "=" + Text(node, name)}, Place(node)});
        }
    }

    // Paths are meant from the file's folder, wherever the program is called.
    std::string Text(const toml::node& node, const std::string& name) const {
        static const std::set<std::string> paths{"plugin", "devices", "data", "trace", "out"};
        if (const auto text = node.value_exact<std::string>()) {
            if (const auto probe = host::ParseProbeSpec(*text); probe && name == "probe") {
                return PrintProbeSpec(MeantFrom(file.parent_path(), *probe));
            }
            const bool isPath = paths.contains(name) && (name != "out" || *text != kStandardOutput);
            return isPath ? (file.parent_path() / *text).string() : *text;
        }
        if (const auto number = node.value_exact<std::int64_t>()) {
            return fmt::format("{}", *number);
        }
        if (const auto isOn = node.value_exact<bool>()) {
            return *isOn ? "true" : "false";
        }
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}: {} is neither a text, a whole number nor true or false", Place(node), name));
    }

    std::filesystem::path file;
    std::vector<ConfigEntry> entries;
};

}  // namespace

std::vector<ConfigEntry> ReadConfig(const std::filesystem::path& file) { return ConfigReader(file).Read(); }

}  // namespace flash::app
