// What lasts of a chip, as bytes for a file: settings, factory data and flash, with a version and a checksum.
//
// All numbers have their least significant byte first:
//      0  "LUMOCHIP"           16  generation, 8 bits          48  seed, 64 bits
//      8  version, 32 bits     17  RAM size code, 8 bits       56  core clock in Hz, 64 bits
//     12  length of all of     18  0, 16 bits                  64  times of sector erase, word program, bank erase
//         it in bytes, 32      20  sectors, 32 bits                and busy stall in nanoseconds, 4 x 64 bits
//         bits                 24  bytes of SRAM, 32 bits      96  link speed in bytes a second, 64 bits
//                              28  identification code         104  link latency in nanoseconds, 64 bits
//                              32  primary IEEE address, 8     112  flash, all of it
//                              40  primary BLE address, 6      end  CRC-32 (IEEE 802.3) of all before, 32 bits
//                              46  0, 16 bits
//
// Version 2 is that of a chip whose controller is another than the usual one. Before flash it has the size of a unit,
// the size of a page and flags (1 written once, 2 bank erase, 4 protects with ones), 32 bits each, 32 bits of 0, and
// the watchdog's time in nanoseconds, 64 bits; behind flash a bit for each of its words that was programmed, from bit 0
// on.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "chip/VirtualChip.h"

namespace flash::chip {

std::vector<std::uint8_t> EncodeState(const Settings& settings, std::span<const std::uint8_t> flash,
                                      const std::vector<bool>& programmed = {});

// Settings with the saved flash as their initial content. Throws `ChipError` for bytes that are no saved state.
Settings DecodeState(std::span<const std::uint8_t> state);

}  // namespace flash::chip
