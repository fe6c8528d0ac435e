#include "flashdevice/device/FlashUtil.h"

#include <algorithm>
#include <stdexcept>

#include "flashdevice/device/HostServices.h"
#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

constexpr char kRevisionTranslation[] = "DeviceInfoRevisionTranslation";

std::string ReadPropertyOrExplain(IFlashHost& host, const std::string& name) {
    try {
        return ReadProperty(host, name.c_str());
    } catch (const std::exception&) {
        throw std::runtime_error("Failed to read property '" + name + "'.");
    }
}

}  // namespace

IFlashHost& FlashUtil::GetFlashProgrammerUtility() const { return RequireHost(hostAccess); }

void FlashUtil::ReadRevisionTranslation(std::vector<RevisionTranslationEntry>& entries) const {
    const std::string text = ReadProperty(GetFlashProgrammerUtility(), kRevisionTranslation);
    const std::vector<std::string> pieces = SplitString(text, ':');
    if (pieces.size() % 3 != 0) {
        throw std::runtime_error(std::string("Property ") + kRevisionTranslation +
                                 " in Flash Properties XML does not contain the expected number of entries"
                                 " (N * 3 entries expected)");
    }
    for (std::size_t i = 0; i < pieces.size(); i += 3) {
        entries.push_back({pieces[i + 2], pieces[i + 1], ParseUnsigned(pieces[i], 10)});
    }
}

void FlashUtil::ReadHexPair(const std::string& name, std::uint32_t* first, std::uint32_t* second) const {
    IFlashHost& host = GetFlashProgrammerUtility();
    const std::vector<std::string> pieces = SplitString(ReadPropertyOrExplain(host, name), ':');
    if (pieces.size() != 2) {
        ReportErrorText(
            host, "Property '" + name + "' in Flash Properties XML does not contain 2 values delimited by ':'.\n");
    }
    if (!pieces.empty()) {
        *first = ParseUnsigned(pieces[0], 16);
    }
    if (pieces.size() >= 2) {
        *second = ParseUnsigned(pieces[1], 16);
    }
}

void FlashUtil::ConvertRevisionStringToMajorMinor(const std::string& text, std::uint32_t* major, std::uint32_t* minor) {
    if (text.empty()) {
        throw std::runtime_error("FlashUtil::ConvertRevisionStringToMajorMinor(): Input string is empty");
    }
    const std::vector<std::string> pieces = SplitString(text, '.');
    // Any other form is passed over without a word, on purpose: the device keeps the revision that it has.
    if (pieces.size() == 2) {
        *major = ParseUnsigned(pieces[0], 10);
        *minor = ParseUnsigned(pieces[1], 10);
    }
}

std::string FlashUtil::ConvertByteVectorToString(const std::vector<std::uint8_t>& bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ':';
        }
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

void FlashUtil::ConvertStringToByteVector(const std::string& text, std::vector<std::uint8_t>& bytes) {
    const std::vector<std::string> pieces = SplitString(text, ':');
    bytes.resize(pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (pieces[i].size() > 2) {
            // Two phrases run together, on purpose: the text that users and their scripts know.
            throw std::runtime_error("Error: Expecting HEX valueConvertStringToByteVector(): ");
        }
        const std::uint32_t value = ParseUnsigned(pieces[i], 16);
        if (value > 255) {
            throw std::runtime_error("Failed to convert HEX string '" + pieces[i] + "' to byte.");
        }
        bytes[i] = static_cast<std::uint8_t>(value);
    }
}

void FlashUtil::ReverseBytes(std::vector<std::uint8_t>& bytes) { std::reverse(bytes.begin(), bytes.end()); }

std::vector<std::uint8_t> FlashUtil::ConvertWordToByteVector(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

std::vector<std::string> FlashUtil::SplitString(std::string_view text, char delimiter) {
    std::vector<std::string> pieces;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(delimiter), text.size());
        pieces.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return pieces;
}

}  // namespace flash
