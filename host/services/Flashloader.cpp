// The plug-in posts some commands without waiting for them and then halts the core: so a halt waits.
#include "host/services/Flashloader.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/Numbers.h"
#include "host/files/FileContent.h"

namespace flash::host {
namespace {

constexpr std::chrono::milliseconds kSettleLimit{2000};  // as long as the plug-in itself waits for a command
constexpr std::size_t kLoadPieceBytes = 4096;
constexpr std::size_t kStatusBytes = 4;

std::optional<MailboxPlace> FindMailbox(const SymbolTable& symbols) {
    const auto blocks = symbols.Find("g_cfg");
    const auto first = symbols.Find("g_buf1");
    const auto second = symbols.Find("g_buf2");
    return blocks && first && second ? std::optional(MailboxPlace{*blocks, {*first, *second}}) : std::nullopt;
}

}  // namespace

void Flashloader::Load(const std::filesystem::path& file, Progress& progress) {
    const std::vector<std::uint8_t> content = LoadFile(file);
    const ProgramImage image = ReadElf(content, file.string());
    symbols = ReadElfSymbols(content, file.string());
    mailbox.reset();
    coreBeforeHalt.reset();
    watch = {};
    progress.Start(Stage::Load, image.ByteCount());
    for (const DataRun& run : image.Runs()) {
        for (std::size_t offset = 0; offset < run.bytes.size(); offset += kLoadPieceBytes) {
            const auto piece =
                std::span(run.bytes).subspan(offset, std::min(kLoadPieceBytes, run.bytes.size() - offset));
            probe.WriteMemory(run.address + static_cast<std::uint32_t>(offset), piece, 1);
            progress.Advance(piece.size());
        }
    }
    progress.Finish();
    mailbox = FindMailbox(symbols);
    if (TimelineService* timeline = probe.Timeline(); timeline != nullptr && mailbox) {
        timeline->WatchCommandBlocks(mailbox->blocks);
    }
    if (AnswerService* answers = probe.Answers()) {
        answers->StopWhereAnswered(mailbox ? symbols.Find("FlashloaderAnswered") : std::nullopt);
    }
}

void Flashloader::Run() {
    probe.Run();
    isRunning = mailbox.has_value();
}

std::optional<MailboxEvent> Flashloader::OnWrite(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const auto block = mailbox && bytes.size() == kPostedBytes ? mailbox->BlockAt(address) : std::nullopt;
    return block ? watch.OnPost(*block, DecodeBlock(bytes)) : std::nullopt;
}

std::optional<MailboxEvent> Flashloader::OnRead(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const auto block = mailbox && bytes.size() == kStatusBytes ? mailbox->BlockOfStatusAt(address) : std::nullopt;
    return block ? watch.OnStatus(*block, LittleEndian(bytes)) : std::nullopt;
}

void Flashloader::Pause(std::chrono::milliseconds duration) {
    if (const auto block = watch.PolledBlock(); block && isRunning) {
        watch.OnWait(duration);
        probe.PauseWhileWordIs(mailbox->StatusAddress(*block), kStatusNotDone, duration);
    } else {
        probe.Pause(duration);
    }
}

void Flashloader::Settle(OperationRecord& record) {
    if (isRunning) {
        try {
            for (std::uint32_t block = 0; block < kBlockCount; ++block) {
                AwaitBlock(block, record);
            }
            coreBeforeHalt = probe.ReadCoreState();
        } catch (const ProbeError& error) {  // the core is stopped all the same
            record.Complain(fmt::format("Cannot tell whether the flashloader has finished: {}", error.what()));
        }
    }
    probe.Halt();
    isRunning = false;
    watch = {};
}

void Flashloader::AwaitBlock(std::uint32_t index, OperationRecord& record) {
    if (!watch.IsPending(index)) {
        return;
    }
    // What the plug-in has waited already counts, so that a hanging target is not waited for twice.
    const auto bound = kSettleLimit - watch.WaitedFor(index);
    if (bound > std::chrono::microseconds::zero()) {
        probe.PauseWhileWordIs(mailbox->StatusAddress(index), kStatusNotDone, bound);
    }
    const CommandBlockView block = ReadBlock(probe, *mailbox, index);
    record.Take(watch.OnSettled(index, block.status));
    if (block.status != kStatusSuccess && block.command != kCommandBlankCheck) {
        record.Complain(fmt::format("Posted and not waited for by the plug-in: {}: ", DescribeCommand(block)) +
                        DescribeStatus(block));
    }
}

std::optional<MailboxReport> Flashloader::Explain() {
    return mailbox ? std::optional(ReadMailbox(probe, *mailbox, coreBeforeHalt)) : std::nullopt;
}

}  // namespace flash::host
