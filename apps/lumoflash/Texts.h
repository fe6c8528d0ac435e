// What a chip holds and how a command went, in words for people.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "apps/lumoflash/Outcome.h"
#include "host/session/Connection.h"

namespace flash::app {

// "primary BLE", …
std::string AddressName(host::AddressKind kind);

// Whole lines.
std::string AddressText(host::AddressKind kind, const std::string& address);
std::string CcfgText(const host::CcfgInfo& ccfg);
std::string InfoText(const host::Connection& connection);

// "programmed and verified by CRC", and what did not need to be.
std::string ProgramVerdict(const host::LoadResult& result, host::Verification verification);

// "; neither written nor verified: pages 3-5 (skipped)", or "" when all of the files was.
std::string LeftOut(const host::PlannedLoad& load);

// "299.8 KiB/s", "" when nothing can be said.
std::string SpeedText(std::uint64_t bytes, std::chrono::nanoseconds elapsed);

// "1.17 s", "12 ms".
std::string DurationText(std::chrono::nanoseconds elapsed);

// "error: " and what went wrong, details on lines of their own. Nothing in it moves a cursor.
std::string ErrorText(const std::string& text);

// How a command went in one line: "programmed and verified by CRC: 360448 bytes, 1.17 s, 299.8 KiB/s".
std::string VerdictText(const Outcome& outcome);

}  // namespace flash::app
