// How a user names a probe: KIND, KIND:PLACE or KIND:PLACE,KEY=VALUE,… with more keys. Which kinds there are, and what
// they make of a place and of keys, is not known here.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace flash::host {

struct ProbeSpec {
    std::string kind;
    std::string place;                        // a file, a host and its port, …; "" for none
    std::map<std::string, std::string> keys;  // only behind a place

    bool operator==(const ProbeSpec&) const = default;
};

// The place ends at the first comma with KEY= behind it, so that it can hold commas, as names of files do. A key is
// of lower-case letters, digits and dashes, and given once; its value may be empty. Nothing for any other text.
std::optional<ProbeSpec> ParseProbeSpec(std::string_view text);

// The text that gives this probe again.
std::string PrintProbeSpec(const ProbeSpec& spec);

}  // namespace flash::host
