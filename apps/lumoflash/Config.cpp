// From TOML to entries.
#include "apps/lumoflash/Config.h"

#include <algorithm>
#include <set>
#include <utility>

#include "apps/lumoflash/TomlFile.h"
#include "host/backends/OpenProbe.h"
#include "host/line/Database.h"

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
                                   [&](const std::string& text) { return MeantFrom(file.Folder(), name, text); });
            entries.push_back(entry);
        }
    }

    void ReadProperties(const toml::table& table, const std::string& option) {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            entries.push_back({"", option, {name + "=" + file.TextOf(node, name)}, file.PlaceOf(node)});
        }
    }

    TomlFile file;
    std::vector<ConfigEntry> entries;
};

}  // namespace

std::string MeantFrom(const std::filesystem::path& folder, const std::string& option, const std::string& text) {
    static const std::set<std::string> paths{"plugin", "devices", "data", "trace", "out", "picture", "report"};
    static const std::set<std::string> databases{"assign-from", "record"};
    if (const auto probe = host::ParseProbeSpec(text); probe && option == "probe") {
        return PrintProbeSpec(host::MeantFrom(folder, *probe));
    }
    if (databases.contains(option)) {
        return host::line::DatabaseMeantFrom(folder.string(), text);
    }
    const bool isPath = paths.contains(option) && (option != "out" || text != kStandardOutput);
    return isPath ? (folder / text).string() : text;
}

std::vector<ConfigEntry> ReadConfig(const std::filesystem::path& file) { return ConfigReader(file).Read(); }

}  // namespace flash::app
