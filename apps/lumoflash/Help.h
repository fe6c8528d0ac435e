// What the command line tells about itself, and what somebody may have meant who mistyped something.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "apps/lumoflash/Config.h"

namespace flash::app {

// Shows the options of every command with each of them, too.
std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter();

// As the parser knows them: "help COMMAND" is "COMMAND --help", and "-@ADDRESS" would be an option, so that standard
// input gets its longer name.
std::vector<std::string> AsParsed(std::vector<std::string> arguments);

// For an entry of a configuration file that is no option of its command. Throws Failure (BadInput).
[[noreturn]] void RefuseUnknownOption(const ConfigEntry& entry, const CLI::App& command);

// The parser tells a question for help like a mistake: the text that answers it. Throws Failure (BadInput) for a
// mistake.
std::string HelpFor(const CLI::App& app, const CLI::ParseError& error);

}  // namespace flash::app
