// The chip's radio addresses. On the target the least significant byte comes first, in texts the most significant.
#include <stdexcept>
#include <utility>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/HostServices.h"
#include "flashdevice/operations/MacAddressText.h"
#include "flashdevice/operations/MemoryField.h"
#include "flashdevice/operations/OperationNames.h"

namespace flash {

MemoryField FlashDeviceLumo::GetFieldLocation(const std::string& name) {
    MemoryField field;
    GetFlashUtil()->ReadHexPair(name + "Loc", &field.address, &field.length);
    return field;
}

MemoryField FlashDeviceLumo::GetCcfgFieldLocation(const std::string& name) {
    MemoryField field = GetFieldLocation(name);
    field.address += flashSize - referenceFlashSize;  // CCFG moves with the end of flash
    return field;
}

void FlashDeviceLumo::DoReadMacAddress(const std::string& command) {
    const char* property = GetXmlPropertyNameFromCommand(command);
    // Secondary addresses lie in CCFG; primary ones lie outside flash and do not move.
    const bool isInCcfg = command.find("Sec") != std::string::npos;
    const MemoryField field = isInCcfg ? GetCcfgFieldLocation(property) : GetFieldLocation(property);
    macAddressCache.erase(command);  // an address that cannot be read is not kept: nothing is written back later
    std::vector<std::uint8_t> bytes(field.length);
    try {
        ReadBytes(bytes.data(), bytes.data() + bytes.size(), field.address);
    } catch (const std::exception& error) {
        // No address behind "0x", on purpose: the text that users and their scripts know.
        throw std::runtime_error("DoReadMacAddress(): Failed to read " + std::to_string(field.length) +
                                 " bytes from 0x.\nError: " + error.what());
    }
    macAddressCache[command] = std::move(bytes);
}

void FlashDeviceLumo::ShowMacAddress(const std::string& command) {
    const char* property = GetXmlPropertyNameFromCommand(command);
    std::vector<std::uint8_t>& bytes = macAddressCache[command];
    FlashUtil::ReverseBytes(bytes);  // the cache keeps the order of the text from here on
    const std::string text = FlashUtil::ConvertByteVectorToString(bytes);
    WriteProperty(property, text);
    PrintText(Host(), command + ": " + text);
}

std::vector<std::uint8_t> FlashDeviceLumo::ParseMacAddressProperty(const std::string& name) {
    const MemoryField field = GetCcfgFieldLocation(name);
    return ParseMacAddress(ReadProperty(name.c_str()), field.length);
}

}  // namespace flash
