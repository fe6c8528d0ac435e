// The chip of a connection as a GDB server needs it: loads go through the plug-in, everything else to the probe.
#pragma once

#include <map>

#include "apps/lumoflash/GdbServerObserver.h"
#include "apps/lumoflash/Options.h"
#include "host/gdb/ServedChip.h"
#include "host/session/Connection.h"

namespace flash::app {

class GdbServerChip final : public host::gdb::ServedChip {
public:
    // All must outlive the chip. Throws Failure when the probe cannot debug.
    GdbServerChip(host::Connection& chipConnection, GdbServerObserver& serverObserver, const Options& loadOptions);

    std::vector<host::gdb::MemoryRegion> MemoryMap() override;
    std::vector<std::uint8_t> ReadMemory(std::uint32_t address, std::uint32_t lengthBytes) override;
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes) override;
    std::vector<std::string> SystemRegisters() override;
    std::uint32_t ReadRegister(std::uint32_t index) override;
    void WriteRegister(std::uint32_t index, std::uint32_t value) override;
    bool InsertBreakpoint(host::gdb::request::BreakpointKind kind, std::uint32_t address) override;
    void RemoveBreakpoint(host::gdb::request::BreakpointKind kind, std::uint32_t address) override;
    void Resume() override;
    void LetRun() override;
    host::gdb::CoreStop Step() override;
    std::optional<host::gdb::CoreStop> AwaitStop(std::chrono::nanoseconds bound) override;
    host::gdb::CoreStop Halt() override;
    void Reset() override;
    std::string Load(const host::gdb::FlashLoad& load, host::gdb::Attention& attention) override;
    std::string Monitor(const std::string& command, host::gdb::Attention& attention) override;

    // The chip into its file, if it has one.
    void Save();

private:
    std::uint32_t UnwrittenEnd(const host::gdb::FlashLoad& load);
    std::string Program(const host::gdb::FlashLoad& load);
    void RequireAgreement(const host::PlannedLoad& load);
    void PutBack(const std::map<std::uint32_t, std::uint8_t>& ram);
    void StandStill();

    host::Connection& connection;
    host::Session& session;
    host::Probe& probe;
    host::DebugService& core;
    GdbServerObserver& observer;
    const Options& options;
    bool runsAlone = false;                          // nobody waits for it to stop
    std::map<std::uint32_t, std::uint8_t> ramBytes;  // of the client since the core ran: a load of flash uses RAM, too
};

}  // namespace flash::app
