// The library's own rules are for programs that know their options' lengths.
#include "apps/lumoflash/OptionKinds.h"

#include <fmt/format.h>

#include "apps/lumoflash/RawOptions.h"

namespace flash::app {
namespace {

std::string NeitherTrueNorFalse(const std::string& text) {
    return text == "true" || text == "false" ? "" : fmt::format("\"{}\" is neither true nor false", text);
}

}  // namespace

// By itself the library takes all arguments that follow, too, and splits one in brackets.
void TakeOneAtATime(CLI::Option& option) { option.expected(1)->take_all()->allow_extra_args(false); }

// The library goes on taking as long as the least number is not reached; with its own way for lists it would split a
// word in brackets.
CLI::Option& TakeAllWords(CLI::Option& option) {
    constexpr int kMoreThanFit = 1 << 20;
    return *option.take_all()->expected(kMoreThanFit, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
}

CLI::Option* AddFlag(CLI::App& command, const std::string& names, bool& isOn, const std::string& description) {
    return command.add_flag(names, isOn, description)->check(NeitherTrueNorFalse);
}

void ApplyValues(CLI::Option& option, const std::vector<std::string>& values, const std::string& source) {
    try {
        for (const std::string& value : values) {
            option.add_result(value);
        }
        option.run_callback();
    } catch (const CLI::ParseError& error) {
        Refuse(fmt::format("{}: {}", source, error.what()));
    }
}

// The library cannot tell "--option=" from "--option" and takes the next argument for the value.
void RequireValuesBehindEquals(const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
        if (argument == "--") {
            return;
        }
        if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) {
            Refuse(fmt::format("{}: there is no value behind the equals sign", argument));
        }
    }
}

}  // namespace flash::app
