// The flashloader on the target as the host has it: its image and symbols, the core that runs it, and the commands that
// the plug-in puts to it. Failing accesses are ProbeError.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "host/files/ElfFile.h"
#include "host/probe/Probe.h"
#include "host/services/Mailbox.h"
#include "host/services/MailboxWatch.h"
#include "host/services/OperationRecord.h"

namespace flash::host {

class Flashloader {
public:
    explicit Flashloader(Probe& targetProbe) : probe(targetProbe) {}

    // Writes an image to the target. Failure for a file that is none.
    void Load(const std::filesystem::path& file, Progress& progress);
    std::optional<std::uint32_t> FindSymbol(std::string_view name) const { return symbols.Find(name); }

    void Run();
    bool IsRunning() const { return isRunning; }

    // What the plug-in has just written or read in the target's memory.
    std::optional<MailboxEvent> OnWrite(std::uint32_t address, std::span<const std::uint8_t> bytes);
    std::optional<MailboxEvent> OnRead(std::uint32_t address, std::span<const std::uint8_t> bytes);
    bool IsBuffer(std::uint32_t address) const { return mailbox && mailbox->IsBuffer(address); }

    // Ends early when the plug-in waits for a status and that changes.
    void Pause(std::chrono::milliseconds duration);

    // Gives a running flashloader a bounded time to finish what is posted, then stops the core. What was posted, not
    // waited for by the plug-in and failed is a complaint.
    void Settle(OperationRecord& record);

    // The mailbox in words; nothing when there is none.
    std::optional<MailboxReport> Explain();

private:
    void AwaitBlock(std::uint32_t block, OperationRecord& record);

    Probe& probe;
    SymbolTable symbols;
    std::optional<MailboxPlace> mailbox;
    MailboxWatch watch;
    bool isRunning = false;
    std::optional<CoreState> coreBeforeHalt;
};

}  // namespace flash::host
