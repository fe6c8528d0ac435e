// What the command line calls the host's fields, and the options that host properties stand for.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/Field.h"

namespace flash::app {

// The option that gives the field, as it is typed.
std::string OptionOf(host::Field field);

// The host's text in the user's words.
inline std::string InWords(const host::FieldText& text) { return text.With(OptionOf); }

struct OptionValue {
    std::string option;  // long name with its dashes
    std::string value;   // "true" for a flag
};

// The options, of whatever command, that these properties amount to: `--set` of such a property gives the option, so
// that the plan, the warnings and the verification know of it.
std::vector<OptionValue> OptionsOf(const std::map<std::string, std::string>& properties);

}  // namespace flash::app
