// The radio addresses: reading, showing, writing, retaining and overriding.
#include <algorithm>

#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr std::size_t kIeeeFromEnd = 0x40;
constexpr std::size_t kBleFromEnd = 0x38;

std::vector<std::uint8_t> FromEnd(const SimulatedHost& host, std::size_t fromEnd, std::size_t length) {
    return FlashBytes(host, host.memory.flash.size() - fromEnd, length);
}

void ReadsAndShows(const ModuleUnderCheck& module) {
    struct Case {
        const char* operation;
        const char* property;
        const char* text;
    };
    const Case cases[] = {
        {"ReadPriBle", "DeviceBlePrimary", "B1:B2:B3:B4:B5:B6"},
        {"ReadSecBle", "DeviceBleSecondary", "11:22:33:44:55:66"},
        {"ReadPriIeee", "DeviceIeeePrimary", "A1:A2:A3:A4:A5:A6:A7:A8"},
        {"ReadSecIeee", "DeviceIeeeSecondary", "01:23:45:67:89:AB:CD:EF"},
    };
    for (const Case& c : cases) {
        ReadyDevice ready(module);
        ready.device.MustExecute(c.operation);
        ExpectText(std::string("property ") + c.property, c.text, ready.host.properties[c.property]);
        ExpectTexts("messages", {std::string(c.operation) + ": " + c.text}, ready.host.messages);
    }
}

void FieldsMoveWithTheEndOfFlash(const ModuleUnderCheck& module) {
    for (const ChipModel& model : {ChipModel{0x1000, 16, 0, 0}, ChipModel{0x2000, 64, 0, 0}}) {
        ReadyDevice ready(module, model);
        ready.device.MustExecute("ReadSecIeee");
        ExpectText("secondary address on a chip of another size", "01:23:45:67:89:AB:CD:EF",
                   ready.host.properties["DeviceIeeeSecondary"]);
        ready.device.MustExecute("ReadPriIeee");
        ExpectText("primary address, which does not move", "A1:A2:A3:A4:A5:A6:A7:A8",
                   ready.host.properties["DeviceIeeePrimary"]);
    }
}

void WritesASecondaryAddress(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    std::vector<std::uint8_t> expected = ready.host.memory.flash;
    const std::vector<std::uint8_t> bytes = {0x06, 0x05, 0x04, 0x03, 0x02, 0xF1};
    std::copy(bytes.begin(), bytes.end(), expected.end() - kBleFromEnd);
    ready.host.properties["DeviceBleSecondary"] = "f1:2:03:04:05:06";
    ready.device.MustExecute("WriteSecBle");
    ExpectBytes("flash after WriteSecBle", expected, ready.host.memory.flash);
    ExpectTexts("commands", {"0x3@0x1F000+4096"}, CommandTexts(ready.host));
}

void AddressTextIsChecked(const ModuleUnderCheck& module) {
    struct Case {
        const char* text;
        const char* error;
    };
    const Case cases[] = {
        {"01:23:45", "Error: Expected MAC address length of 8 bytes.\n"},
        {"01:23:4G", "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n"},
        {"01:23:45:67:89:AB:CD:0EF", "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n"},
        {"", "Error: Expected MAC address length of 8 bytes.\n"},
    };
    for (const Case& c : cases) {
        ReadyDevice ready(module);
        ready.host.properties["DeviceIeeeSecondary"] = c.text;
        ExpectText("WriteSecIeee of " + Quoted(c.text), c.error, ready.device.Execute("WriteSecIeee"));
        ExpectTexts("commands", {}, CommandTexts(ready.host));
    }
}

void FailedReadIsExplained(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.failures.FailEvery(Service::ReadMemory);
    ExpectText("Execute \"ReadPriIeee\"",
               std::string("DoReadMacAddress(): Failed to read 8 bytes from 0x.\nError: ") + kFailureText,
               ready.device.Execute("ReadPriIeee"));
}

void FieldPlaceIsChecked(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["DeviceBlePrimaryLoc"] = "0x50001208:6:1";
    ready.device.MustExecute("ReadPriBle");
    ExpectTexts("reported errors",
                {"Property 'DeviceBlePrimaryLoc' in Flash Properties XML does not contain 2 values delimited by "
                 "':'.\n"},
                ready.host.errors);
    ready.host.properties.erase("DeviceBlePrimaryLoc");
    ExpectText("Execute without the field's place", "Failed to read property 'DeviceBlePrimaryLoc'.",
               ready.device.Execute("ReadPriBle"));
}

void RetainedAddressesSurvive(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    const auto ieee = FromEnd(ready.host, kIeeeFromEnd, 8);
    const auto ble = FromEnd(ready.host, kBleFromEnd, 6);
    ready.host.properties["RetainIeeeSecondaryAddr"] = "1";
    ready.host.properties["RetainBleSecondaryAddr"] = "1";
    ready.device.MustLoad(Pattern(0x1000, 9), ready.host.memory.FlashSize() - 0x1000);
    ExpectBytes("IEEE address after a load over it", ieee, FromEnd(ready.host, kIeeeFromEnd, 8));
    ExpectBytes("BLE address after a load over it", ble, FromEnd(ready.host, kBleFromEnd, 6));
}

void OverridingWritesTheProperty(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["OverrideIeeeSecondaryAddr"] = "1";
    ready.host.properties["DeviceIeeeSecondary"] = "10:20:30:40:50:60:70:80";
    ready.device.MustNotify(2);
    const std::vector<std::uint8_t> expected = {0x80, 0x70, 0x60, 0x50, 0x40, 0x30, 0x20, 0x10};
    ExpectBytes("IEEE address", expected, FromEnd(ready.host, kIeeeFromEnd, 8));
}

}  // namespace

std::vector<Check> MacAddressChecks() {
    constexpr const char* kTopic = "radio addresses";
    return {
        {kTopic, "reads-and-shows-addresses", "The four read operations publish and print the address.", ReadsAndShows},
        {kTopic, "fields-move-with-the-end-of-flash", "Secondary addresses are looked for from the end of flash.",
         FieldsMoveWithTheEndOfFlash},
        {kTopic, "writes-a-secondary-address", "A write operation changes that field of the last sector only.",
         WritesASecondaryAddress},
        {kTopic, "address-text-is-checked", "A wrong address text is refused and nothing is programmed.",
         AddressTextIsChecked},
        {kTopic, "failed-address-read-is-explained", "A failing read says what was read and the host's text.",
         FailedReadIsExplained},
        {kTopic, "field-place-is-checked", "A field place of other than two values is reported, a missing one fails.",
         FieldPlaceIsChecked},
        {kTopic, "retained-addresses-survive", "Retained addresses are written back after a load.",
         RetainedAddressesSurvive},
        {kTopic, "overriding-writes-the-property", "An overridden address is written at the closing phase.",
         OverridingWritesTheProperty},
    };
}

}  // namespace flash::validator
