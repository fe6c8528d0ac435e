// Writes the manual's page, from the same table as the help. Run when the product is built.
//
// Usage: validate-plugin-manual FOLDER VERSION DATE
#include <cstdio>

#include "apps/lumoflash/ManPages.h"
#include "apps/validate_plugin/Options.h"

namespace {

flash::app::CommandText Description() {
    using namespace flash::validate_plugin;
    flash::app::CommandText command;
    command.name = "validate-plugin";
    command.help = kSummary;
    command.notes = ExitCodeTexts();
    command.example =
        "validate-plugin ./libflashdevice.so\nvalidate-plugin --format junit --out results.xml ./libflashdevice.so\n"
        "validate-plugin --list";
    for (const OptionText& option : OptionTexts()) {
        flash::app::OptionText text;
        text.names = {option.name};
        text.value = option.value;
        text.help =
            option.name == "--level" ? option.help + ". Each level has what the ones before it have:" : option.help;
        text.usualValue = option.usualValue;
        text.isWord = !option.name.starts_with("-");
        text.isRepeated = option.isRepeated;
        if (option.name == "--level") {
            for (const flash::validator::LevelText& level : flash::validator::kLevels) {
                text.help += " `" + std::string(level.name) + "`, " + level.help + ";";
            }
            text.help.back() = '.';
        }
        command.options.push_back(text);
    }
    return command;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::fprintf(stderr, "Usage: validate-plugin-manual FOLDER VERSION DATE\n");
        return 2;
    }
    return flash::app::WriteManual(arguments[1], flash::app::ManPages(Description(), arguments[2], arguments[3]));
}
