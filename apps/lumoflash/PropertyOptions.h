// Host properties that options of the command line stand for. `--set` of such a property gives the option, so that the
// plan, the warnings and the verification know of it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace flash::app {

struct OptionValue {
    std::string option;  // long name with its dashes
    std::string value;   // "true" for a flag
};

// The options, of whatever command, that these properties amount to.
std::vector<OptionValue> OptionsOf(const std::map<std::string, std::string>& properties);

}  // namespace flash::app
