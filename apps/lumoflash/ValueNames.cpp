// The one table.
#include "apps/lumoflash/ValueNames.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

namespace flash::app {
namespace {

struct ValueName {
    std::string_view option;  // or "COMMAND OPTION" where an option of that name is another one elsewhere
    const char* value;
};

constexpr ValueName kNames[] = {
    {"--device", "PART"},
    {"--probe", "PROBE"},
    {"--plugin", "MODULE"},
    {"--devices", "FOLDER"},
    {"--data", "FOLDER"},
    {"--set", "KEY=VALUE"},
    {"--property", "KEY=VALUE"},
    {"--config", "FILE.toml"},
    {"--fault", "KIND@N"},
    {"--trace", "FILE.json"},
    {"--picture", "FILE.svg"},
    {"--report", "FILE.html"},
    {"FILE", "PROGRAM"},
    {"--base", "ADDRESS"},
    {"--format", "elf|hex|srec|bin"},
    {"read --format", "bin|hex|srec"},
    {"--erase", "necessary|retain|all|sectors:LIST|none"},
    {"--verify", "crc|readback|none"},
    {"--write", "changed|all"},
    {"--by", "target|link"},
    {"--skip-pages", "SECTORS"},
    {"--skip-fill", "BYTE"},
    {"--ble", "XX:XX:XX:XX:XX:XX"},
    {"--ieee", "XX:XX:XX:XX:XX:XX:XX:XX"},
    {"--protect", "SECTORS"},
    {"--sectors", "SECTORS"},
    {"--range", "ADDRESS:LENGTH"},
    {"--out", "FILE"},
    {"read KIND", "pri-ble|sec-ble|pri-ieee|sec-ieee"},
    {"write KIND", "ble|ieee"},
    {"ADDRESS", "ADDRESS"},
    {"PATH", "MODULE"},
    {"--check", "CHECK"},
    {"--time-limit", "SECONDS"},
    {"JOB", "FILE.toml"},
    {"--lease-ahead", "COUNT"},
    {"--operator", "NAME"},
    {"--station", "NAME"},
    {"--listen", "HOST:PORT"},
    {"--packet-size", "BYTES"},
};

const ValueName* Find(const std::string& option) {
    const auto* found = std::ranges::find(kNames, option, &ValueName::option);
    return found == std::end(kNames) ? nullptr : found;
}

std::string NameOf(const CLI::Option& option) {
    return option.get_positional()       ? option.get_name(true, false)
           : option.get_lnames().empty() ? ""
                                         : "--" + option.get_lnames().front();
}

}  // namespace

void NameValues(CLI::App& command) {
    for (CLI::Option* option : command.get_options()) {
        const std::string name = NameOf(*option);
        const ValueName* own = Find(command.get_name() + " " + name);
        const ValueName* found = own != nullptr ? own : Find(name);
        if (found != nullptr && option->get_items_expected_max() != 0 && option->get_type_name() == "TEXT") {
            option->type_name(found->value);
        }
    }
    for (CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; })) {
        NameValues(*each);
    }
}

}  // namespace flash::app
