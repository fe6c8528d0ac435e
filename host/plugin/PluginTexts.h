// What a plug-in says when it fails, for people. The interface fixes some texts, and these name a cause; whatever else
// a plug-in hands on is its own affair and no more than a detail, and what a standard library has for programmers is
// not even that.
#pragma once

#include <string>
#include <string_view>

namespace flash::host {

struct PluginAnswer {
    std::string cause;  // in words for users, never empty
    std::string said;   // by the plug-in, when a user may read it

    bool operator==(const PluginAnswer&) const = default;
};

PluginAnswer ReadPluginText(std::string_view text);

}  // namespace flash::host
