// A chip on the bench: what the tests of the virtual chip do to it again and again. Code for the core is assembled by
// hand, with its operands in registers that the probe sets.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "chip/MemoryMap.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

inline void PrintTo(Violation violation, std::ostream* out) { *out << Name(violation); }
inline void PrintTo(Fault fault, std::ostream* out) { *out << Name(fault); }

inline constexpr std::uint32_t kCodeAddress = kSramBase;
inline constexpr std::uint32_t kDataAddress = kSramBase + 0x800;
inline constexpr std::uint16_t kEndlessLoop = 0xE7FE;  // b .

class ChipRig : public testing::Test {
protected:
    explicit ChipRig(const Settings& settings = {}) : chip(settings) {}

    void LoadCode(const std::vector<std::uint16_t>& halfwords) {
        std::vector<std::uint8_t> bytes;
        for (const std::uint16_t halfword : halfwords) {
            bytes.push_back(static_cast<std::uint8_t>(halfword));
            bytes.push_back(static_cast<std::uint8_t>(halfword >> 8));
        }
        chip.WriteMemory(kCodeAddress, bytes);
    }
    // `registers` are r0, r1 and so on.
    void StartCode(const std::vector<std::uint16_t>& halfwords, const std::vector<std::uint32_t>& registers = {}) {
        chip.Halt();
        LoadCode(halfwords);
        for (std::size_t i = 0; i < registers.size(); ++i) {
            chip.WriteCoreRegister(static_cast<CoreRegister>(i), registers[i]);
        }
        chip.WriteCoreRegister(CoreRegister::Sp, kSramBase + chip.RamBytes());
        chip.WriteCoreRegister(CoreRegister::Pc, kCodeAddress);
        chip.Run();
    }
    void RunCode(const std::vector<std::uint16_t>& halfwords, const std::vector<std::uint32_t>& registers = {}) {
        StartCode(halfwords, registers);
        chip.Pause(std::chrono::milliseconds(1));
    }
    std::uint32_t HaltAndRead(CoreRegister number) {
        chip.Halt();
        return chip.ReadCoreRegister(number);
    }

    // The probe as the controller's user: no code on the core.
    void Command(std::uint32_t code, std::uint32_t address, std::uint32_t data = 0) {
        chip.WriteWord(kAddressRegister, address);
        chip.WriteWord(kDataRegister, data);
        chip.WriteWord(kCommandRegister, kCommandKey | code);
    }
    Status ReadStatus() { return static_cast<Status>(chip.ReadWord(kStatusRegister)); }
    Status Finish(std::uint32_t code, std::uint32_t address, std::uint32_t data = 0) {
        Command(code, address, data);
        chip.Pause(std::chrono::milliseconds(25));
        return ReadStatus();
    }
    std::vector<Event> EventsOf(EventKind kind) const {
        std::vector<Event> events;
        for (const Event& event : chip.Timeline()) {
            if (event.kind == kind) {
                events.push_back(event);
            }
        }
        return events;
    }

    VirtualChip chip;
};

// Code that programs r2 at r1 through the controller at r0 with the command r3, and polls until it is done; the status
// is left in r4.
inline const std::vector<std::uint16_t> kOperateAndPoll = {
    0x6041,        // str r1, [r0, #4]
    0x6082,        // str r2, [r0, #8]
    0x6003,        // str r3, [r0, #0]
    0x68C4,        // poll: ldr r4, [r0, #12]
    0x2C01,        // cmp r4, #1
    0xD0FC,        // beq poll
    kEndlessLoop,  // b .
};

}  // namespace flash::chip
