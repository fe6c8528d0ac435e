// The names of probes a second time, by regular expressions.
#pragma once

#include <regex>
#include <set>
#include <string>

#include "tests/fuzz/SecondNumber.h"

namespace flash::fuzz {

inline bool IsProbeKey(const std::string& key, const std::string& value) {
    static const std::regex code("0x0*[0-9a-fA-F]{1,8}");
    static const std::regex seconds("0*[1-9][0-9]{0,3}");
    if (key == "reset") {
        return !value.empty();
    }
    if (key == "id-code") {
        return value.size() <= 18 && std::regex_match(value, code);
    }
    if (key == "timeout") {
        return std::regex_match(value, seconds) && std::stoul(value.substr(value.find_first_not_of('0'))) <= 3600;
    }
    return (key == "background-access" || key == "check-writes") && (value == "yes" || value == "no");
}

inline bool IsGdbPlace(const std::string& place) {
    const std::size_t colon = place.rfind(':');
    if (colon == std::string::npos) {
        return false;
    }
    const std::string host = place.substr(0, colon);
    std::string port = place.substr(colon + 1);
    if (port.empty() || port.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    port.erase(0, std::min(port.find_first_not_of('0'), port.size() - 1));
    const bool isPort = port.size() <= 5 && std::stoul(port) <= 65535;
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return isPort && (isBracketed || host.find_first_of(":[]") == std::string::npos);
}

// Behind "gdb:".
inline bool IsGdbProbe(const std::string& text) {
    static const std::regex keyStart(",([a-z0-9-]+)=");
    std::set<std::string> keys;
    std::string key, rest = text;
    std::smatch match;
    bool isGood = true;
    for (bool isPlace = true;; isPlace = false) {
        const bool hasMore = std::regex_search(rest, match, keyStart);
        const std::string value = hasMore ? match.prefix().str() : rest;
        isGood = isGood && (isPlace ? IsGdbPlace(value) : IsProbeKey(key, value) && keys.insert(key).second);
        if (!hasMore) {
            return isGood;
        }
        key = match[1].str();
        rest = match.suffix().str();
    }
}

}  // namespace flash::fuzz
