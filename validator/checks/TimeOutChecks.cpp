// Waiting for the flashloader: how often, how long, and what is said when it does not answer.
#include <algorithm>

#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";
constexpr char kNoStatus[] = "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!";

// A write of one chunk that is never answered.
struct UnansweredChunk : ReadyDevice {
    explicit UnansweredChunk(const ModuleUnderCheck& module) : ReadyDevice(module) {
        host.flashloader.AnswerNth(1, kAnswerNever);
        device.MustNotify(1);
        error = device.Write(Pattern(16), 0x1000);
    }
    const char* error = nullptr;
};

void Polls400Times(const ModuleUnderCheck& module) {
    UnansweredChunk unanswered(module);
    const auto reads = unanswered.host.CallsOf(Service::ReadMemory);
    const auto polls = std::count_if(reads.begin(), reads.end(),
                                     [&](const HostCall& call) { return call.address == StatusAddress(0); });
    ExpectNumber("reads of the status", 400, static_cast<std::uint64_t>(polls));
    ExpectNumber("pauses", 400, unanswered.host.CallsOf(Service::WaitMilliseconds).size());
}

void PausesFor5Milliseconds(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.flashloader.AnswerAll(AnswerAfterPolls(4));
    ready.device.MustLoad(Pattern(9000), 0);
    const auto pauses = ready.host.CallsOf(Service::WaitMilliseconds);
    Expect(!pauses.empty(), "pauses between polls", "none");
    for (const HostCall& call : pauses) {
        ExpectNumber("milliseconds of a pause", 5, call.number);
    }
}

void TimeOutIsTheError(const ModuleUnderCheck& module) {
    UnansweredChunk unanswered(module);
    ExpectText("Write", kTimedOut, unanswered.error);
}

void TimeOutIsTold(const ModuleUnderCheck& module) {
    UnansweredChunk unanswered(module);
    ExpectTexts("messages", {"Target timed out! (Block 0)", kNoStatus}, unanswered.host.messages);
}

void TimeOutHalts(const ModuleUnderCheck& module) {
    UnansweredChunk unanswered(module);
    const auto& journal = unanswered.host.calls;
    const auto lastRun = std::find_if(journal.rbegin(), journal.rend(),
                                      [](const HostCall& call) { return call.service == Service::RunTarget; });
    const bool isHalted = std::any_of(journal.rbegin(), lastRun,
                                      [](const HostCall& call) { return call.service == Service::HaltTarget; });
    ExpectTrue("the target is halted after a time-out", isHalted);
}

void AnyStatusCountsAsTimeOut(const ModuleUnderCheck& module) {
    for (const std::uint32_t status : {0x0402'0102U, 0x0004'0103U, 0x104U, 0x105U, 0x106U, 1U}) {
        ReadyDevice ready(module);
        ready.host.flashloader.AnswerNth(1, AnswerWithStatus(status));
        ready.device.MustNotify(1);
        ExpectText("Write answered with status " + Hex(status), kTimedOut, ready.device.Write(Pattern(16), 0));
        ExpectTexts("messages for status " + Hex(status), {}, ready.host.messages);
    }
}

void FailingChunkNamesTheNext(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.flashloader.AnswerNth(2, AnswerWithStatus(0x103));
    ready.device.MustNotify(1);
    ExpectText("Write", kTimedOut, ready.device.Write(Pattern(4 * 4096), 0x1000));
    ExpectTexts("messages", {"  Command=3 -- addr=0x00003000 -- length=0x00001000"}, ready.host.messages);
}

void BankEraseTimeOut(const ModuleUnderCheck& module) {
    const std::string text =
        "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";
    ReadyDevice ready(module);
    ready.host.flashloader.AnswerNth(1, AnswerWithStatus(0x102));
    ExpectText("Execute \"Erase\"", text, ready.device.Execute("Erase"));
    ExpectTrue("it is printed too", ready.host.HasPrinted(text));
}

}  // namespace

std::vector<Check> TimeOutChecks() {
    constexpr const char* kTopic = "time-out";
    return {
        {kTopic, "polls-400-times", "A status that never comes is read 400 times, with a pause after each.",
         Polls400Times},
        {kTopic, "pauses-for-5-milliseconds", "Between two polls the plug-in pauses for 5 ms.", PausesFor5Milliseconds},
        {kTopic, "time-out-is-the-error", "A time-out is the operation's error text.", TimeOutIsTheError},
        {kTopic, "time-out-is-told", "A time-out prints the block in work and the missing status.", TimeOutIsTold},
        {kTopic, "time-out-halts", "A time-out halts the target.", TimeOutHalts},
        {kTopic, "any-status-counts-as-time-out", "Any status but success fails like a time-out, without a line.",
         AnyStatusCountsAsTimeOut},
        {kTopic, "failing-chunk-names-the-next", "A failure seen after the next post prints that next command.",
         FailingChunkNamesTheNext},
        {kTopic, "bank-erase-time-out", "A failing bank erase prints and returns its own text.", BankEraseTimeOut},
    };
}

}  // namespace flash::validator
