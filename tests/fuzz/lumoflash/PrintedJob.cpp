#include "tests/fuzz/lumoflash/PrintedJob.h"

#include <map>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

namespace flash::fuzz {
namespace {

using host::line::Job;

// Beyond ASCII as it is: it came from a file whose characters were checked.
std::string Quoted(std::string_view text) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string quoted = "\"";
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        const bool isPlain = code >= ' ' && code != 0x7F && character != '"' && character != '\\';
        quoted += isPlain ? std::string(1, character) : std::string("\\u00") + kDigits[code / 16] + kDigits[code % 16];
    }
    return quoted + "\"";
}

std::string Quoted(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + Quoted(text);
    }
    return "[" + list + "]";
}

// Each word in single quotes; what is one itself stands in others.
std::string JoinWords(const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words) {
        joined += joined.empty() ? "'" : " '";
        for (const char character : word) {
            joined += character == '\'' ? "'\"'\"'" : std::string(1, character);
        }
        joined += "'";
    }
    return joined;
}

class Printer {
public:
    void Put(const std::string& key, const std::string& value) { stream << key << " = " << value << "\n"; }
    void PutText(const std::string& key, const std::string& text) {
        if (!text.empty()) {
            Put(key, Quoted(text));
        }
    }
    void PutTexts(const std::string& key, const std::vector<std::string>& texts) {
        if (!texts.empty()) {
            Put(key, Quoted(texts));
        }
    }
    void PutLine(const std::string& line) { stream << line << "\n"; }

    std::string Text() const { return stream.str(); }

private:
    std::ostringstream stream;
};

// "--option=value", those of one option together.
void PutProgramOptions(Printer& printer, const std::vector<std::string>& words) {
    std::map<std::string, std::vector<std::string>> options;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        options[word.substr(2, equals - 2)].push_back(word.substr(equals + 1));
    }
    printer.PutLine("[program]");
    for (const auto& [name, texts] : options) {
        printer.PutTexts(Quoted(name), texts);
    }
}

void PutTables(Printer& printer, const Job& job) {
    if (!job.pinnedHashes.empty()) {
        printer.PutLine("[hashes]");
    }
    for (const auto& [path, hash] : job.pinnedHashes) {
        printer.PutText(Quoted(path.string()), hash);
    }
    PutProgramOptions(printer, job.programOptions);
    for (const host::line::SlotPlan& slot : job.slots) {
        printer.PutLine("[[slot]]");
        printer.PutText("name", slot.name);
        printer.PutText("probe", slot.probe);
    }
}

// Members one after the other; a text with its length, so that no two lists look alike.
class Description {
public:
    void Add(const std::string& value) { stream << value.size() << ":" << value << " "; }
    void Add(const std::filesystem::path& value) { Add(value.string()); }
    void Add(std::uint64_t value) { stream << value << " "; }
    void Add(std::chrono::seconds value) { stream << value.count() << " "; }
    void Add(host::line::StartMode value) { stream << static_cast<int>(value) << " "; }
    void Add(const std::optional<std::uint64_t>& value) { stream << value.value_or(0) << " "; }
    void Add(const host::line::SlotPlan& value) {
        const auto& [name, probe] = value;
        Add(name);
        Add(probe);
    }
    template <typename First, typename Second>
    void Add(const std::pair<First, Second>& value) {
        Add(value.first);
        Add(value.second);
    }
    template <typename List>
    void Add(const List& list) {
        Add(std::uint64_t{list.size()});
        for (const auto& value : list) {
            Add(value);
        }
    }

    template <typename... Values>
    void AddAll(const Values&... values) {
        (Add(values), ...);
    }

    std::string Text() const { return stream.str(); }

private:
    std::ostringstream stream;
};

}  // namespace

std::string PrintJob(const Job& job) {
    const char* const starts[] = {"immediately", "key", "command"};
    Printer printer;
    printer.PutText("device", job.device);
    printer.PutTexts("files", job.files);
    printer.PutTexts("identities", job.pinnedIdentities);
    printer.PutText("database", job.database);
    printer.PutTexts("assign", job.assign);
    if (job.leaseAhead != 0) {
        printer.Put("lease-ahead", std::to_string(job.leaseAhead));
    }
    printer.PutText("start", starts[static_cast<int>(job.start)]);
    if (job.count) {
        printer.Put("count", std::to_string(*job.count));
    }
    printer.Put("time-limit", std::to_string(job.timeLimit.count()));
    printer.Put("bad-in-a-row", std::to_string(job.badInARow));
    printer.PutText("on-good", JoinWords(job.onGood));
    printer.Put("on-good-time-limit", std::to_string(job.onGoodTimeLimit.count()));
    printer.PutText("operator", job.operatorName);
    printer.PutText("station", job.station);
    PutTables(printer, job);
    return printer.Text();
}

std::string Describe(const Job& job) {
    const auto& [device, files, paths, pinnedHashes, pinnedIdentities, database, assign, leaseAhead, start, count,
                 timeLimit, badInARow, onGood, onGoodTimeLimit, operatorName, station, programOptions, slots] = job;
    Description description;
    description.AddAll(device, files, paths, pinnedHashes, pinnedIdentities, database, assign, leaseAhead, start, count,
                       timeLimit, badInARow, onGood, onGoodTimeLimit, operatorName, station, programOptions, slots);
    return description.Text();
}

}  // namespace flash::fuzz
