// The two forms of the report. Numbers and quotes are written here, so that they are the same on every system.
#include "validator/hostcheck/Findings.h"

#include <algorithm>
#include <cstdio>

namespace flash::hostcheck {
namespace {

std::string Padded(const std::string& text, std::size_t width) {
    return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

// A text from the host may hold anything: the report stays one line for each rule.
std::string Shown(const std::string& text) {
    std::string shown;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7F) {
            shown += character;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", byte);
            shown += code;
        }
    }
    return shown;
}

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char character : Shown(text)) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
        }
        quoted += character;
    }
    return quoted + "\"";
}

}  // namespace

void Findings::See(Rule rule, bool isKept, const std::string& came) {
    bool isNews = false;
    {
        const std::lock_guard lock(mutex);
        Seen& seenRule = seen[static_cast<std::size_t>(rule)];
        auto& count = isKept ? seenRule.kept : seenRule.broken;
        isNews = count++ == 0;
        if (isNews && !isKept) {
            seenRule.firstBreak = came;
        }
    }
    if (isNews && onNews) {
        onNews();
    }
}

void Findings::Note(const std::string& text) {
    const std::lock_guard lock(mutex);
    if (std::find(notes.begin(), notes.end(), text) == notes.end()) {
        notes.push_back(text);
    }
}

bool Findings::IsBroken(Rule rule) const {
    const std::lock_guard lock(mutex);
    return seen[static_cast<std::size_t>(rule)].broken != 0;
}

std::vector<std::string> Findings::BrokenRules() const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> names;
    for (const RuleText& rule : AllRules()) {
        if (seen[static_cast<std::size_t>(rule.rule)].broken != 0) {
            names.emplace_back(rule.name);
        }
    }
    return names;
}

std::size_t Findings::Count(bool (*matches)(const Seen& seen)) const {
    return static_cast<std::size_t>(std::count_if(seen.begin(), seen.end(), matches));
}

std::vector<std::string> Findings::NotesAt(Moment moment) const {
    std::vector<std::string> all = notes;
    if (moment == Moment::SoFar) {
        all.emplace_back(
            "this is what was seen so far: the host has not unloaded the module yet, or it has ended without");
    }
    return all;
}

std::string Findings::ToText(Moment moment) const {
    const std::lock_guard lock(mutex);
    std::string text = "What this host owes to a plug-in\n";
    const char* topic = "";
    for (const RuleText& rule : AllRules()) {
        if (std::string_view(topic) != rule.topic) {
            topic = rule.topic;
            text += "\n" + std::string(topic) + "\n";
        }
        const Seen& seenRule = seen[static_cast<std::size_t>(rule.rule)];
        const char* verdict = seenRule.broken != 0 ? "BROKEN" : seenRule.kept != 0 ? "kept" : "not reached";
        text += "  " + Padded(verdict, 13) + Padded(rule.name, 27) + rule.promise + "\n";
        if (seenRule.broken != 0) {
            text += std::string(15, ' ') + "came: " + Shown(seenRule.firstBreak);
            text += seenRule.broken > 1 ? " (and " + std::to_string(seenRule.broken - 1) + " more)\n" : "\n";
        }
    }
    text += "\n";
    for (const std::string& note : NotesAt(moment)) {
        text += "note: " + Shown(note) + "\n";
    }
    const std::size_t broken = Count([](const Seen& one) { return one.broken != 0; });
    const std::size_t kept = Count([](const Seen& one) { return one.broken == 0 && one.kept != 0; });
    text += std::to_string(kept) + " kept, " + std::to_string(broken) + " broken, " +
            std::to_string(kRuleCount - kept - broken) + " not reached, of " + std::to_string(kRuleCount) + " rules\n";
    return text;
}

std::string Findings::ToJson(Moment moment) const {
    const std::lock_guard lock(mutex);
    std::string text = "{\"rules\": [";
    const char* comma = "\n";
    for (const RuleText& rule : AllRules()) {
        const Seen& seenRule = seen[static_cast<std::size_t>(rule.rule)];
        const char* verdict = seenRule.broken != 0 ? "broken" : seenRule.kept != 0 ? "kept" : "not reached";
        text += comma;
        text += "  {\"rule\": " + Quoted(rule.name) + ", \"topic\": " + Quoted(rule.topic) +
                ", \"promise\": " + Quoted(rule.promise) + ", \"verdict\": " + Quoted(verdict) +
                ", \"kept\": " + std::to_string(seenRule.kept) + ", \"broken\": " + std::to_string(seenRule.broken);
        text += seenRule.broken != 0 ? ", \"came\": " + Quoted(seenRule.firstBreak) + "}" : "}";
        comma = ",\n";
    }
    text += "\n], \"notes\": [";
    comma = "";
    for (const std::string& note : NotesAt(moment)) {
        text += comma + Quoted(note);
        comma = ", ";
    }
    return text + "]}\n";
}

}  // namespace flash::hostcheck
