// Looking at memory that belongs to the host and may be gone.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace flash::hostcheck {

// Copies `lengthBytes` bytes of this process. False when they cannot be read; the process goes on.
bool CopyIfReadable(const void* from, void* to, std::size_t lengthBytes);

// The beginning of a text, kept without asking for memory: that could be the text's own, when it is freed already.
class TextCopy {
public:
    // Memory that cannot be read ends the text.
    void Take(const char* text);
    bool StillStandsAt(const char* place) const;
    std::string Text() const { return {bytes.data(), length}; }

private:
    std::array<char, 4096> bytes{};
    std::size_t length = 0;  // without the closing zero
};

// Takes and gives back memory in all sizes that a text may have, and leaves other bytes in it.
void UseFreedMemory();

// The slots of a service object's table, counted from 0; null for a slot that is empty or cannot be read.
const void* FunctionInSlot(const void* object, std::size_t slot);

}  // namespace flash::hostcheck
