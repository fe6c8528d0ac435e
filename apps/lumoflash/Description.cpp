// Asks the library that parses.
#include "apps/lumoflash/Description.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>

namespace flash::app {
namespace {

constexpr std::string_view kExample = "Example:\n";

std::vector<std::string> NamesOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return {option.get_name(true, false)};
    }
    std::vector<std::string> names;
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    return names;
}

// A word whose kind nobody named is called what it is.
std::string ValueOf(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) {
        return "";
    }
    const std::string type = option.get_type_name();
    const bool isUnnamed = type.empty() || type == "TEXT";
    return option.get_positional() && isUnnamed ? option.get_name(true, false) : isUnnamed ? "TEXT" : type;
}

OptionText Describe(const CLI::Option& option) {
    OptionText text;
    text.isWord = option.get_positional();
    text.names = NamesOf(option);
    text.value = ValueOf(option);
    text.help = option.get_description();
    text.usualValue = option.get_default_str();
    text.variable = option.get_envname();
    text.isRequired = option.get_required();
    text.isRepeated = option.get_items_expected_max() > 1;
    return text;
}

std::string FullName(const CLI::App& app) {
    return app.get_parent() == nullptr ? app.get_name() : FullName(*app.get_parent()) + " " + app.get_name();
}

// "Exit codes: 0 done, 1 operation failed. The rest."
void SplitNotes(const std::string& notes, CommandText& text) {
    constexpr std::string_view kCodes = "Exit codes: ";
    const std::size_t end = notes.find(". ");
    if (!notes.starts_with(kCodes) || end == std::string::npos) {
        text.notes = notes;
        return;
    }
    text.notes = notes.substr(end + 2);
    std::istringstream codes(notes.substr(kCodes.size(), end - kCodes.size()));
    for (std::string code; std::getline(codes >> std::ws, code, ',');) {
        text.exitCodes.push_back(code);
    }
}

}  // namespace

CommandText Describe(const CLI::App& app) {
    CommandText text;
    text.name = FullName(app);
    text.help = app.get_description();
    const std::string footer = app.get_footer();
    const std::size_t example = footer.find(kExample);
    SplitNotes(footer.substr(0, example), text);
    text.example = example == std::string::npos ? "" : footer.substr(example + kExample.size());
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_group().empty()) {
            text.options.push_back(Describe(*option));
        }
    }
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!command->get_group().empty()) {
            text.commands.push_back(Describe(*command));
        }
    }
    return text;
}

}  // namespace flash::app
