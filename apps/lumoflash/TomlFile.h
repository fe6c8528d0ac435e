// A TOML file as a user writes it: loaded with its bounds, and mistakes told with file and line.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "apps/lumoflash/Toml.h"

namespace flash::app {

class TomlFile {
public:
    // An empty file is an empty table. Throws Failure (BadInput) for what is no TOML or nested too deeply,
    // ProgramFileError for what cannot be read.
    explicit TomlFile(std::filesystem::path tomlFile);

    const toml::table& Root() const { return root; }
    std::filesystem::path Folder() const { return file.parent_path(); }
    std::filesystem::path AbsoluteFolder() const { return std::filesystem::absolute(file).parent_path(); }

    // "FILE:LINE".
    std::string PlaceOf(const toml::node& node) const;

    // A text, a whole number, true or false, as an option takes it. Throws Failure (BadInput) for anything else.
    std::string TextOf(const toml::node& node, const std::string& name) const;

    // One of them, or those of a list; an empty list is refused.
    std::vector<std::string> TextsOf(const toml::node& node, const std::string& name) const;

private:
    std::filesystem::path file;
    toml::table root;
};

}  // namespace flash::app
