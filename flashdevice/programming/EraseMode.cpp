#include "flashdevice/programming/EraseMode.h"

namespace flash {
namespace {

struct EraseText {
    std::string_view text;
    EraseMode mode;
};

// In the order of the tests: the first text found decides.
constexpr EraseText kEraseTexts[] = {
    {kEraseAllUnprotected, EraseMode::AllUnprotectedSectors},
    {"Do not erase sectors (program load only)", EraseMode::NoErase},
    {"Necessary Sectors Only (Retain untouched content within sector)", EraseMode::NecessarySectorsRetain},
    {"Specific Sectors", EraseMode::SpecificSectors},
};

}  // namespace

EraseMode ClassifyEraseSetting(std::string_view setting) {
    for (const EraseText& known : kEraseTexts) {
        if (setting.find(known.text) != std::string_view::npos) {
            return known.mode;
        }
    }
    return EraseMode::NecessarySectors;
}

}  // namespace flash
