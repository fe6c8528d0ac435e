// Device descriptions: a second reader accepts and refuses the same plain files and finds the same values; what is
// printed reads back; a refusal is one line that names file and line; memory is bounded by the file's size.
#include <algorithm>
#include <string>

#include "host/Failure.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/InMemoryFile.h"
#include "tests/fuzz/devices/SecondDescription.h"
#include "tests/support/AllocationMeter.h"

namespace flash::fuzz {
namespace {

constexpr std::size_t kMemoryBytes = 256 * 1024;  // the readers' buffers
constexpr std::size_t kMemoryPerByte = 64;

InMemoryFile& File() {
    static InMemoryFile file;
    return file;
}

std::size_t LinesIn(const std::string& text) {
    return 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// "FILE:LINE: what is wrong", on one line. An empty file has no line.
void CheckRefusal(const std::string& refusal, const std::string& text) {
    const std::string start = File().Path() + ":";
    FuzzRequire(refusal.starts_with(start), "a refusal names the file");
    if (text.empty()) {
        return;
    }
    const std::size_t colon = refusal.find(": ", start.size());
    FuzzRequire(colon != std::string::npos && colon + 2 < refusal.size(), "a refusal says what is wrong");
    const auto line = SecondNumber(refusal.substr(start.size(), colon - start.size()), 1, 0xFFFF'FFFF);
    FuzzRequire(line && *line <= LinesIn(text), "a refusal names a line of the file");
    const bool isOneLine = std::none_of(refusal.begin(), refusal.end(),
                                        [](unsigned char character) { return character < ' ' || character == 0x7F; });
    FuzzRequire(isOneLine, "a refusal is one line");
}

std::optional<DeviceDescription> ReadText(const std::string& text) {
    File().Put(text);
    try {
        return host::LoadDeviceDescription(File().Path());
    } catch (const host::Failure& failure) {
        FuzzRequire(failure.Kind() == host::FailureKind::BadInput, "a wrong file is bad input");
        CheckRefusal(failure.what(), text);
        return std::nullopt;
    }
}

bool AreSame(const DeviceDescription& a, const DeviceDescription& b) {
    const auto& [name, summary, file, sectorSize, sectors, reference, ram, revision, ccfg, controller, properties] = a;
    return name == b.name && summary == b.summary && sectorSize == b.sectorSizeBytes && sectors == b.sectorCount &&
           reference == b.referenceFlashSizeBytes && ram == b.ramSizeCode && revision == b.revisionCode &&
           ccfg == b.ccfgSizeRegister && controller == b.controller && properties == b.properties;
}

std::string Escaped(const std::string& value) {
    std::string text;
    for (const char character : value) {
        switch (character) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '"':
                text += "&quot;";
                break;
            default:
                text += character;
        }
    }
    return text;
}

std::string Attribute(const std::string& name, const std::string& value) {
    return " " + name + "=\"" + Escaped(value) + "\"";
}

std::string Attribute(const std::string& name, std::uint32_t value) { return Attribute(name, std::to_string(value)); }

std::string Print(const DeviceDescription& device) {
    std::string text =
        "<flashProperties" + Attribute("device", device.name) + Attribute("summary", device.summary) + "><chip" +
        Attribute("sectorSize", device.sectorSizeBytes) + Attribute("sectors", device.sectorCount) +
        Attribute("referenceFlashSize", device.referenceFlashSizeBytes) + Attribute("ramSizeCode", device.ramSizeCode) +
        Attribute("revisionCode", device.revisionCode) + Attribute("ccfgSizeRegister", device.ccfgSizeRegister) +
        (device.controller.empty() ? "" : Attribute("controller", device.controller)) + "/>";
    for (const auto& [key, value] : device.properties) {
        text += "<property" + Attribute("key", key) + Attribute("value", value) + "/>";
    }
    return text + "</flashProperties>";
}

void CheckAccepted(const DeviceDescription& device) {
    const std::optional<DeviceDescription> again = ReadText(Print(device));
    FuzzRequire(again && AreSame(device, *again), "what is printed reads back");
    for (const auto& [key, value] : device.properties) {
        if (key.ends_with("Loc")) {
            const host::FieldLocation field = device.Location(key.substr(0, key.size() - 3));
            FuzzRequire(field.lengthBytes <= 8, "no field is longer than an address");
        }
    }
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const std::string text(data, data + size);
    const flash::test::AllocationMeter meter;
    const std::optional<DeviceDescription> read = ReadText(text);
    FuzzRequire(meter.Bytes() <= kMemoryBytes + kMemoryPerByte * size, "memory is bounded by the file's size");
    if (const std::optional<Element> root = SimpleXmlReader::Read(text)) {
        const std::optional<DeviceDescription> second = SecondDescription::Of(*root);
        FuzzRequire(read.has_value() == second.has_value(), "both readers accept the same files");
        FuzzRequire(!read || AreSame(*read, *second), "both readers find the same values");
    }
    if (read) {
        CheckAccepted(*read);
    }
    return 0;
}
