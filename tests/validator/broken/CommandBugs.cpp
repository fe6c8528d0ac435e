// Bugs in the commands that are posted and in the data that goes with them.
#include "tests/validator/broken/Between.h"

namespace flash::broken {
namespace {

bool HasData(const Block& block) { return block.command >= 2 && block.command <= 4; }

// What is posted is changed on its way.
void Change(Between& b, const std::function<void(Block& block)>& change) {
    b.instead.post = [&b, change](Block block, std::uint64_t address) {
        change(block);
        return b.Post(block, address);
    };
}

// What is posted is lost.
void Lose(Between& b, const std::function<bool(const Block& block)>& isLost) {
    b.instead.post = [&b, isLost](const Block& block, std::uint64_t address) {
        return isLost(block) ? nullptr : b.Post(block, address);
    };
}

// What goes into a buffer is changed on its way.
void Spoil(Between& b, const std::function<void(std::string& bytes)>& spoil) {
    b.instead.writeMemory = [&b, spoil](std::string bytes, std::uint64_t address) {
        spoil(bytes);
        return b.Send(bytes, address);
    };
}

// A posting in two writes: first all but the status.
const char* PostTwice(Between& b, const Block& block, std::uint64_t address) {
    constexpr std::size_t kBeforeStatus = offsetof(Block, status);
    if (const char* error = b.host.WriteMemory(&block, kBeforeStatus, address, 1, 1)) {
        return error;
    }
    return b.host.WriteMemory(&block.status, sizeof block.status, address + kBeforeStatus, 1, 1);
}

// Polls what has just been posted, so that nothing overlaps.
const char* PostAndPoll(Between& b, const Block& block, std::uint64_t address) {
    const char* error = b.Post(block, address);
    if (error == nullptr && block.length == 4096 && block.command == 3) {
        std::uint32_t status = 0;
        return b.host.ReadMemory(&status, 1, address + offsetof(Block, status), 1, sizeof status);
    }
    return error;
}

constexpr Bug kBugs[] = {
    {"protection-adds-up",
     [](Between& b) {
         Spoil(b, [&b, isFirst = true](std::string& bytes) mutable {
             if (bytes.size() == 4096 && b.operation == "NotifyPhase 2") {
                 bytes[4096 - 0x20] = static_cast<char>(bytes[4096 - 0x20] | (isFirst ? 0 : 1));
                 isFirst = false;
             }
         });
     }},
    {"crc-value",
     [](Between& b) {
         Change(b, [](Block& block) { block.crc = (block.command & 0x10) != 0 ? ~block.crc : block.crc; });
     }},
    {"crc-field-is-0-without-the-option",
     [](Between& b) { Change(b, [](Block& block) { block.crc = HasData(block) ? 0x1234 : block.crc; }); }},
    {"ccfg-survives-a-load",
     [](Between& b) {
         Spoil(b, [&b](std::string& bytes) {
             if (bytes.size() == 88 && b.operation == "Write") {
                 bytes.back() = '\x5A';
             }
         });
     }},
    {"ccfg-survives-a-bank-erase",
     [](Between& b) {
         Lose(b, [&b](const Block& block) { return block.command == 4 && b.operation == "Execute Erase"; });
     }},
    {"requests-are-trimmed",
     [](Between& b) {
         Lose(b, [&b](const Block& block) { return block.command == 4 && block.length == 88 && b.posted.empty(); });
     }},
    {"writes-a-secondary-address",
     [](Between& b) {
         Spoil(b, [&b](std::string& bytes) {
             if (bytes.size() == 4096 && b.operation == "Execute WriteSecBle") {
                 bytes[4096 - 0x39] = 0;
             }
         });
     }},
    {"erase-sectors-posts-ranges",
     [](Between& b) {
         Change(b, [&b](Block& block) {
             block.length += block.command == 5 && b.operation == "Execute EraseSectors" ? 1U : 0U;
         });
     }},
    {"blank-check-posts-the-reference",
     [](Between& b) {
         Change(b, [](Block& block) { block.crc ^= block.command == 6 && block.length == 0x8000 ? 1 : 0; });
     }},
    {"requests-meet-ranges",
     [](Between& b) { Change(b, [](Block& block) { block.length += block.length == 2047 ? 1 : 0; }); }},
    {"unaligned-pieces-grow",
     [](Between& b) {
         Change(b, [](Block& block) { block.length -= block.address == 0x1020 && block.length == 32 ? 16 : 0; });
     }},
    {"no-erase",
     [](Between& b) {
         Change(b, [hasErased = false](Block& block) mutable {
             hasErased = hasErased || block.command == 1 || block.command == 5;
             block.command = block.command == 2 && block.length == 64 && !hasErased ? 3 : block.command;
         });
     }},
    {"retain-sectors",
     [](Between& b) {
         Change(b, [](Block& block) { block.command = block.command == 4 && block.length == 64 ? 3 : block.command; });
     }},
    {"bank-erase-once",
     [](Between& b) {
         Change(b, [&b](Block& block) {
             if (block.command == 1 && b.operation == "Write") {
                 block = {0, 0x1'FFFF, 5, 0, block.status};
             }
         });
     }},
    {"specific-sectors",
     [](Between& b) {
         Change(b, [&b](Block& block) { block.length += block.command == 5 && b.operation == "Write" ? 1U : 0U; });
     }},
    {"chunks-of-one-sector",
     [](Between& b) { Change(b, [](Block& block) { block.length -= block.address == 0x2010 ? 1 : 0; }); }},
    {"blocks-alternate",
     [](Between& b) {
         b.instead.post = [&b](const Block& block, std::uint64_t address) {
             return b.Post(block, block.length == 100 && block.address == 0x4000 ? address - 24 : address);
         };
     }},
    {"only-the-previous-chunk-is-awaited",
     [](Between& b) {
         b.instead.post = [&b](const Block& block, std::uint64_t address) { return PostAndPoll(b, block, address); };
     }},
    {"command-is-one-write",
     [](Between& b) {
         b.instead.post = [&b](const Block& block, std::uint64_t address) { return PostTwice(b, block, address); };
     }},
    {"data-arrives",
     [](Between& b) {
         Spoil(b, [](std::string& bytes) { bytes.back() = bytes.size() == 0x1123 ? '\xFF' : bytes.back(); });
     }},
};

}  // namespace

Planting FindCommandBug(std::string_view name) { return FindIn(kBugs, name); }

}  // namespace flash::broken
