// What lies where, and who takes which block when.
#include <fmt/format.h>

#include <algorithm>

#include "apps/check_flashloader/Checks.h"

namespace flash::flashloader_check {
namespace {

constexpr std::uint32_t kSramBase = 0x2000'0000;

void HasItsSymbols(const Image& image) {
    for (const char* const name : {"ResetISR", "g_cfg", "g_buf1", "g_buf2", "g_currBuf"}) {
        RequireEqual(image.Find(name) >> 28, kSramBase >> 28, std::string("the highest digit of ") + name);
    }
    for (const char* const name : {"g_cfg", "g_currBuf"}) {
        RequireEqual(image.Find(name) % 4, 0, std::string("the address modulo 4 of ") + name);
    }
}

void StandsStillAtFirst(const Image& image) {
    Bench bench(image);
    bench.Load();
    for (const std::uint32_t block : {0u, 1u}) {
        RequireEqual(bench.StatusOf(block), 0, fmt::format("status of block {} of a fresh load", block));
    }
    bench.Post(0, {0, 16, 6});
    bench.Start();
    bench.chip.Pause(std::chrono::milliseconds(20));
    RequireEqual(bench.StatusOf(0), 0, "status of a command that was posted before the core runs");
}

void TakesTheBlocksInTurn(const Image& image) {
    Bench bench(image);
    bench.Post(1, {0, 16, 6});
    bench.chip.Pause(std::chrono::milliseconds(10));
    RequireEqual(bench.StatusOf(1), kNotDone, "status of block 1 while block 0 was not posted");
    bench.Post(0, {0, 16, 6});
    bench.chip.Pause(std::chrono::milliseconds(10));
    for (const std::uint32_t block : {0u, 1u}) {
        RequireEqual(bench.StatusOf(block), 0, fmt::format("status of block {} when both are posted", block));
    }
    RequireEqual(bench.chip.PeekWord(image.Find("g_currBuf")), 0, "g_currBuf while block 0 is waited for");
    bench.Run({0, 16, 6});
    bench.chip.Pause(std::chrono::milliseconds(1));
    RequireEqual(bench.chip.PeekWord(image.Find("g_currBuf")), 1, "g_currBuf while block 1 is waited for");
}

void TakesEachBlocksOwnBuffer(const Image& image) {
    Bench bench(image);
    Bytes expected = bench.Flash();
    for (std::uint32_t i = 0; i < 4; ++i) {
        const Bytes chunk = Pattern(64, i);
        std::ranges::copy(chunk, expected.begin() + 64 * i);
        RequireEqual(bench.Program(2, 64 * i, chunk).status, 0, "status of command 2");
    }
    RequireFlash(bench, expected, "chunks in buffers 0 and 1 by turns");
}

void LeavesTheHostsMemoryAlone(const Image& image) {
    Bench bench(image, OldFlash(image));
    const Bytes other = Pattern(bench.SectorBytes(), 7);
    const Bytes chunk = Pattern(40, 8);
    bench.chip.WriteMemory(bench.BufferAddress(1), other);
    bench.chip.WriteMemory(bench.BlockAddress(0) + 20, Bytes{1, 2, 3, 4});
    bench.chip.WriteMemory(bench.BlockAddress(1), Pattern(16, 9));
    bench.Program(0x14, SectorBytesOf(image) - 20, chunk);
    Require(bench.chip.PeekMemory(bench.BufferAddress(1), bench.SectorBytes()) == other,
            "buffer 1 as it was after a command in block 0", "other bytes");
    Require(bench.chip.PeekMemory(bench.BufferAddress(0), 40) == chunk, "the chunk as it was", "other bytes");
    Require(bench.chip.PeekMemory(bench.BlockAddress(0) + 20, 4) == Bytes{1, 2, 3, 4}, "the reserved word as it was",
            "other bytes");
    Require(bench.chip.PeekMemory(bench.BlockAddress(1), 16) == Pattern(16, 9), "block 1 as it was", "other bytes");
}

void IdlesForSeconds(const Image& image) {
    Bench bench(image);
    bench.chip.Pause(std::chrono::milliseconds(400));
    RequireEqual(bench.Run({0, 16, 6}).status, 0, "status after a long pause");
    bench.RequireNoViolation();
}

}  // namespace

std::vector<Check> MailboxChecks() {
    return {
        {"has-its-symbols", "The symbols that the host looks up lie in SRAM.", HasItsSymbols},
        {"stands-still-at-first", "A fresh load reads as status 0 and takes what was posted early.",
         StandsStillAtFirst},
        {"takes-the-blocks-in-turn", "Blocks are taken strictly in turn, and g_currBuf tells which.",
         TakesTheBlocksInTurn},
        {"takes-each-blocks-own-buffer", "Block n goes with buffer n.", TakesEachBlocksOwnBuffer},
        {"leaves-the-hosts-memory-alone", "Buffers, the other block and the reserved word are the host's.",
         LeavesTheHostsMemoryAlone},
        {"idles-for-seconds", "It waits for as long as the host likes, and feeds the watchdog.", IdlesForSeconds},
    };
}

std::vector<Check> AllChecks() {
    std::vector<Check> checks;
    for (const std::vector<Check>& some : {MailboxChecks(), CommandChecks(), MishapChecks()}) {
        checks.insert(checks.end(), some.begin(), some.end());
    }
    return checks;
}

std::uint32_t SectorBytesOf(const Image& image) { return image.generation == chip::Generation::LumoF ? 8192 : 4096; }

Bytes OldFlash(const Image& image) {
    Bytes flash(image.sectorCount * SectorBytesOf(image), 0xFF);
    std::fill_n(flash.begin(), 4 * SectorBytesOf(image), std::uint8_t{0x5A});
    return flash;
}

}  // namespace flash::flashloader_check
