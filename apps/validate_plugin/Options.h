// The command line of validate-plugin, and one table of its options: what is parsed, what the help says, what the
// manual and the completion are made from. It needs no library, so that the program is built wherever the plug-in is.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "validator/ValidatePlugin.h"
#include "validator/page/Page.h"

namespace flash::validate_plugin {

enum class Action { Validate, List, ShowHelp, ShowVersion };

struct Options {
    Action action = Action::Validate;
    validator::ValidatePluginOptions validation;
    validator::PageForm form = validator::PageForm::Text;
    std::string outFile;  // empty: standard output
};

struct OptionText {
    std::string name;   // "--level"; "PLUGIN" for the word without dashes
    std::string value;  // "FILE", "text|json|junit"; empty for a switch
    std::string help;
    std::string usualValue;
    bool isRepeated = false;
};

const std::vector<OptionText>& OptionTexts();

inline constexpr char kSummary[] = "Checks a flash plug-in through its binary interface; needs no chip.";
std::string LevelTexts();     // one line for each
std::string ExitCodeTexts();  // the same
std::string HelpText();

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `arguments`: those behind the program's name. Throws `UsageError`.
Options Parse(const std::vector<std::string>& arguments);

}  // namespace flash::validate_plugin
