// What a debugger host gets from the plug-in: one flash device, made by the module's only export.
//
// Binary contract: a table of nine functions in slot order, no data. Each returns null for success, else an error text.
// An error text belongs to the device; it stays readable until the next failing operation on the same device or its
// release. Results ("out" values) are left untouched when an operation fails; their pointers must not be null.
// One operation at a time, on one thread; several devices may be used on several threads. No exception derived from
// `std::exception` leaves an operation.
//
// What goes wrong inside an operation ends it with its own text: a host service's error as it is, "Unknown property
// "NAME"" for a setting that must exist and does not, a text about a setting that cannot be read. Complaints that do
// not end an operation go to `IFlashHost::ReportError`. Flash starts at target address 0, its size is that of the chip.
#pragma once

#include <cstdint>

#include "IFlashHost.h"

#ifndef FLASHDEVICE_API
#define FLASHDEVICE_API
#endif

namespace flash {

class IFlashDevice2 {
public:
    // Slot 0. Identifies the chip, measures its flash and RAM and publishes both as properties of the host
    // ("DeviceInfoFlashSize", "DeviceInfoRAMSize", "DeviceInfoRevision"). First operation on a device, as those that
    // write rely on the measured size; may be repeated. The property "DeviceInfoRevisionTranslation" must exist and
    // have an entry. `*ready` becomes true; `*operations` becomes the constant list of names that `Execute` knows, ", "
    // between them, readable as long as the module is loaded. See `IFlashHost::SelectCore` for the route after a
    // failure.
    virtual const char* Initialize(bool* ready, const char** operations) = 0;

    // Slot 1. Whether an address is at most the flash size in bytes: the first address behind flash counts as inside.
    // While no size is known (before `Initialize`, or when the chip named 0 sectors) slots 1 and 2 read it from the
    // target. "Address value is too big" from slots 1, 2, 4 and 7 when the address does not fit 32 bits; nothing is
    // done.
    virtual const char* IsAddressInFlash(std::uint64_t address, bool* result) = 0;

    // Slot 2. Whether `address` + `lengthBytes`, summed in 32 bits, is at most the flash size in bytes.
    virtual const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) = 0;

    // Slot 3. Not supported: always "Unsupported target data type", a constant text. The argument is ignored.
    virtual const char* SetTargetDataType(std::uint64_t dataType) = 0;

    // Slot 4. Programs `lengthBytes` bytes at a flash address, by the host's erase, page, CCFG and CRC settings. `data`
    // belongs to the host and is not kept; it may be null only for a length of 0. Between `NotifyPhase(1)` and
    // `NotifyPhase(2)`, as often as needed. The properties "FlashPageToggle" and "FlashEraseSetting" must exist.
    // Null does not mean that all bytes are in flash: what the settings leave out (skipped pages, pages of the fill
    // value, the kept CCFG) is not programmed, what failed may have reached `ReportError` only, and a kept CCFG that is
    // put back has been posted and not waited for. "Timed out waiting for target flashloader to execute command."
    // stands for every failure of a chunk, whatever the target answered.
    virtual const char* Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) = 0;

    // Slot 5. Runs one named operation, after a reset as by phase 0. Names are compared exactly; null counts as an
    // empty name; an unknown one gives "Unsupported Operation Code: 'NAME'". All but the four reads end as
    // `NotifyPhase(2)` does: they halt the target and make the changes of CCFG that the host's options ask for.
    // "EraseSectors" returns before its last range is erased, and "Erase" before a kept CCFG is back: `HaltTarget`
    // comes at once, so a host lets a running flashloader finish first. "BlankCheck" tells its answer by `PrintMessage`
    // only; a target that fails to answer counts as programmed. The reads also set the property of their address.
    virtual const char* Execute(const char* operation) = 0;

    // Slot 6. Tells that a program load starts (1) or has finished (2). Every number, these too, resets the state of
    // the operation in progress: the flashloader is loaded again at the next need, and a kept CCFG is forgotten. Both
    // halt the target first; 1 also reads the addresses to be retained and needs the property "FlashPageToggle", 2
    // makes the changes of CCFG that the host's options ask for, and needs "WriteProtectionToggle" as soon as one is
    // on. Only the low 32 bits count.
    virtual const char* NotifyPhase(std::int64_t phase) = 0;

    // Slot 7. Whether the settings make the plug-in decide what is programmed or check it itself, so that the host's
    // own comparison of flash and file would be wrong or needless. The address only has to fit 32 bits. Reads the
    // settings and fails as `Write` does for those that it cannot read: without KeepCcfgSetting, for a missing
    // "FlashPageToggle" too.
    virtual const char* HandlesVerification(std::uint64_t address, bool* result) = 0;

    // Slot 8. Ends the device, which must not be used afterwards. Always null.
    virtual const char* Release() = 0;

protected:
    // A device ends by `Release`. Not virtual, so that the table has no slot for it.
    ~IFlashDevice2() = default;
};

}  // namespace flash

// Makes a device for a connected chip. The sixth character of `deviceName` selects the generation: '2' and '4' the
// second (`LumoF`), any other digit the first (`LumoD`). The second and third text are not used. A null text counts as
// an empty one. `host` is kept, not owned. On success `*device` is the new device, which the host owns and ends with
// `Release`, and the result is null. On failure `*device` is untouched and the result is an error text, readable until
// the same generation fails again; that text is shared, so two threads must not be inside the factory at once. Throws
// `std::out_of_range` ("invalid string position") for a name shorter than 5 characters and `std::invalid_argument`
// ("invalid stoi argument") when the sixth character is missing or no digit. A host that was built with another
// compiler or C++ runtime cannot catch these and ends: always pass a full part name.
extern "C" FLASHDEVICE_API const char* CreateFlashDevice2(const char* deviceName, const char* secondText,
                                                          const char* thirdText, flash::IFlashHost* host,
                                                          flash::IFlashDevice2** device);
