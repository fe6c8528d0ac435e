// The kinds of values that options have, as their help calls them, and what a shell may offer for each.
#pragma once

#include <string>
#include <vector>

#include "apps/lumoflash/Completion.h"

namespace flash::app {

struct ValueRequest {
    std::string word;  // so far
    std::string part;  // that is given
    const std::vector<host::DeviceDescription>& parts;
};

// "a|b|c" are choices; "FILE.json" is a file of that ending; PART, PROBE, SECTORS and some more are what they say; a
// kind that nobody named may be a file.
void OfferValue(const OptionText& option, const ValueRequest& request, Completion& offered);

}  // namespace flash::app
