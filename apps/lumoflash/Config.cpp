// From TOML to entries.
#include "apps/lumoflash/Config.h"

#include <algorithm>
#include <set>
#include <utility>

#include "apps/lumoflash/TomlFile.h"
#include "host/backends/OpenProbe.h"

namespace flash::app {
namespace {

const std::string kStandardOutput = "-";
const std::set<std::string> kPropertyTables{"set", "property"};

class ConfigReader {
public:
    explicit ConfigReader(const std::filesystem::path& configFile) : file(configFile) {}

    std::vector<ConfigEntry> Read() {
        ReadTable(file.Root(), "");
        return std::move(entries);
    }

private:
    void ReadTable(const toml::table& table, const std::string& command) {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            if (const toml::table* inner = node.as_table(); inner != nullptr && command.empty()) {
                kPropertyTables.contains(name) ? ReadProperties(*inner, name) : ReadTable(*inner, name);
                continue;
            }
            ConfigEntry entry{command, name, file.TextsOf(node, name), file.PlaceOf(node)};
            std::ranges::transform(entry.values, entry.values.begin(),
                                   [&](const std::string& text) { return MeantFromHere(text, name); });
            entries.push_back(entry);
        }
    }

    void ReadProperties(const toml::table& table, const std::string& option) {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            entries.push_back({"", option, {name + "=" + file.TextOf(node, name)}, file.PlaceOf(node)});
        }
    }

    // Paths are meant from the file's folder, wherever the program is called.
    std::string MeantFromHere(const std::string& text, const std::string& name) const {
        static const std::set<std::string> paths{"plugin", "devices", "data", "trace", "out", "picture", "report"};
        if (const auto probe = host::ParseProbeSpec(text); probe && name == "probe") {
            return PrintProbeSpec(MeantFrom(file.Folder(), *probe));
        }
        const bool isPath = paths.contains(name) && (name != "out" || text != kStandardOutput);
        return isPath ? (file.Folder() / text).string() : text;
    }

    TomlFile file;
    std::vector<ConfigEntry> entries;
};

}  // namespace

std::vector<ConfigEntry> ReadConfig(const std::filesystem::path& file) { return ConfigReader(file).Read(); }

}  // namespace flash::app
