// The sectors that the user excludes from programming, and those to erase: both are named in page lists.
#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/HostServices.h"
#include "flashdevice/programming/PageList.h"

namespace flash {
namespace {

constexpr char kPageToggle[] = "FlashPageToggle";
constexpr char kPages[] = "FlashPages";

}  // namespace

std::vector<bool> FlashDeviceLumo::ParsePageList(const char* propertyName) {
    return ParsePages(ReadProperty(propertyName), sectorCount);
}

std::vector<std::string> FlashDeviceLumo::PageListToRanges(const char* propertyName, bool wanted) {
    return RangesOfSectors(ParsePageList(propertyName), wanted);
}

bool FlashDeviceLumo::PageSkipActive() {
    if (!IsRequiredOptionOn(kPageToggle)) {
        return false;
    }
    // When every sector is named no range is left, and the list is built again at each test.
    if (sectorRanges.empty()) {
        sectorRanges = PageListToRanges(kPages, true);
        if (IsVerbose()) {
            PrintText(Host(), "Skip program/erase/verify of the following page(s): " + ReadProperty(kPages));
        }
    }
    return true;
}

}  // namespace flash
