// Help of CLI11 with more in it.
#include "apps/lumoflash/Help.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "apps/lumoflash/RawOptions.h"
#include "host/Nearest.h"
#include "host/files/StandardInput.h"

namespace flash::app {
namespace {

const CLI::App& RootOf(const CLI::App& command) {
    const CLI::App* root = &command;
    while (root->get_parent() != nullptr) {
        root = root->get_parent();
    }
    return *root;
}

class HelpFormatter final : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override {
        const CLI::App& root = RootOf(*app);
        const auto isShared = [](const CLI::Option* option) {
            return option->get_name() != "--help" && option->get_name() != "--version";
        };
        const std::string shared =
            &root == app ? "" : make_group("Options of every command", false, root.get_options(isShared));
        return shared + CLI::Formatter::make_footer(app);
    }
};

const CLI::App& DeepestGiven(const CLI::App& app) {
    const std::vector<CLI::App*> given = app.get_subcommands();
    return given.empty() ? app : DeepestGiven(*given.back());
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> OptionsOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* owner = &command; owner != nullptr; owner = owner->get_parent()) {
        for (const CLI::Option* option : owner->get_options()) {
            std::ranges::transform(option->get_lnames(), std::back_inserter(names),
                                   [](const std::string& name) { return "--" + name; });
        }
    }
    return names;
}

// For the first word that nothing took.
std::string Suggestion(const CLI::App& app, const CLI::App& command) {
    const std::vector<std::string> unknown = app.remaining(true);
    if (unknown.empty()) {
        return "";
    }
    const std::string word = unknown.front().substr(0, unknown.front().find('='));
    return host::DidYouMean(word, word.starts_with("-") ? OptionsOf(command) : CommandsOf(command));
}

// "program ", "mac read ".
std::string NamesOf(const CLI::App& command) {
    return command.get_parent() == nullptr ? "" : NamesOf(*command.get_parent()) + command.get_name() + " ";
}

}  // namespace

std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter() { return std::make_shared<HelpFormatter>(); }

std::vector<std::string> AsParsed(std::vector<std::string> arguments) {
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    for (std::string& argument : arguments) {
        if (argument.starts_with("-@")) {
            argument.replace(0, 1, host::kStandardInputFile);
        }
    }
    return arguments;
}

void RefuseUnknownOption(const ConfigEntry& entry, const CLI::App& command) {
    Refuse(fmt::format("{}: there is no option {}{}{}", entry.place, entry.option,
                       entry.command.empty() ? "" : " for " + entry.command,
                       host::DidYouMean("--" + entry.option, OptionsOf(command))));
}

std::string HelpFor(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = DeepestGiven(app);
    const std::vector<std::string> unknown = app.remaining(true), known = CommandsOf(command);
    if (!known.empty() && !unknown.empty() && !unknown.front().starts_with("-")) {
        Refuse(fmt::format("There is no command {}{}{}; `lumoflash {}--help` lists them", NamesOf(command),
                           unknown.front(), host::DidYouMean(unknown.front(), known), NamesOf(command)));
    }
    std::ostringstream out, problem;
    if (app.exit(error, out, problem) != 0) {
        Refuse(fmt::format("{}{}; `lumoflash {}--help` tells more", error.what(), Suggestion(app, command),
                           NamesOf(command)));
    }
    return out.str();
}

}  // namespace flash::app
