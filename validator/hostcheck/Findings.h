// What was seen of a host, rule by rule: how often each was kept, and how it was broken first.
#pragma once

#include <array>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "validator/hostcheck/Rules.h"

namespace flash::hostcheck {

enum class Moment { SoFar, AtTheEnd };

// Several devices may be watched on several threads: each member function locks.
class Findings {
public:
    // One look at a rule. `came` tells what came instead; it is kept of the first break only.
    void See(Rule rule, bool isKept, const std::string& came);
    // Something that a reader of the report should know, and that breaks nothing. Each text once.
    void Note(const std::string& text);

    bool IsBroken(Rule rule) const;
    std::vector<std::string> BrokenRules() const;  // their names
    std::string ToText(Moment moment = Moment::AtTheEnd) const;
    std::string ToJson(Moment moment = Moment::AtTheEnd) const;
    // Is told when a rule is kept or broken for the first time, so that something is known of a host that never comes
    // to its end.
    void OnNews(std::function<void()> listener) { onNews = std::move(listener); }

private:
    struct Seen {
        unsigned long long kept = 0;
        unsigned long long broken = 0;
        std::string firstBreak;
    };

    std::vector<std::string> NotesAt(Moment moment) const;
    std::size_t Count(bool (*matches)(const Seen& seen)) const;

    mutable std::mutex mutex;
    std::array<Seen, kRuleCount> seen;
    std::vector<std::string> notes;
    std::function<void()> onNews;
};

}  // namespace flash::hostcheck
