// The rules of the command line a second time, for plain ones: an option and its value are two words or joined by "=",
// nothing is empty, no word but an option starts with a dash. About others it makes no claim.
#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fuzz/SecondNumber.h"
#include "tests/fuzz/lumoflash/SecondProbe.h"

namespace flash::fuzz {

class SecondCommandLine {
public:
    // Whether it is accepted, or nothing when it is not plain.
    static std::optional<bool> Accepts(const std::vector<std::string>& arguments) {
        SecondCommandLine line;
        for (std::size_t i = 0; i < arguments.size() && line.isPlain; ++i) {
            const std::string& word = arguments[i];
            if (!word.starts_with("--")) {
                line.TakeWord(word);
            } else if (word.find('=') == word.size() - 1) {
                line.isGood = false;
            } else if (word.find('=') != std::string::npos || line.IsFlag(word.substr(2))) {
                line.TakeOption(word.substr(2, word.find('=') - 2), word.substr(std::min(word.find('='), word.size())));
            } else {
                ++i;
                line.TakeOption(word.substr(2), "=" + (i < arguments.size() ? arguments[i] : ""));
            }
        }
        return line.isPlain ? std::optional(line.IsSound()) : std::nullopt;
    }

private:
    using Check = std::function<bool(const std::string& value)>;
    using Checks = std::map<std::string, Check>;  // by option

    static bool IsOneOf(const std::set<std::string>& words, const std::string& value) { return words.contains(value); }

