// The texts in the order in which a plug-in looks for them.
#include "host/settings/EraseSetting.h"

#include <algorithm>
#include <iterator>

namespace flash::host {
namespace {

struct EraseSetting {
    EraseChoice erase;
    const char* text;
};

// The first text found decides: one is the start of another.
constexpr EraseSetting kEraseSettings[] = {
    {EraseChoice::All, "All Unprotected Sectors"},
    {EraseChoice::None, "Do not erase sectors (program load only)"},
    {EraseChoice::Retain, "Necessary Sectors Only (Retain untouched content within sector)"},
    {EraseChoice::Listed, "Specific Sectors"},
    {EraseChoice::Necessary, "Necessary Sectors Only"},
};

}  // namespace

const char* EraseSettingText(EraseChoice erase) {
    return std::find_if(std::begin(kEraseSettings), std::end(kEraseSettings),
                        [erase](const EraseSetting& setting) { return setting.erase == erase; })
        ->text;
}

EraseChoice ParseEraseSetting(std::string_view text) {
    const auto* found =
        std::find_if(std::begin(kEraseSettings), std::end(kEraseSettings),
                     [text](const EraseSetting& setting) { return text.find(setting.text) != std::string_view::npos; });
    return found == std::end(kEraseSettings) ? EraseChoice::Necessary : found->erase;
}

}  // namespace flash::host
