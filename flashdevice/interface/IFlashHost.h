// The services that a debugger host gives to the plug-in. Every access to the target, every setting and every message
// goes through this one object, which the host implements, owns and hands to `CreateFlashDevice2`.
//
// Binary contract: a table of functions in slot order, one per virtual function below, no data. The placeholders
// `Reserved…` keep the slot numbers; the plug-in never calls them, and a host may leave them empty.
// All calls come on the thread on which the host called the plug-in, and the object must outlive every device made
// with it. Operations report failure by returning an error text, never by throwing; null means success. An error text
// belongs to the host and must stay readable until the host's next service call. Addresses are target addresses in
// bytes; the plug-in uses 32 bits of them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace flash {

class IFlashHost {
public:
    // Slot 0. The text of a setting, or null when the host has no setting of that name. The text must stay readable
    // until the host's next service call; asked twice in a row, the host gives the same text.
    virtual const char* GetProperty(const char* name) = 0;

    // Slot 1. Changes a setting. Both texts belong to the plug-in and live only during the call.
    virtual const char* SetProperty(const char* name, const char* value) = 0;

    // Slot 2. Loads a program image into target memory and makes its symbols known to `LookUpSymbol`. `directory` is
    // where the file is looked for; `options` is always empty.
    virtual const char* LoadProgram(const char* fileName, const char* options, const char* directory) = 0;

    // Slot 3. The target address of a symbol of the image loaded last: "ResetISR", "g_buf1", "g_buf2", "g_cfg" after
    // each load, "g_currBuf" after a time-out. The plug-in keeps the low 32 bits.
    virtual const char* LookUpSymbol(const char* name, std::uint64_t* value) = 0;

    // Slot 4. Lets the target's processor run, from its program counter.
    virtual const char* RunTarget() = 0;

    virtual void Reserved5() = 0;

    // Slot 6. Stops the target's processor. It may still be at work: the last range of "EraseSectors" and a kept CCFG
    // that is put back are posted and not waited for. A host that lets a running flashloader finish, for a bounded
    // time, loses neither.
    virtual const char* HaltTarget() = 0;

    virtual void Reserved7() = 0;
    virtual void Reserved8() = 0;
    virtual void Reserved9() = 0;

    // Slot 10. Reads `count` elements of `elementSize` bytes each (1 or 4) at `address` into `buffer`. Elements are in
    // the workstation's byte order. `page` is always 1.
    virtual const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                   std::size_t elementSize) = 0;

    // Slot 11. Writes `count` elements of `elementSize` bytes each; the plug-in always writes bytes. `page` is
    // always 1.
    virtual const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                    std::size_t elementSize) = 0;

    virtual void Reserved12() = 0;

    // Slot 13. Reads a register of the selected debug route. The plug-in asks only for number 1, the identification
    // code of the route's router.
    virtual const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) = 0;

    // Slot 14. Writes a core register. The plug-in writes only number 527 (0x20F), the program counter.
    virtual const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) = 0;

    virtual void Reserved15() = 0;
    virtual void Reserved16() = 0;
    virtual void Reserved17() = 0;
    virtual void Reserved18() = 0;

    // Slot 19. Shows an error to the user. The operation in progress goes on and may still return success, so a host
    // that counts failures counts these.
    virtual const char* ReportError(const char* text) = 0;

    // Slot 20. Shows one message. The host decides on line breaks; some texts end in one.
    virtual const char* PrintMessage(const char* text) = 0;

    // Slot 21. A directory path ending in a backslash, below which the flashloader is looked for (two folders up, then
    // `arm`: that is put behind the text as it is). The text is copied at once, so it only has to live until the next
    // service call. Not null; a null counts as an empty text.
    virtual const char* GetDirectoryPath() = 0;

    // Slot 22. Pauses for that many milliseconds (the plug-in passes 5, between two polls of the flashloader's status).
    virtual const char* WaitMilliseconds(std::uint32_t milliseconds) = 0;

    virtual void Reserved23() = 0;
    virtual void Reserved24() = 0;
    virtual void Reserved25() = 0;
    virtual void Reserved26() = 0;

    // Slot 27. Selects where later target accesses go: "Sluice" (the debug router) or "Cortex" (the processor core).
    // Only `Initialize` selects: "Sluice", reads the register, then "Cortex". When the register cannot be read,
    // "Sluice" stays selected; the next `Initialize` begins anew.
    virtual const char* SelectCore(const char* name) = 0;

protected:
    // The host ends its own object; the plug-in never does. Not virtual, so that the table has no slot for it.
    ~IFlashHost() = default;
};

}  // namespace flash
