// Cut at the first equals sign, and checked or not.
#include "apps/lumoflash/PropertyOptions.h"

#include <fmt/format.h>

#include <utility>

#include "host/settings/KnownProperties.h"

namespace flash::app {
namespace {

using Property = std::pair<std::string, std::string>;

Property PropertyIn(const std::string& text, const std::string& source) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        Refuse(fmt::format("{}: \"{}\" is not KEY=VALUE", source, text));
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

Property CheckedPropertyIn(const std::string& text, const std::string& source) {
    const Property given = PropertyIn(text, source);
    try {
        return {given.first, host::CheckedProperty(given.first, given.second)};
    } catch (const host::Failure& failure) {
        Refuse(fmt::format("{}: {}; --property sets any property unchecked", source, failure.what()));
    }
}

}  // namespace

void CheckProperty(const std::string& text, const std::string& source) { CheckedPropertyIn(text, source); }

std::map<std::string, std::string> ReadProperties(const RawOptions& raw) {
    std::map<std::string, std::string> properties;
    for (const PropertyTexts* texts : {&raw.configProperties, &raw.properties}) {
        for (const std::string& text : texts->checked) {
            const Property property = CheckedPropertyIn(text, "--set");
            properties[property.first] = property.second;
        }
        for (const std::string& text : texts->unchecked) {
            const Property property = PropertyIn(text, "--property");
            properties[property.first] = property.second;
        }
    }
    return properties;
}

}  // namespace flash::app
