// Bugs in what is read from the user's settings, published in properties, said in messages, and answered as an error.
#include "tests/validator/broken/Between.h"

namespace flash::broken {
namespace {

struct Misreading {
    const char* name;  // of the bug
    const char* property;
    const char* value;
    const char* taken;  // for this
};

constexpr Misreading kMisreadings[] = {
    {"protects-pages", "WriteProtectionText", "0,33", "0"},
    {"disables-the-bootloader", "DisableBootloader", "1", "0"},
    {"disables-the-debug-port", "DisableCpuDapLoc", "0x1FFD7:1", "0x1FFD8:1"},
    {"crc-flag", "CrcVerify", "true", "1"},
    {"address-text-is-checked", "DeviceIeeeSecondary", "01:23:45:67:89:AB:CD:0EF", "01:23:45:67:89:AB:CD:EF"},
    {"retained-addresses-survive", "RetainBleSecondaryAddr", "1", "0"},
    {"overriding-writes-the-property", "OverrideIeeeSecondaryAddr", "1", "0"},
    {"listed-pages-are-skipped", "FlashPages", "1,\t2", "1"},
    {"page-list-is-checked", "StandaloneEraseSpecificText", "7-", "7"},
    {"filled-pages-are-skipped", "FlashPagesFilledWithValue", "0xA5", "0xA6"},
    {"fill-value-is-checked", "FlashPagesFilledWithValue", "255", "0xFF"},
    {"told-whether-it-verifies", "KeepCcfgSetting", "yes", "1"},
    {"necessary-sectors", "FlashEraseSetting", "anything else", "Do not erase sectors (program load only)"},
    {"revision-from-the-table", "DeviceInfoRevisionTranslation", "0:2.1.0:RevA", "0:2.1:RevA"},
    {"revision-table-is-checked", "DeviceInfoRevisionTranslation", "", "0:1.0:RevA"},
    {"verbose-notice", "FlashVerboseMode", "1 ", "1"},
};

struct Mispublication {
    const char* name;  // of the bug
    const char* value;
    const char* published;
};

constexpr Mispublication kMispublications[] = {
    {"reads-and-shows-addresses", "B1:B2:B3:B4:B5:B6", "b1:b2:b3:b4:b5:b6"},
    {"unknown-revision-assumes-the-last", "- (2.1)", "RevB (2.1)"},
    {"flash-size-is-published", "352 KB (44 sectors)", "352 KB"},
    {"sector-count-is-clamped", "1024 KB (128 sectors)", "1600 KB (200 sectors)"},
    {"ram-size-first-generation", "20 KB", "18 KB"},
    {"ram-size-second-generation", "48 KB", "40 KB"},
};

// A message, or an error that is reported, by how it begins.
struct Missaying {
    const char* name;  // of the bug
    const char* start;
    const char* said;  // null: nothing is
};

constexpr Missaying kMissayings[] = {
    {"crc-is-told", "  Chunk 1: addr=0x00001000, length=9, crc=",
     "  Chunk 1: addr=0x00001000, length=9, crc=0xcbf43926 (using block 0)"},
    {"failed-image-is-explained", "Failed to write flashloader to device SRAM.", nullptr},
    {"failed-buffer-is-explained", "  Failed to write data to temporary buffer", nullptr},
    {"field-place-is-checked", "Property 'DeviceBlePrimaryLoc' in Flash Properties XML does not contain", nullptr},
    {"blank-check-says-the-answer", "Blank Check: Device flash is blank", "Blank Check: Flash is blank"},
    {"chunks-are-told", "  Chunk 2: addr=0x00003000, length=4 (using block 1)", nullptr},
    {"time-out-is-told", "  Status 0xFFFFFFFF", nullptr},
    {"failing-chunk-names-the-next", "  Command=3", nullptr},
    {"bank-erase-time-out", "Erasing all unprotected pages failed!", nullptr},
};

// Of a phase or a named operation, by how it begins.
struct Misanswering {
    const char* name;  // of the bug
    const char* start;
    const char* error;  // null: success
};

constexpr Misanswering kMisanswerings[] = {
    {"failed-address-read-is-explained", "DoReadMacAddress(): Failed to read", "Failed to read."},
    {"blank-check-knows-its-sizes", "Cannot perform Blank Check.", nullptr},
    {"missing-property-is-named", "Unknown property \"FlashPageToggle\"", "Unknown property 'FlashPageToggle'"},
};

bool StartsWith(const char* text, const char* start) { return std::string_view(text).starts_with(start); }

void Plant(Between& b, const Misreading& bug) {
    b.instead.getProperty = [&b, &bug](const char* name) {
        const char* value = b.host.GetProperty(name);
        const bool isMisread =
            value != nullptr && std::strcmp(name, bug.property) == 0 && std::strcmp(value, bug.value) == 0;
        return isMisread ? bug.taken : value;
    };
}

void Plant(Between& b, const Mispublication& bug) {
    b.instead.setProperty = [&b, &bug](const char* name, const char* value) {
        return b.host.SetProperty(name, std::strcmp(value, bug.value) == 0 ? bug.published : value);
    };
}

void Plant(Between& b, const Missaying& bug) {
    const auto say = [&b, &bug](const char* text, const char* (IFlashHost::*service)(const char*)) -> const char* {
        if (!StartsWith(text, bug.start)) {
            return (b.host.*service)(text);
        }
        return bug.said == nullptr ? nullptr : (b.host.*service)(bug.said);
    };
    b.instead.printMessage = [say](const char* text) { return say(text, &IFlashHost::PrintMessage); };
    b.instead.reportError = [say](const char* text) { return say(text, &IFlashHost::ReportError); };
}

void Plant(Between& b, const Misanswering& bug) {
    const auto answer = [&bug](const char* error) {
        return error != nullptr && StartsWith(error, bug.start) ? bug.error : error;
    };
    b.instead.execute = [&b, answer](const char* name) { return answer(b.device->Execute(name)); };
    b.instead.notifyPhase = [&b, answer](std::int64_t phase) {
        // Retained addresses are read by a phase, whose failure is another check's.
        const char* error = b.device->NotifyPhase(phase);
        return error != nullptr && StartsWith(error, "Unknown property") ? answer(error) : error;
    };
}

template <typename Rows>
Planting FindRow(const Rows& rows, std::string_view name) {
    for (const auto& row : rows) {
        if (name == row.name) {
            return [&row](Between& between) { Plant(between, row); };
        }
    }
    return nullptr;
}

}  // namespace

Planting FindTextBug(std::string_view name) {
    for (const Planting& found : {FindRow(kMisreadings, name), FindRow(kMispublications, name),
                                  FindRow(kMissayings, name), FindRow(kMisanswerings, name)}) {
        if (found) {
            return found;
        }
    }
    return nullptr;
}

}  // namespace flash::broken
