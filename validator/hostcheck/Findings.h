// What was seen of a host, rule by rule: how often each was kept, and how it was broken first.
#pragma once

#include <array>
#include <mutex>
#include <string>
#include <vector>

#include "validator/hostcheck/Rules.h"

namespace flash::hostcheck {

// Several devices may be watched on several threads: each member function locks.
class Findings {
public:
    // One look at a rule. `came` tells what came instead; it is kept of the first break only.
    void See(Rule rule, bool isKept, const std::string& came);
    // Something that a reader of the report should know, and that breaks nothing. Each text once.
    void Note(const std::string& text);

    bool IsBroken(Rule rule) const;
    std::vector<std::string> BrokenRules() const;  // their names
    std::string ToText() const;
    std::string ToJson() const;

private:
    struct Seen {
        unsigned long long kept = 0;
        unsigned long long broken = 0;
        std::string firstBreak;
    };

    std::size_t Count(bool (*matches)(const Seen& seen)) const;

    mutable std::mutex mutex;
    std::array<Seen, kRuleCount> seen;
    std::vector<std::string> notes;
};

}  // namespace flash::hostcheck
