// The device's utility for structured values in the host's flash properties, and for bytes and revisions as texts.
// Numbers in texts convert as `ParseUnsigned` says: never an error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "flashdevice/interface/IFlashHost.h"

namespace flash {

// One row of the host's revision table, in the order of the property's text.
struct RevisionTranslationEntry {
    std::string name;          // for display, such as "RevA"
    std::string revisionText;  // "major.minor"
    std::uint32_t code;        // as the chip reports it, 0 to 15
    bool operator==(const RevisionTranslationEntry&) const = default;
};

class FlashUtil {
public:
    // Refers to the device's own host pointer, which must live as long.
    explicit FlashUtil(IFlashHost* const& host) : hostAccess(host) {}

    // The host. Throws "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL." when there is none.
    IFlashHost& GetFlashProgrammerUtility() const;

    // Appends the entries of "DeviceInfoRevisionTranslation": code:major.minor:name, repeated, ':' between all.
    void ReadRevisionTranslation(std::vector<RevisionTranslationEntry>& entries) const;

    // Reads "first:second", both hexadecimal. A text with another number of values is reported and used as far as it
    // goes; an output without a value is left untouched.
    void ReadHexPair(const std::string& name, std::uint32_t* first, std::uint32_t* second) const;

    // Writes nothing for a text that is not major, point, minor; throws for an empty one.
    static void ConvertRevisionStringToMajorMinor(const std::string& text, std::uint32_t* major, std::uint32_t* minor);

    // "00:12:AB"
    static std::string ConvertByteVectorToString(const std::vector<std::uint8_t>& bytes);

    // Reads hexadecimal bytes joined by ':'. On failure `bytes` keeps its new size and the bytes before the bad one.
    static void ConvertStringToByteVector(const std::string& text, std::vector<std::uint8_t>& bytes);

    static void ReverseBytes(std::vector<std::uint8_t>& bytes);

    // Four bytes, least significant first.
    static std::vector<std::uint8_t> ConvertWordToByteVector(std::uint32_t value);

    // Pieces are taken as they are. A final delimiter adds no empty piece, and an empty text has no pieces.
    static std::vector<std::string> SplitString(std::string_view text, char delimiter);

private:
    IFlashHost* const& hostAccess;
};

}  // namespace flash
