// Taking the text apart from its front: the kind, the place, then one key after the other.
#include "host/probe/ProbeSpec.h"

namespace flash::host {
namespace {

constexpr std::string_view kKeyCharacters = "abcdefghijklmnopqrstuvwxyz0123456789-";

// Where a key with its "=" begins that has a comma in front of it; the text's length when there is none.
std::size_t FindKey(std::string_view text) {
    for (std::size_t comma = text.find(','); comma != std::string_view::npos; comma = text.find(',', comma + 1)) {
        const std::size_t end = text.find_first_not_of(kKeyCharacters, comma + 1);
        if (end != std::string_view::npos && end != comma + 1 && text[end] == '=') {
            return comma;
        }
    }
    return text.size();
}

}  // namespace

std::optional<ProbeSpec> ParseProbeSpec(std::string_view text) {
    const std::size_t colon = text.find(':');
    ProbeSpec spec{std::string(text.substr(0, colon)), "", {}};
    if (spec.kind.empty()) {
        return std::nullopt;
    }
    if (colon == std::string_view::npos) {
        return spec;
    }
    std::string_view rest = text.substr(colon + 1);
    spec.place = rest.substr(0, FindKey(rest));
    if (spec.place.empty()) {
        return std::nullopt;
    }
    rest.remove_prefix(spec.place.size());
    while (!rest.empty()) {
        rest.remove_prefix(1);  // the comma
        const std::string_view key = rest.substr(0, FindKey(rest));
        const std::size_t equals = key.find('=');
        if (!spec.keys.emplace(key.substr(0, equals), key.substr(equals + 1)).second) {
            return std::nullopt;
        }
        rest.remove_prefix(key.size());
    }
    return spec;
}

std::string PrintProbeSpec(const ProbeSpec& spec) {
    std::string text = spec.kind;
    if (!spec.place.empty()) {
        text += ":" + spec.place;
    }
    for (const auto& [key, value] : spec.keys) {
        text += "," + key + "=" + value;
    }
    return text;
}

}  // namespace flash::host
