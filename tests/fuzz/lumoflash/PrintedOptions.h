// Parsed options of lumoflash, printed back: as arguments, as the configuration file that gives the same, and as a text
// that tells any two apart.
#pragma once

#include <string>
#include <vector>

#include "apps/lumoflash/Options.h"

namespace flash::fuzz {

struct PrintedOption {
    enum class Kind { Text, Number, Flag, Path, Database };

    std::string command;  // "" for an option of every command
    std::string name;     // without the dashes
    std::string value;    // of a flag "true" or "false"
    Kind kind;
};

// All but host properties. Flags are among them when they are off, too, because a property may stand for one.
std::vector<PrintedOption> PrintOptions(const app::Options& options);

// "program app.elf": the command and its arguments without a name.
std::vector<std::string> PrintWords(const app::Options& options);

// Every member, in order. Does not compile when a member is added and not described.
std::string Describe(const app::Options& options);

}  // namespace flash::fuzz
