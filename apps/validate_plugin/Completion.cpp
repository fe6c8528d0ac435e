#include "apps/validate_plugin/Completion.h"

#include <algorithm>
#include <sstream>

#include "apps/validate_plugin/Options.h"

namespace flash::validate_plugin {
namespace {

struct Candidate {
    std::string text, help;
};

std::vector<Candidate> ValuesOf(const OptionText& option) {
    std::vector<Candidate> values;
    if (option.name == "--check") {
        for (const validator::Check& check : validator::AllChecks()) {
            values.push_back({check.name, check.demand});
        }
    } else if (option.name == "--level") {
        for (const validator::LevelText& level : validator::kLevels) {
            values.push_back({level.name, level.help});
        }
    } else if (option.value.find('|') != std::string::npos) {
        std::istringstream choices(option.value);
        for (std::string choice; std::getline(choices, choice, '|');) {
            values.push_back({choice, ""});
        }
    }
    return values;
}

std::vector<Candidate> Names() {
    std::vector<Candidate> names;
    for (const OptionText& option : OptionTexts()) {
        if (option.name.starts_with("-")) {
            names.push_back({option.name, option.help});
        }
    }
    return names;
}

const OptionText* WithValue(const std::string& name) {
    const auto found = std::ranges::find(OptionTexts(), name, &OptionText::name);
    const bool isFound = found != OptionTexts().end() && name.starts_with("-") && !found->value.empty();
    return isFound ? &*found : nullptr;
}

std::string Answer(const std::vector<Candidate>& candidates, const std::string& stays, const std::string& word) {
    std::string text = "none\t\t\n";
    for (const Candidate& candidate : candidates) {
        if (candidate.text.starts_with(word)) {
            text += stays + candidate.text + "\t" + candidate.help + "\n";
        }
    }
    return text;
}

std::string AnswerValue(const OptionText& option, const std::string& stays, const std::string& word) {
    return option.value == "FILE" ? "files\t" + stays + "\t\n" : Answer(ValuesOf(option), stays, word);
}

}  // namespace

std::string AnswerShell(const std::vector<std::string>& words) {
    const std::string word = words.empty() ? "" : words.back();
    const OptionText* before = words.size() < 2 ? nullptr : WithValue(words[words.size() - 2]);
    if (before != nullptr) {
        return AnswerValue(*before, "", word);
    }
    const std::size_t equals = word.find('=');
    const OptionText* same = equals == std::string::npos ? nullptr : WithValue(word.substr(0, equals));
    if (same != nullptr) {
        return AnswerValue(*same, word.substr(0, equals + 1), word.substr(equals + 1));
    }
    return word.starts_with("-") ? Answer(Names(), "", word) : "files\t\tso dll\n";
}

}  // namespace flash::validate_plugin
