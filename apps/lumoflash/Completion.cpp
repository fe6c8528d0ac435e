// Follows the words through the commands, then offers what fits there.
#include "apps/lumoflash/Completion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/ValueKinds.h"
#include "host/Failure.h"

namespace flash::app {
namespace {

// The value of the option among the words in front of the last, "" when it is not given.
std::string ValueAmong(const std::vector<std::string>& words, const std::vector<std::string>& names) {
    std::string value;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        for (const std::string& name : names) {
            if (words[i] == name && i + 2 < words.size()) {
                value = words[i + 1];
            } else if (words[i].starts_with(name + "=")) {
                value = words[i].substr(name.size() + 1);
            }
        }
    }
    return value;
}

// Where the last word stands.
struct Place {
    std::vector<const CommandText*> commands;  // the program, then down to the one that is given
    const OptionText* option = nullptr;        // that waits for its value
    std::size_t words = 0;                     // that the command has already
    bool areOptionsOver = false;               // behind "--"
    bool isHelp = false;                       // behind "help"
};

bool IsOption(std::string_view word) { return word.size() > 1 && word.starts_with("-"); }

const OptionText* FindOption(const Place& place, std::string_view name) {
    for (const CommandText* command : place.commands) {
        for (const OptionText& option : command->options) {
            if (!option.isWord && std::ranges::find(option.names, name) != option.names.end()) {
                return &option;
            }
        }
    }
    return nullptr;
}

const CommandText* FindCommand(const CommandText& command, std::string_view word) {
    const auto found = std::ranges::find_if(
        command.commands, [&](const CommandText& each) { return each.name == command.name + " " + std::string(word); });
    return found == command.commands.end() ? nullptr : &*found;
}

void Take(Place& place, const std::string& word) {
    if (place.option != nullptr) {
        place.option = nullptr;
    } else if (!place.areOptionsOver && word == "--") {
        place.areOptionsOver = true;
    } else if (!place.areOptionsOver && IsOption(word)) {
        const OptionText* option = FindOption(place, word);
        place.option = option != nullptr && !option->value.empty() ? option : nullptr;
    } else if (const CommandText* command = FindCommand(*place.commands.back(), word)) {
        place.commands.push_back(command);
    } else if (place.commands.size() == 1 && word == "help") {
        place.isHelp = true;
    } else {
        ++place.words;
    }
}

std::string LastWord(const std::string& name) { return name.substr(name.rfind(' ') + 1); }

void OfferCommands(const Place& place, Completion& offered) {
    const CommandText& command = *place.commands.back();
    for (const CommandText& each : command.commands) {
        offered.candidates.push_back({LastWord(each.name), each.help});
    }
    if (place.commands.size() == 1 && !place.isHelp) {
        offered.candidates.push_back({"help", "Shows what a command does."});
    }
}

void OfferOptions(const Place& place, Completion& offered) {
    for (auto command = place.commands.rbegin(); command != place.commands.rend(); ++command) {
        for (const OptionText& option : (*command)->options) {
            if (!option.isWord) {
                offered.candidates.push_back({option.names.front(), option.help});
            }
        }
    }
}

void OfferWord(const Place& place, const ValueRequest& request, Completion& offered) {
    std::vector<const OptionText*> words;
    for (const OptionText& option : place.commands.back()->options) {
        if (option.isWord) {
            words.push_back(&option);
        }
    }
    if (!words.empty() && (place.words < words.size() || words.back()->isRepeated)) {
        OfferValue(*words[std::min(place.words, words.size() - 1)], request, offered);
    }
}

// Only those that begin like the word.
void Sift(const std::string& word, Completion& offered) {
    std::erase_if(offered.candidates, [&](const Candidate& each) { return !each.text.starts_with(word); });
}

void OfferFor(const Place& place, const ValueRequest& request, Completion& offered) {
    const std::size_t equals = request.word.find('=');
    const OptionText* named = equals == std::string::npos ? nullptr : FindOption(place, request.word.substr(0, equals));
    if (place.option != nullptr) {
        OfferValue(*place.option, request, offered);
    } else if (!place.areOptionsOver && named != nullptr) {
        const std::string before = request.word.substr(0, equals + 1);
        OfferValue(*named, {request.word.substr(equals + 1), request.part, request.parts}, offered);
        offered.prefix = before + offered.prefix;
        std::ranges::for_each(offered.candidates, [&](Candidate& each) { each.text = before + each.text; });
    } else if (!place.areOptionsOver && request.word.starts_with("-")) {
        OfferOptions(place, offered);
    } else {
        OfferCommands(place, offered);
        if (!place.isHelp) {
            OfferWord(place, request, offered);
        }
    }
}

}  // namespace

Completion Complete(const CommandText& program, const std::vector<std::string>& words,
                    const std::vector<host::DeviceDescription>& parts) {
    Place place;
    place.commands.push_back(&program);
    const std::string last = words.empty() ? "" : words.back();
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        Take(place, words[i]);
    }
    Completion offered;
    OfferFor(place, {last, ValueAmong(words, {"--device", "-d"}), parts}, offered);
    Sift(last, offered);
    return offered;
}

std::string CompletionText(const Completion& completion) {
    static constexpr const char* kPaths[] = {"none", "files", "folders"};
    std::string text = fmt::format("{}\t{}\t{}\n", kPaths[static_cast<std::size_t>(completion.paths)],
                                   completion.prefix, fmt::join(completion.endings, " "));
    for (const Candidate& each : completion.candidates) {
        text += fmt::format("{}\t{}\n", each.text, each.help);
    }
    return text;
}

std::string AnswerShell(const CommandText& program, const std::vector<std::string>& words) {
    const std::string given = ValueAmong(words, {"--devices"});
    const std::filesystem::path folder =
        given.empty() ? FindLocations().dataFolder / "devices" : std::filesystem::path(given);
    std::vector<host::DeviceDescription> parts;
    try {
        parts = host::LoadDeviceDescriptions(folder).devices;
    } catch (const host::Failure&) {
        // Then there are no parts to offer; the command itself will tell.
    }
    return CompletionText(Complete(program, words, parts));
}

}  // namespace flash::app