    static bool IsRange(const std::string& value) {
        const std::size_t colon = value.find(':');
        return colon != std::string::npos && SecondNumber(value.substr(0, colon), 0, 0xFFFF'FFFF) &&
               SecondNumber(value.substr(colon + 1), 0, 0xFFFF'FFFF);
    }

    static bool IsAddress(std::size_t bytes, const std::string& value) {
        std::size_t digits = 0;
        for (std::size_t i = 0; i < value.size(); ++i) {
            const bool isDigit = DigitsOf(value.substr(i, 1), 16).has_value();
            if (isDigit != (i % 3 != 2) || (!isDigit && value[i] != ':' && value[i] != '-')) {
                return false;
            }
            digits += isDigit ? 1 : 0;
        }
        return digits == 2 * bytes && value.size() == 3 * bytes - 1;
    }

    static bool IsDatabase(const std::string& value) {
        return value.starts_with("postgres://") || value.starts_with("postgresql://") ||
               (value.starts_with("sqlite:") && value != "sqlite:");
    }

    // Of an operator, a station, a slot, a run.
    static bool IsName(const std::string& value) {
        return value.size() <= 64 && std::none_of(value.begin(), value.end(), [](char character) {
                   return (character >= 0 && character < ' ') || character == '\x7F';
               });
    }

    // Some "=" ends a word that a comma starts.
    static bool HasKey(const std::string& value) {
        for (std::size_t equals = value.find('='); equals != std::string::npos; equals = value.find('=', equals + 1)) {
            std::size_t first = equals;
            while (first > 0 && std::string_view("abcdefghijklmnopqrstuvwxyz0123456789-").find(value[first - 1]) !=
                                    std::string_view::npos) {
                --first;
            }
            if (first < equals && first > 0 && value[first - 1] == ',') {
                return true;
            }
        }
        return false;
    }

    // A file, or one with an identity of eight bytes as the last word.
    static bool IsVirtualChip(const std::string& value) {
        const std::string kind = "virtual:", key = ",identity=";
        const std::size_t last = value.rfind(key);
        const bool hasKey = last != std::string::npos && IsAddress(8, value.substr(last + key.size()));
        const std::string rest = hasKey ? value.substr(0, last) : value;
        return rest.starts_with(kind) && rest.size() > kind.size() && !HasKey(rest);
    }

    // By command, "" for all. An option without a check is a flag.
    static const std::map<std::string, Checks>& Options() {
        const Check any = [](const std::string&) { return true; };
        const Check number = [](const std::string& value) { return SecondNumber(value, 0, 0xFFFF'FFFF).has_value(); };
        const Check byte = [](const std::string& value) { return SecondNumber(value, 0, 0xFF).has_value(); };
        const auto oneOf = [](std::set<std::string> known) { return std::bind_front(IsOneOf, std::move(known)); };
        const Check ble = std::bind_front(IsAddress, 6);
        const Check ieee = std::bind_front(IsAddress, 8);
        const Check format = oneOf({"elf", "hex", "srec", "bin"});
        const Check probe = [](const std::string& value) {
            return value == "virtual" || IsVirtualChip(value) ||
                   (value.starts_with("gdb:") && IsGdbProbe(value.substr(4)));
        };
        const Check erase = [](const std::string& value) {
            return value.starts_with("sectors:") || IsOneOf({"necessary", "retain", "all", "none"}, value);
        };
        const Check packet = [](const std::string& value) { return SecondNumber(value, 512, 65536).has_value(); };
        const Check limit = [](const std::string& value) { return SecondNumber(value, 1, 3600).has_value(); };
        const auto both = [](Checks some, const Checks& others) {
            some.insert(others.begin(), others.end());
            return some;
        };
        const Checks changes{
            {"ble", ble}, {"ieee", ieee}, {"protect", any}, {"disable-bootloader", {}}, {"disable-debug", {}}};
        const Checks load = both(changes, {{"erase", erase},
                                           {"verify", oneOf({"crc", "readback", "none"})},
                                           {"write", oneOf({"changed", "all"})},
                                           {"keep-ccfg", {}},
                                           {"skip-pages", any},
                                           {"skip-fill", byte},
                                           {"retain-ble", {}},
                                           {"retain-ieee", {}}});
        static const std::map<std::string, Checks> options{
            {"",
             {{"device", any},
              {"probe", probe},
              {"check-writes", {}},
              {"plugin", any},
              {"devices", any},
              {"data", any},
              {"trace", any},
              {"verbose", {}},
              {"json", {}},
              {"quiet", {}},
              {"no-color", {}},
              {"yes", {}}}},
            {"reset", {}},
            {"gdbserver", both(load, {{"listen", IsGdbPlace}, {"stdio", {}}, {"once", {}}, {"packet-size", packet}})},
            {"program", both(load, {{"run", {}},
                                    {"picture", any},
                                    {"report", any},
                                    {"base", number},
                                    {"format", format},
                                    {"replace-ccfg", {}},
                                    {"assign", oneOf({"ieee", "ble", "ieee,ble", "ble,ieee"})},
                                    {"assign-from", IsDatabase},
                                    {"was-erased", {}},
                                    {"record", IsDatabase},
                                    {"operator", IsName},
                                    {"station", IsName},
                                    {"slot", IsName},
                                    {"run-id", IsName},
                                    {"dry-run", {}}})},
            {"verify", {{"base", number}, {"format", format}, {"range", IsRange}, {"by", oneOf({"target", "link"})}}},
            {"read", {{"out", any}, {"range", IsRange}, {"format", oneOf({"bin", "hex", "srec"})}}},
            {"erase", {{"sectors", any}, {"keep-ccfg", {}}, {"dry-run", {}}}},
            {"blank-check", {{"range", IsRange}}},
            {"info", {}},
            {"mac", {}},
            {"mac read", {}},
            {"mac write", {}},
            {"line", {}},
            {"line run", {{"operator", any}, {"station", any}}},
            {"line report", {{"out", any}}},
            {"ccfg", changes},
            {"devices", {}},
            {"validate-plugin", {{"list", {}}, {"time-limit", limit}}}};
        return options;
    }

    // Null when neither the command nor all commands have it.
    const Check* Find(const std::string& option) const {
        for (const std::string& owner : {command, std::string()}) {
            const auto& known = Options().at(owner);
            if (const auto found = known.find(option); found != known.end()) {
                return &found->second;
            }
        }
        return nullptr;
    }

    // Of commands, and none by itself.
    bool IsGroup() const { return command == "mac" || command == "line" || command == "pool"; }

    bool IsFlag(const std::string& option) const {
        const Check* check = Find(option);
        return check != nullptr && !*check;
    }

    void TakeWord(const std::string& word) {
        isPlain = isPlain && !word.empty() && !word.starts_with('-') && !word.starts_with('[') &&
                  word.find_first_of("{}") == std::string::npos;
        if (command.empty() || IsGroup()) {
            const std::string name = command.empty() ? word : command + " " + word;
            isGood = isGood && word.find(' ') == std::string::npos && Options().contains(name);
            command = isGood ? name : command;
        } else {
            words.push_back(word);
        }
    }

    // `value` starts with "=", or is empty for a flag.
    void TakeOption(const std::string& option, const std::string& value) {
        // These need more: help, other files, properties that stand for options, lists of values, ranges of addresses.
        static const std::set<std::string> others{"help",  "version", "config",    "set", "property",
                                                  "check", "fault",   "only-chip", "burn"};
        isPlain = isPlain && command != "pool create";
        const Check* check = Find(option);
        const bool isValuePlain = value.size() > 1 && value[1] != '-' && value[1] != '[' && value[1] != '"' &&
                                  value.find_first_of("{}\\`'", 1) == std::string::npos;
        isPlain = isPlain && !others.contains(option) && !option.empty() && (isValuePlain || value.empty());
        if (check == nullptr) {
            isGood = false;
        } else if (!*check) {
            TakeFlag(option, value);
        } else if (isPlain) {
            const std::string text = value.substr(std::min<std::size_t>(1, value.size()));
            isGood = isGood && (*check)(text) && given.emplace(option, text).second;
        }
    }

    // The last one counts. `--list=false` excludes a path and yet wants one.
    void TakeFlag(const std::string& option, const std::string& value) {
        isPlain = isPlain && (option != "list" || value.empty());
        isGood = isGood && (value.empty() || value == "=true" || value == "=false");
        value == "=false" ? void(given.erase(option)) : void(given[option] = "");
    }

    bool IsSound() const {
        const bool needsPart = command != "devices" && command != "validate-plugin" && !command.starts_with("line") &&
                               !command.starts_with("pool");
        const bool isQuietAndLoud = given.contains("json") && given.contains("quiet");
        return isGood && !command.empty() && !IsGroup() && (!needsPart || given.contains("device")) &&
               !isQuietAndLoud && AreWordsSound() && AreOptionsSound();
    }

    bool AreOptionsSound() const {
        if (command == "program" && !IsLoadSound()) {
            return false;
        }
        if (command == "erase") {
            return !given.contains("sectors") || !given.contains("keep-ccfg");
        }
        if (command == "gdbserver") {
            return !given.contains("json");
        }
        const auto out = given.find("out");
        return command != "read" || (out != given.end() && (out->second != "-" || !given.contains("json")) &&
                                     (given.contains("format") || !IsElfByName(out->second)));
    }

    bool IsLoadSound() const {
        const auto textOf = [this](const std::string& option) {
            const auto found = given.find(option);
            return found == given.end() ? std::string() : found->second;
        };
        const std::string assign = textOf("assign"), source = textOf("assign-from"), record = textOf("record");
        const bool isWhole = assign.empty() == source.empty() && (source.empty() || record.empty() || source == record);
        const bool isSingle =
            std::none_of(std::begin(kAddressKinds), std::end(kAddressKinds), [&](const std::string& kind) {
                return assign.find(kind) != std::string::npos &&
                       (given.contains(kind) || given.contains("retain-" + kind));
            });
        return isWhole && isSingle && !(given.contains("keep-ccfg") && given.contains("replace-ccfg"));
    }

    static bool IsElfByName(const std::string& path) {
        std::string ending = path.size() < 4 ? "" : path.substr(path.size() - 4);
        for (char& letter : ending) {
            letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + ('a' - 'A') : letter);
        }
        // A name that is only an ending has none.
        const bool isOnlyEnding = path.size() == 4 || (path.size() > 4 && path[path.size() - 5] == '/');
        return !isOnlyEnding && IsOneOf({".elf", ".axf", ".out"}, ending);
    }

    bool AreWordsSound() const {
        if (command == "program" || command == "verify") {
            return !words.empty();
        }
        if (command == "mac read") {
            return std::all_of(words.begin(), words.end(), [](const std::string& word) {
                return IsOneOf({"pri-ble", "sec-ble", "pri-ieee", "sec-ieee"}, word);
            });
        }
        if (command == "mac write") {
            return words.size() == 2 && IsOneOf({"ble", "ieee"}, words[0]) &&
                   IsAddress(words[0] == "ble" ? 6 : 8, words[1]);
        }
        if (command == "line report") {
            return words.size() == 1 && given.contains("out");
        }
        if (command.starts_with("pool")) {
            const bool hasTwo = command == "pool import" || command == "pool show";
            return words.size() == (hasTwo ? 2 : 1) && IsDatabase(words[0]) &&
                   (command != "pool export" || given.contains("out"));
        }
        if (command == "line run") {
            return words.size() == 1;
        }
        if (command == "validate-plugin") {
            return words.size() == (given.contains("list") ? 0 : 1);
        }
        return words.empty();
    }

    inline static const std::string kAddressKinds[] = {"ieee", "ble"};

    std::string command;
    std::map<std::string, std::string> given;
    std::vector<std::string> words;
    bool isPlain = true;
    bool isGood = true;
};

}  // namespace flash::fuzz
