// Values of a job file by their kinds, and mistakes in them with file and line.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "apps/lumoflash/TomlFile.h"

namespace flash::app {

// All throw Failure (BadInput) for a value that is none of its kind.
class JobValues {
public:
    using Reader = std::function<void(const toml::node& node)>;
    using Readers = std::map<std::string, Reader>;

    // The file must outlive it.
    explicit JobValues(const TomlFile& jobFile) : file(jobFile) {}

    // Hands each value to its key's reader; `owner` has no other keys.
    void ReadTable(const toml::table& table, const Readers& readers, const std::string& owner) const;

    std::string Text(const toml::node& node, const std::string& key) const;
    std::vector<std::string> Texts(const toml::node& node, const std::string& key) const;
    const toml::table& Table(const toml::node& node, const std::string& key) const;
    std::uint64_t Number(const toml::node& node, const std::string& key, std::int64_t most) const;
    std::chrono::seconds Seconds(const toml::node& node, const std::string& key) const;

    [[noreturn]] void Complain(const toml::node& node, const std::string& text) const;

private:
    const TomlFile& file;
};

}  // namespace flash::app
