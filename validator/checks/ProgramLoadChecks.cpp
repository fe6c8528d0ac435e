// The way of a host's data into flash: erase settings, chunks, the two blocks.
#include "validator/Check.h"

namespace flash::validator {
namespace {

using Texts = std::vector<std::string>;

// The commands of two writes in one load.
Texts CommandsOfTwoWrites(const ModuleUnderCheck& module, const char* eraseSetting) {
    ReadyDevice ready(module);
    ready.host.properties["FlashEraseSetting"] = eraseSetting;
    ready.host.properties["ProgramLoadEraseSpecificText"] = "2, 5-6";
    ready.device.MustNotify(1);
    ready.device.MustWrite(Pattern(32), 0x1000);
    ready.device.MustWrite(Pattern(64), 0x3000);
    ready.device.MustNotify(2);
    return CommandTexts(ready.host);
}

void NoErase(const ModuleUnderCheck& module) {
    ExpectTexts("commands", {"0x2@0x1000+32", "0x2@0x3000+64"},
                CommandsOfTwoWrites(module, "Do not erase sectors (program load only)"));
}

void NecessarySectors(const ModuleUnderCheck& module) {
    for (const char* setting : {"Necessary Sectors Only", "anything else"}) {
        ExpectTexts("commands for " + Quoted(setting), {"0x3@0x1000+32", "0x3@0x3000+64"},
                    CommandsOfTwoWrites(module, setting));
    }
}

void RetainSectors(const ModuleUnderCheck& module) {
    ExpectTexts("commands", {"0x4@0x1000+32", "0x4@0x3000+64"},
                CommandsOfTwoWrites(module, "Necessary Sectors Only (Retain untouched content within sector)"));
}

void BankEraseOnce(const ModuleUnderCheck& module) {
    ExpectTexts("commands", {"0x1@0x0+0", "0x2@0x1000+32", "0x2@0x3000+64"},
                CommandsOfTwoWrites(module, "Erase: All Unprotected Sectors"));
}

void SpecificSectors(const ModuleUnderCheck& module) {
    ExpectTexts(
        "commands",
        {"0x5@0x2000+4095", "0x5@0x5000+8191", "0x2@0x1000+32", "0x5@0x2000+4095", "0x5@0x5000+8191", "0x2@0x3000+64"},
        CommandsOfTwoWrites(module, "Specific Sectors"));
}

void ChunksOfOneSector(const ModuleUnderCheck& module) {
    ReadyDevice first(module, kFirstGeneration);
    first.device.MustLoad(Pattern(10'000), 0);
    ExpectTexts("commands, first generation", {"0x3@0x0+4096", "0x3@0x1000+4096", "0x3@0x2000+1808"},
                CommandTexts(first.host));
    ReadyDevice second(module, kSecondGeneration);
    second.device.MustLoad(Pattern(10'000), 0x10);
    ExpectTexts("commands, second generation", {"0x3@0x10+8192", "0x3@0x2010+1808"}, CommandTexts(second.host));
}

void BlocksAlternate(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustNotify(1);
    ready.device.MustWrite(Pattern(3 * 4096), 0);
    ready.device.MustWrite(Pattern(100), 0x4000);
    std::string blocks;
    for (const PostedCommand& command : ready.host.flashloader.commands) {
        blocks += std::to_string(command.block);
    }
    ExpectText("blocks of four chunks in two writes", "0101", blocks);
}

void OnlyThePreviousChunkIsAwaited(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.flashloader.AnswerAll(AnswerAfterPolls(3));
    ready.device.MustLoad(Pattern(5 * 4096), 0);
    std::size_t posts = 0;
    std::uint32_t posted = 0;
    for (const HostCall& call : ready.host.calls) {
        for (std::uint32_t block = 0; block < 2; ++block) {
            if (call.service == Service::WriteMemory && call.address == BlockAddress(block)) {
                posted = block;
                ++posts;
            }
            const bool isWait =
                call.service == Service::ReadMemory && call.address == StatusAddress(block) && posts > 0 && posts < 5;
            Expect(!isWait || block != posted,
                   "after chunk " + std::to_string(posts) + " a wait for block " + std::to_string(posted ^ 1),
                   "a wait for block " + std::to_string(block));
        }
    }
    ExpectNumber("posted chunks", 5, posts);
}

void CommandIsOneWrite(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustLoad(Pattern(6000), 0);
    for (const PostedCommand& command : ready.host.flashloader.commands) {
        ExpectNumber("bytes of the write that posts a command", 20, command.postedBytes);
        ExpectNumber("status as posted", kStatusNotDone, command.statusAsPosted);
    }
}

void DataArrives(const ModuleUnderCheck& module) {
    for (const ChipModel& model : {kFirstGeneration, kSecondGeneration}) {
        ReadyDevice ready(module, model);
        ready.host.flashloader.AnswerAll(AnswerAfterPolls(2));
        const std::vector<std::uint8_t> data = Pattern(0x9123);
        ready.device.MustLoad(data, 0x2000);
        ExpectBytes("flash after the load", data, FlashBytes(ready.host, 0x2000, data.size()));
        ExpectNumber("the byte before", 0xFF, ready.host.memory.flash[0x1FFF]);
        ExpectNumber("the byte behind", 0xFF, ready.host.memory.flash[0x2000 + data.size()]);
    }
}

void EmptyWritePostsNothing(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustNotify(1);
    ready.device.MustWrite({}, 0x1000);
    ExpectTexts("commands", {}, CommandTexts(ready.host));
}

void ChunksAreTold(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["FlashVerboseMode"] = "1";
    ready.device.MustLoad(Pattern(4100), 0x2000);
    ExpectTexts(
        "messages",
        {"Loading flashloader to target: flashloader.out\n", "  Chunk 1: addr=0x00002000, length=4096 (using block 0)",
         "  Chunk 2: addr=0x00003000, length=4 (using block 1)"},
        ready.host.messages);
}

}  // namespace

std::vector<Check> ProgramLoadChecks() {
    constexpr const char* kTopic = "program load";
    return {
        {kTopic, "no-erase", "\"Do not erase sectors\" programs with command 2.", NoErase},
        {kTopic, "necessary-sectors", "\"Necessary Sectors Only\" and unknown texts program with command 3.",
         NecessarySectors},
        {kTopic, "retain-sectors", "\"Retain untouched content\" programs with command 4.", RetainSectors},
        {kTopic, "bank-erase-once", "\"All Unprotected Sectors\" erases the bank once per load.", BankEraseOnce},
        {kTopic, "specific-sectors", "\"Specific Sectors\" erases the listed ranges, then programs with command 2.",
         SpecificSectors},
        {kTopic, "chunks-of-one-sector", "A request is cut into chunks of at most one sector, in order.",
         ChunksOfOneSector},
        {kTopic, "blocks-alternate", "Chunks use block 0 and 1 in turn, across requests.", BlocksAlternate},
        {kTopic, "only-the-previous-chunk-is-awaited", "The next chunk travels while the last one is programmed.",
         OnlyThePreviousChunkIsAwaited},
        {kTopic, "command-is-one-write", "A command block is posted by one write of 20 bytes, status included.",
         CommandIsOneWrite},
        {kTopic, "data-arrives", "Flash holds the request's bytes, its neighbours are untouched.", DataArrives},
        {kTopic, "empty-write-posts-nothing", "A request without bytes posts no command.", EmptyWritePostsNothing},
        {kTopic, "chunks-are-told", "Verbose mode prints each chunk with its block.", ChunksAreTold},
    };
}

}  // namespace flash::validator
