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

const EraseSetting* FindIn(std::string_view text) {
    return std::find_if(std::begin(kEraseSettings), std::end(kEraseSettings), [text](const EraseSetting& setting) {
        return text.find(setting.text) != std::string_view::npos;
    });
}

}  // namespace

const char* EraseSettingText(EraseChoice erase) {
    return std::find_if(std::begin(kEraseSettings), std::end(kEraseSettings),
                        [erase](const EraseSetting& setting) { return setting.erase == erase; })
        ->text;
}

std::vector<std::string> EraseSettingTexts() {
    std::vector<std::string> texts;
    std::ranges::transform(kEraseSettings, std::back_inserter(texts), &EraseSetting::text);
    return texts;
}

bool IsEraseSetting(std::string_view text) { return FindIn(text) != std::end(kEraseSettings); }

EraseChoice ParseEraseSetting(std::string_view text) {
    const EraseSetting* found = FindIn(text);
    return found == std::end(kEraseSettings) ? EraseChoice::Necessary : found->erase;
}

}  // namespace flash::host
