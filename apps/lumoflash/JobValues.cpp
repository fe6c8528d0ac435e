// What each kind of value must be.
#include "apps/lumoflash/JobValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "apps/lumoflash/RawOptions.h"
#include "host/Nearest.h"

namespace flash::app {
namespace {

constexpr std::int64_t kMostSeconds = 24 * 3600;

}  // namespace

void JobValues::Complain(const toml::node& node, const std::string& text) const {
    Refuse(fmt::format("{}: {}", file.PlaceOf(node), text));
}

void JobValues::ReadTable(const toml::table& table, const Readers& readers, const std::string& owner) const {
    std::vector<std::string> known;
    std::ranges::transform(readers, std::back_inserter(known), [](const auto& reader) { return reader.first; });
    for (const auto& [key, node] : table) {
        const auto reader = readers.find(std::string(key.str()));
        if (reader == readers.end()) {
            Complain(node, fmt::format("{} has no {}{}", owner, key.str(), host::DidYouMean(key.str(), known)));
        }
        reader->second(node);
    }
}

std::string JobValues::Text(const toml::node& node, const std::string& key) const {
    const auto text = node.value_exact<std::string>();
    if (!text || text->empty() || text->find('\0') != std::string::npos) {
        Complain(node, fmt::format("{} is a text in quotes, and not an empty one", key));
    }
    return *text;
}

std::vector<std::string> JobValues::Texts(const toml::node& node, const std::string& key) const {
    std::vector<std::string> texts;
    const toml::array* array = node.as_array();
    if (array == nullptr || array->empty()) {
        Complain(node, fmt::format("{} is a list of texts, such as [\"…\"], and not an empty one", key));
    }
    std::ranges::transform(*array, std::back_inserter(texts),
                           [&](const toml::node& element) { return Text(element, key); });
    return texts;
}

const toml::table& JobValues::Table(const toml::node& node, const std::string& key) const {
    if (!node.is_table()) {
        Complain(node, fmt::format("{} is a table: [{}]", key, key));
    }
    return *node.as_table();
}

std::uint64_t JobValues::Number(const toml::node& node, const std::string& key, std::int64_t most) const {
    const auto number = node.value_exact<std::int64_t>();
    if (!number || *number < 1 || *number > most) {
        Complain(node, fmt::format("{} is a whole number from 1 to {}", key, most));
    }
    return static_cast<std::uint64_t>(*number);
}

std::chrono::seconds JobValues::Seconds(const toml::node& node, const std::string& key) const {
    return std::chrono::seconds(Number(node, key, kMostSeconds));
}

}  // namespace flash::app
