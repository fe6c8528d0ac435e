#include "apps/validate_plugin/Options.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>

namespace flash::validate_plugin {
namespace {

constexpr const char* kFormNames[] = {"text", "json", "junit"};
constexpr const char* kExample =
    "validate-plugin ./libflashdevice.so\nvalidate-plugin --format junit --out results.xml ./libflashdevice.so\n";

std::string Levels() {
    std::string names;
    for (const validator::LevelText& level : validator::kLevels) {
        names += (names.empty() ? "" : "|") + std::string(level.name);
    }
    return names;
}

std::string Padded(const std::string& text, std::size_t width) {
    return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

const OptionText* FindOption(const std::string& name) {
    const auto found = std::ranges::find(OptionTexts(), name, &OptionText::name);
    return found == OptionTexts().end() || !name.starts_with("-") ? nullptr : &*found;
}

template <typename Value, std::size_t kCount>
Value ChoiceOf(const std::string& option, const std::string& text, const char* const (&names)[kCount]) {
    const auto* found = std::ranges::find(names, text);
    if (found == std::end(names)) {
        throw UsageError(option + ": \"" + text + "\" is none of " + FindOption(option)->value);
    }
    return static_cast<Value>(found - std::begin(names));
}

validator::Level LevelOf(const std::string& text) {
    const auto* found = std::ranges::find(validator::kLevels, text, &validator::LevelText::name);
    if (found == std::end(validator::kLevels)) {
        throw UsageError("--level: \"" + text + "\" is none of " + Levels());
    }
    return found->level;
}

unsigned SecondsOf(const std::string& text) {
    unsigned seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || end != text.data() + text.size() || seconds < 1 || seconds > 3600) {
        throw UsageError("--time-limit: \"" + text + "\" is no number from 1 to 3600");
    }
    return seconds;
}

// Reads the arguments one by one.
class Parser {
public:
    explicit Parser(std::span<const std::string> given) : rest(given) {}

    Options Read() {
        bool isWord = false;  // behind "--" all are
        while (!rest.empty()) {
            const std::string argument = rest.front();
            rest = rest.subspan(1);
            if (!isWord && argument == "--") {
                isWord = true;
            } else if (!isWord && argument.starts_with("-") && argument != "-") {
                ReadOption(argument);
            } else {
                ReadWord(argument);
            }
        }
        return options;
    }
    bool HasLevel() const { return hasLevel; }

private:
    void ReadWord(const std::string& word) {
        if (!options.validation.modulePath.empty()) {
            throw UsageError("one plug-in at a time: \"" + word + "\" is a second one");
        }
        options.validation.modulePath = word;
    }

    void ReadOption(const std::string& argument) {
        const std::size_t equals = argument.find('=');
        const std::string given = argument.substr(0, equals);
        const std::string name = given == "-h" ? "--help" : given;
        const OptionText* option = FindOption(name);
        if (option == nullptr) {
            throw UsageError("there is no option " + given);
        }
        std::optional<std::string> value;
        if (equals != std::string::npos) {
            value = argument.substr(equals + 1);
        }
        if (option->value.empty() && value) {
            throw UsageError(name + " takes no value");
        }
        if (!option->value.empty() && !value) {
            if (rest.empty()) {
                throw UsageError(name + " needs a value: " + option->value);
            }
            value = rest.front();
            rest = rest.subspan(1);
        }
        Apply(name, value.value_or(""));
    }

    void Apply(const std::string& name, const std::string& value) {
        validator::ValidatePluginOptions& validation = options.validation;
        if (name == "--check") {
            validation.checkNames.push_back(value);
        } else if (name == "--level") {
            validation.level = LevelOf(value);
            hasLevel = true;
        } else if (name == "--format") {
            options.form = ChoiceOf<validator::PageForm>(name, value, kFormNames);
        } else if (name == "--out") {
            options.outFile = value.empty() ? throw UsageError("--out needs a file's name") : value;
        } else if (name == "--time-limit") {
            validation.limits.cpuSeconds = SecondsOf(value);
            validation.limits.wallSeconds = std::max(validation.limits.wallSeconds, validation.limits.cpuSeconds);
        } else {
            options.action = name == "--list"   ? Action::List
                             : name == "--help" ? Action::ShowHelp
                                                : Action::ShowVersion;
        }
    }

    std::span<const std::string> rest;
    Options options;
    bool hasLevel = false;
};

void RequireSense(const Options& options, bool hasLevel) {
    const bool hasModule = !options.validation.modulePath.empty();
    if (options.action == Action::List && hasModule) {
        throw UsageError("--list needs no plug-in");
    }
    if (options.action == Action::Validate && !hasModule) {
        throw UsageError("which plug-in? validate-plugin --help tells more");
    }
    if (hasLevel && !options.validation.checkNames.empty()) {
        throw UsageError("--check and --level exclude each other");
    }
}

}  // namespace

const std::vector<OptionText>& OptionTexts() {
    static const std::vector<OptionText> kTexts = {
        {"PLUGIN", "", "The plug-in's module (required but for --list)", "", false},
        {"--level", Levels(), "How far to go", "everything", false},
        {"--check", "NAME", "Only this check; may be repeated", "", true},
        {"--list", "", "Show the checks, or those of a level; run none", "", false},
        {"--format", "text|json|junit", "The page of results: for people, for programs, for build servers", "text",
         false},
        {"--out", "FILE", "Write the page there; what becomes of each check is shown as well", "", false},
        {"--time-limit", "SECONDS", "Seconds of computing for one check, 1 to 3600", "10", false},
        {"--version", "", "Show the version", "", false},
        {"--help", "", "Show this", "", false},
    };
    return kTexts;
}

std::string LevelTexts() {
    std::string text;
    for (const validator::LevelText& level : validator::kLevels) {
        text += "  " + Padded(level.name, 12) + level.help + "\n";
    }
    return text;
}

std::string ExitCodeTexts() {
    return "  0    every check passed\n"
           "  1    a check did not pass, or the page cannot be written\n"
           "  2    usage: a wrong option, an unknown check\n"
           "  4    the plug-in cannot be loaded\n"
           "  130  interrupted\n";
}

std::string HelpText() {
    std::string text = std::string(kSummary) + "\n\nUsage: validate-plugin [OPTIONS] PLUGIN\n\nOptions:\n";
    for (const OptionText& option : OptionTexts()) {
        text += "  " + Padded(option.name + (option.value.empty() ? "" : " " + option.value), 44) + option.help +
                (option.usualValue.empty() ? "" : " [" + option.usualValue + "]") + "\n";
    }
    return text + "\nLevels, each with all above it:\n" + LevelTexts() + "\nExit codes:\n" + ExitCodeTexts() +
           "\nExamples:\n  " + std::string(kExample).replace(std::string(kExample).find('\n'), 1, "\n  ");
}

Options Parse(const std::vector<std::string>& arguments) {
    Parser parser(arguments);
    const Options options = parser.Read();
    RequireSense(options, parser.HasLevel());
    return options;
}

}  // namespace flash::validate_plugin
