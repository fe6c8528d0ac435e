// Executables of random layouts, linked by two linkers: what we load of them is what objcopy takes out of them. The
// long form has 200 layouts for each linker.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/IntelHex.h"
#include "tests/host/files/FileTesting.h"
#include "tests/host/files/OtherTools.h"
#include "tests/support/LongForm.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kRam = 0x2000'0000;
const int kLayouts = test::IsLongForm() ? 200 : 15;

// One output section of a generated program; its bytes stand in a file of its name with ".bin".
struct Piece {
    std::string name;
    std::uint32_t runAddress;
    std::uint32_t loadAddress;
    std::uint32_t segment;  // with segments of the script's own
    bool isNoLoad;
    bool hasGap;  // inside the section, which is content
};

std::string Assembly(const std::vector<Piece>& pieces) {
    std::string text = ".syntax unified\n.thumb\n";
    for (const Piece& piece : pieces) {
        text += fmt::format(
            ".section .{0},\"a{1}\"\n.global at_{0}\n.type at_{0},%function\n.thumb_func\nat_{0}:\n.incbin "
            "\"{0}.bin\"\n",
            piece.name, piece.runAddress == piece.loadAddress ? "x" : "w");
    }
    return text + ".bss\n.global g_zero\ng_zero: .space 64\n";
}

class ElfLayout : public OtherTools, public testing::WithParamInterface<const char*> {
protected:
    // The order of the script is that of the addresses where the program runs, which one linker demands.
    std::vector<Piece> RandomPieces() {
        std::vector<Piece> pieces;
        const std::uint32_t count = 1 + Below(6);
        const std::uint32_t kinds = Below(8);
        for (std::uint32_t i = 0; i < count; ++i) {
            // At 0x400 or above, a linker has room for the ELF header in front of the first section, and uses it.
            const std::uint32_t load = 0x400 + i * 0x4000 + 4 * Below(0x800);
            const bool runsInRam = i > 0 && Below(2) == 0;
            const std::uint32_t run = runsInRam ? kRam + 0x4000 * ((i * 5) % 7) + 4 * Below(0x400) : load;
            pieces.push_back({fmt::format("s{}", i), run, load, 1 + Below(2), i > 0 && Below(8) == 0, Below(4) == 0});
            const std::uint32_t bytes = kinds == 0 && i > 0 ? 0 : 1 + Below(0x1C00);
            SaveFile(folder / (pieces.back().name + ".bin"), RandomBytes(bytes));
        }
        std::ranges::sort(pieces, {}, &Piece::runAddress);
        return pieces;
    }

    std::string Script(const std::vector<Piece>& pieces) {
        const std::uint32_t kind = Below(3);  // segments: the linker's own, ours, ours with the ELF header in the first
        std::string text = "ENTRY(at_s0)\n";
        if (kind != 0) {
            text +=
                fmt::format("PHDRS {{ p0 PT_LOAD {}; p1 PT_LOAD; p2 PT_LOAD; }}\n", kind == 2 ? "FILEHDR PHDRS" : "");
        }
        text += "SECTIONS {\n";
        std::uint32_t segment = 0;
        for (const Piece& piece : pieces) {
            // A segment is one stretch of memory: one of flash and RAM would be a file of half a gigabyte.
            segment = std::max(segment, piece.runAddress < kRam ? 0 : piece.segment);
            text += fmt::format("  .{0} 0x{1:X} {2} : AT(0x{3:X}) {{ {4} *(.{0}) {5} }} {6}\n", piece.name,
                                piece.runAddress, piece.isNoLoad ? "(NOLOAD)" : "", piece.loadAddress,
                                piece.hasGap ? "BYTE(0x5A) . = ALIGN(64);" : "", Below(2) == 0 ? ". = ALIGN(4);" : "",
                                kind == 0 ? "" : fmt::format(":p{}", segment));
        }
        return text + fmt::format("  .bss 0x20030000 (NOLOAD) : {{ *(.bss) }} {}\n", kind == 0 ? "" : ":NONE") +
               "  /DISCARD/ : { *(.ARM.attributes) }\n}\n";
    }
};

INSTANTIATE_TEST_SUITE_P(Linkers, ElfLayout, testing::Values("arm-none-eabi-ld", "ld.lld"),
                         [](const auto& row) { return row.index == 0 ? "Gnu" : "Lld"; });

TEST_P(ElfLayout, HoldsWhatObjcopyTakesOutOfIt) {
    constexpr const char* kPages[] = {"-n", "", "-z max-page-size=0x10000", "-z max-page-size=0x1000"};
    int linked = 0;
    std::string lastRefusal;
    for (int i = 0; i < kLayouts; ++i) {
        SCOPED_TRACE(i);
        const std::vector<Piece> pieces = RandomPieces();
        folder.Write("a.s", Assembly(pieces));
        folder.Write("a.ld", Script(pieces));
        const std::string command = fmt::format(
            "arm-none-eabi-as -mcpu=cortex-m3 a.s -o a.o && {} {} -T a.ld a.o -o a.elf && "
            "arm-none-eabi-objcopy -O ihex a.elf a.hex",
            GetParam(), kPages[Below(4)]);
        try {
            RunTool(command);
        } catch (const std::runtime_error& error) {
            lastRefusal = error.what();
            continue;  // not every random layout can be linked
        }
        if (std::filesystem::file_size(folder / "a.elf") > kMaxFileBytes) {
            continue;  // a linker has filled the way from flash to RAM
        }
        ++linked;

        const ProgramImage image = ReadElf(Load("a.elf"), "a.elf");

        EXPECT_EQ(image.Runs(), ReadIntelHex(Load("a.hex"), "a.hex").Runs()) << Text("a.ld");
        const SymbolTable symbols = ReadElfSymbols(Load("a.elf"), "a.elf");
        EXPECT_EQ(symbols.Find("g_zero"), 0x2003'0000u);
        EXPECT_EQ(image.entryPoint, symbols.Find("at_s0"));
    }
    EXPECT_GE(linked, kLayouts * 2 / 3) << lastRefusal;
}

}  // namespace
}  // namespace flash::host
