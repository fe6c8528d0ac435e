// ELF executables: what they load and from which section, their symbols, and what is refused.
#include "host/files/ElfFile.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/host/files/FileTesting.h"
#include "tests/host/files/TestElf.h"
#include "tests/support/AllocationMeter.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Runs = std::vector<DataRun>;

class ReadElfInLittleMemory : public testing::Test {
protected:
    void SetUp() override {
        if (!test::AllocationMeter::kIsCounting) {
            GTEST_SKIP() << "only the address sanitizer counts";
        }
    }
};

ProgramImage Read(const TestElf& elf) { return ReadElf(elf.Bytes(), "a.elf"); }

TEST(ReadElf, LoadsTheFilesBytesAtTheirPhysicalAddress) {
    const ProgramImage image = Read(TestElf());

    EXPECT_EQ(image.Runs(), (Runs{{0x1000, {1, 2, 3, 4, 5, 6, 7, 8}}}));
    EXPECT_EQ(image.entryPoint, 0x1001u);
}

TEST(ReadElf, EachByteKnowsItsSection) {
    const ProgramImage image = Read(TestElf());

    EXPECT_EQ(*image.OriginAt(0x1003), (Origin{"a.elf", "section .text"}));
    EXPECT_EQ(*image.OriginAt(0x1004), (Origin{"a.elf", "section .data"}));
}

TEST(ReadElf, WhatALinkerPutsBetweenAndBehindSectionsIsNoProgram) {
    TestElf elf;
    elf.sections = {MakeSection(".first", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset + 1, 2),
                    MakeSection(".second", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset + 5, 2)};

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1001, {2, 3}}, {0x1005, {6, 7}}}));
}

TEST(ReadElf, SectionsThatMemoryDoesNotHoldAreNoProgram) {
    TestElf elf;
    elf.sections = {MakeSection(".text", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset, 2),
                    MakeSection(".comment", SHT_PROGBITS, 0, kTestDataOffset + 2, 2),
                    MakeSection(".bss", SHT_NOBITS, SHF_ALLOC, kTestDataOffset + 4, 2),
                    MakeSection(".empty", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset + 6, 0)};

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1000, {1, 2}}}));
}

TEST(ReadElf, ASectionThatNoSegmentLoadsStandsWhereItRuns) {
    struct Case {
        const char* name;
        std::function<void(TestElf&)> change;
    };
    const Case cases[] = {
        {"no segment at all", [](TestElf& e) { e.segments.clear(); }},
        {"bytes in front of the segment", [](TestElf& e) { e.segments[0].p_offset = kTestDataOffset + 4; }},
        {"more bytes than the segment", [](TestElf& e) { e.segments[0].p_filesz = 3; }},
        {"memory in front of the segment", [](TestElf& e) { e.segments[0].p_vaddr = 0x3001; }},
        {"memory behind the segment", [](TestElf& e) { e.segments[0].p_vaddr = 0x2FF1; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestElf elf;
        elf.segments[0].p_vaddr = 0x3000;
        elf.sections.resize(1);
        elf.sections[0].header.sh_addr = 0x3000;
        c.change(elf);

        EXPECT_EQ(Read(elf).Runs(), (Runs{{0x3000, {1, 2, 3, 4}}}));
    }
}

TEST(ReadElf, LoadAddressesThatAreAllZeroOfSeveralSegmentsAreNone) {
    TestElf elf;
    elf.segments = {MakeSegment(kTestDataOffset, 0x1000, 4), MakeSegment(kTestDataOffset + 4, 0x2000, 4)};
    elf.segments[0].p_paddr = elf.segments[1].p_paddr = 0;
    const Runs expected{{0x1000, {1, 2, 3, 4}}, {0x2000, {5, 6, 7, 8}}};

    EXPECT_EQ(Read(elf).Runs(), expected);
    elf.hasSectionHeaders = false;
    EXPECT_EQ(Read(elf).Runs(), expected);
}

TEST(ReadElf, OfOneSegmentALoadAddressOfZeroIsOne) {
    TestElf elf;
    elf.segments[0].p_paddr = 0;

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0, {1, 2, 3, 4, 5, 6, 7, 8}}}));
}

TEST(ReadElf, OnlyLoadableSegmentsWithBytesInTheFileCount) {
    TestElf elf;
    elf.segments.push_back(MakeSegment(kTestDataOffset, 0x5000, 0));  // only .bss
    elf.segments.push_back(MakeSegment(0xFFFF'0000, 0x6000, 0));      // no bytes: the offset means nothing
    elf.segments.push_back(MakeSegment(kTestDataOffset, 0x7000, 4));
    elf.segments.back().p_type = PT_NOTE;

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1000, {1, 2, 3, 4, 5, 6, 7, 8}}}));
}

TEST(ReadElf, AnElfHeaderInFrontOfTheFirstSectionIsNoProgram) {
    TestElf elf;
    elf.segments = {MakeSegment(0, 0x1000, kTestDataOffset + 8)};

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1000 + kTestDataOffset, {1, 2, 3, 4, 5, 6, 7, 8}}}));
}

// One linker leaves it so when sections of one kind descend in memory.
TEST(ReadElf, ASegmentOfASizeBelowZeroLoadsItsSectionsAllTheSame) {
    TestElf elf;
    elf.segments[0].p_filesz = elf.segments[0].p_memsz = 0xFFFF'FFC0;

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1000, {1, 2, 3, 4, 5, 6, 7, 8}}}));

    elf.sections[1].header.sh_addr -= 0x100;
    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1000, {1, 2, 3, 4}}, {elf.sections[1].header.sh_addr, {5, 6, 7, 8}}}))
        << "what is not in step with the segment is not in it";
}

TEST(ReadElf, SegmentsThatAgreeMayShareBytesOfTheFile) {
    TestElf elf;
    elf.segments.push_back(elf.segments[0]);

    EXPECT_EQ(Read(elf).Runs(), (Runs{{0x1000, {1, 2, 3, 4, 5, 6, 7, 8}}}));
}

TEST(ReadElf, WithoutSectionsTheWholeSegmentIsProgram) {
    TestElf elf;
    elf.hasSectionHeaders = false;

    const ProgramImage image = Read(elf);

    EXPECT_EQ(image.Runs(), (Runs{{0x1000, {1, 2, 3, 4, 5, 6, 7, 8}}}));
    EXPECT_EQ(image.OriginAt(0x1000)->place, "program header 0");
}

TEST(ReadElf, AnEntryOfZeroMeansNone) {
    TestElf elf;
    elf.header.e_entry = 0;

    EXPECT_FALSE(Read(elf).entryPoint.has_value());
}

TEST(ReadElf, AFileWithoutSegmentsAndSectionsHoldsNothing) {
    TestElf elf;
    elf.segments.clear();
    elf.hasSectionHeaders = false;

    EXPECT_TRUE(Read(elf).IsEmpty());
}

TEST(ReadElf, RefusesWhatIsNoSoundExecutableForTheChip) {
    struct Case {
        const char* name;
        std::function<void(TestElf&)> change;
        const char* error;
    };
    const Case cases[] = {
        {"wrong mark", [](TestElf& e) { e.header.e_ident[3] = 'G'; },
         "a.elf: the file does not start with the ELF mark (7F 45 4C 46)"},
        {"64 bits", [](TestElf& e) { e.header.e_ident[EI_CLASS] = ELFCLASS64; },
         "a.elf: ELF of class 2, expected 1 (32-bit)"},
        {"big-endian", [](TestElf& e) { e.header.e_ident[EI_DATA] = ELFDATA2MSB; },
         "a.elf: ELF of data encoding 2, expected 1 (little-endian)"},
        {"unknown version", [](TestElf& e) { e.header.e_ident[EI_VERSION] = 9; },
         "a.elf: ELF of version 9, expected 1"},
        {"other machine", [](TestElf& e) { e.header.e_machine = EM_386; },
         "a.elf: ELF for machine 3, expected 40 (ARM)"},
        {"object file", [](TestElf& e) { e.header.e_type = ET_REL; },
         "a.elf: ELF of type 1, expected 2 (a linked executable)"},
        {"program headers of another size", [](TestElf& e) { e.header.e_phentsize = 56; },
         "a.elf: program headers of 56 bytes, expected 32"},
        {"section headers of another size", [](TestElf& e) { e.header.e_shentsize = 64; },
         "a.elf: section headers of 64 bytes, expected 40"},
        {"program headers outside the file", [](TestElf& e) { e.header.e_phoff = 0x10000; },
         "a.elf: 1 program header at offset 0x10000 ends outside the file of 580 bytes: it is truncated"},
        {"section headers outside the file", [](TestElf& e) { e.header.e_shoff = 0xFFFF'FFF0; },
         "a.elf: 6 section headers at offset 0xFFFFFFF0 end outside the file of 580 bytes: it is truncated"},
        {"segment outside the file", [](TestElf& e) { e.segments[0].p_offset = 0xFFFF'FFFF; },
         "a.elf, program header 0: 8 bytes at offset 0xFFFFFFFF for address 0x00001000 end outside the file: it is "
         "truncated"},
        {"more file than memory", [](TestElf& e) { e.segments[0].p_memsz = 7; },
         "a.elf, program header 0: 8 bytes of file for 7 bytes of memory at address 0x00001000"},
        {"past the address space", [](TestElf& e) { e.segments[0].p_paddr = 0xFFFF'FFFE; },
         "a.elf, section .text: 4 bytes at 0xFFFFFFFE run past the end of the 32-bit address space"},
        {"section past the address space", [](TestElf& e) { e.segments[0].p_paddr = 0xFFFF'FFFC; },
         "a.elf, section .data: address 0x100000000 is outside the 32-bit address space"},
        {"overlapping segments",
         [](TestElf& e) {
             e.data.resize(12);
             e.segments.push_back(MakeSegment(kTestDataOffset + 8, 0x1007, 4));
             e.sections.push_back(MakeSection(".more", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset + 8, 4));
             e.sections.back().header.sh_addr = 0x1007;
         },
         "a.elf, section .more: data at 0x00001007-0x0000100A overlaps that of a.elf, section .data at "
         "0x00001004-0x00001007, first at 0x00001007"},
        {"a section in two segments that disagree",
         [](TestElf& e) {
             e.segments.push_back(e.segments[0]);
             e.segments[1].p_paddr = 0x5000;
         },
         "a.elf, section .text: program header 0 loads it at 0x00001000, 1 at 0x00005000"},
        {"a byte of the file in two segments, without sections",
         [](TestElf& e) {
             e.hasSectionHeaders = false;
             e.segments.push_back(MakeSegment(kTestDataOffset + 7, 0x5000, 1));
         },
         "a.elf, program header 1: the byte at offset 0x107 is loaded by program header 0, too"},
        {"a byte of the file in two sections",
         [](TestElf& e) { e.sections.push_back(MakeSection(".too", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset + 7, 1)); },
         "a.elf, section .too: the byte at offset 0x107 belongs to section .data, too"},
        {"section outside the file", [](TestElf& e) { e.sections[1].header.sh_size = 0xFFFF'FFFF; },
         "a.elf, section .data: 4294967295 bytes at offset 0x104 end outside the file: it is truncated"},
        {"one byte outside the file, of a section whose name moves the cursor",
         [](TestElf& e) { e.sections.push_back(MakeSection(".\x1B[2Jx", SHT_PROGBITS, SHF_ALLOC, 0x10000, 1)); },
         "a.elf, section .\\x1B[2Jx: 1 byte at offset 0x10000 ends outside the file: it is truncated"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestElf elf;
        c.change(elf);

        EXPECT_EQ(ErrorOf([&] { Read(elf); }), c.error);
    }
}

// Files that ask for the work of thousands. Linear work takes a few copies of each byte.
constexpr std::size_t kMostMemoryPerByte = 40;
constexpr std::size_t kMany = 2000;
const std::string kVeryLongName(40'000, 'n');

ProgramImage ReadFrugally(const TestElf& elf) {
    const Bytes file = elf.Bytes();
    const test::AllocationMeter meter;
    const auto expectLittle = [&] { EXPECT_LT(meter.Bytes(), kMostMemoryPerByte * file.size()); };
    try {
        ProgramImage image = ReadElf(file, "a.elf");
        expectLittle();
        return image;
    } catch (...) {
        expectLittle();
        throw;
    }
}

// Each byte of the data in a segment of its own, and in a section of that name.
TestElf WithManySections(const std::string& name) {
    TestElf elf;
    elf.data.assign(kMany, 1);
    elf.segments.clear();
    elf.sections.clear();
    for (std::uint32_t i = 0; i < kMany; ++i) {
        elf.segments.push_back(MakeSegment(kTestDataOffset + i, 2 * i, 1));
        elf.sections.push_back(MakeSection(name, SHT_PROGBITS, SHF_ALLOC, kTestDataOffset + i, 1));
    }
    return elf;
}

TEST_F(ReadElfInLittleMemory, ManySegmentsOfTheSameBytesAreRefusedBeforeTheyAreCopied) {
    TestElf elf;
    elf.data.assign(0x10000, 1);
    elf.hasSectionHeaders = false;
    elf.segments.clear();
    for (std::uint32_t i = 0; i < kMany; ++i) {
        elf.segments.push_back(MakeSegment(kTestDataOffset, 0x10000 * i, 0x10000));
    }

    EXPECT_EQ(ErrorOf([&] { ReadFrugally(elf); }),
              "a.elf, program header 1: the byte at offset 0x100 is loaded by program header 0, too");
}

TEST_F(ReadElfInLittleMemory, ManySectionsOfTheSameBytesAreRefusedBeforeTheyAreCopied) {
    TestElf elf;
    elf.data.assign(0x10000, 1);
    elf.segments.clear();
    elf.sections.clear();
    for (std::uint32_t i = 0; i < kMany; ++i) {
        elf.sections.push_back(MakeSection(".one", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset, 0x10000));
        elf.sections.back().header.sh_addr = 0x10000 * i;
    }

    EXPECT_EQ(ErrorOf([&] { ReadFrugally(elf); }),
              "a.elf, section .one: the byte at offset 0x100 belongs to section .one, too");
}

TEST_F(ReadElfInLittleMemory, MoreSegmentsThanSectionsAreLookedForInAreRefused) {
    TestElf elf = WithManySections(".one");
    elf.segments.resize(4097, MakeSegment(kTestDataOffset, 0, 1));

    EXPECT_EQ(ErrorOf([&] { ReadFrugally(elf); }),
              "a.elf, program header 4096: 4097 program headers load something, and at most 4096 are read");
}

TEST_F(ReadElfInLittleMemory, ManySectionsFindTheirSegmentsAmongMany) {
    const ProgramImage image = ReadFrugally(WithManySections(".one"));

    EXPECT_EQ(image.ByteCount(), kMany);
    EXPECT_EQ(image.OriginAt(2 * kMany - 2)->place, "section .one");
}

TEST_F(ReadElfInLittleMemory, OfAVeryLongSectionNameTheFirstHundredBytesAreKept) {
    const ProgramImage image = ReadFrugally(WithManySections(kVeryLongName));

    EXPECT_TRUE(image.OriginAt(0)->place == "section " + kVeryLongName.substr(0, 100));
}

TEST_F(ReadElfInLittleMemory, HeadersThatTheFileHasNoRoomForTakeNoMemory) {
    TestElf elf;
    elf.header.e_phnum = 0xFFFE;
    elf.header.e_shnum = 0xFEFF;

    EXPECT_EQ(ErrorOf([&] { ReadFrugally(elf); }),
              "a.elf: 65534 program headers at offset 0x34 end outside the file of 580 bytes: it is truncated");
}

TEST(ReadElf, ASectionWithoutANameIsNamedByItsNumber) {
    TestElf elf;
    elf.sections[0].name.clear();
    elf.sections[1].name.clear();

    EXPECT_EQ(Read(elf).OriginAt(0x1004)->place, "section number 2");
}

TEST(ReadElf, AFileCutAnywhereIsRefused) {
    const Bytes whole = TestElf().Bytes();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_NE(ErrorOf([&] { ReadElf(std::span(whole).first(length), "a.elf"); }), "");
    }
}

TEST(ReadElf, LooksIntoTheHeaderAloneForAShortFile) {
    const Bytes whole = TestElf().Bytes();

    EXPECT_EQ(ErrorOf([&] { ReadElf(std::span(whole).first(3), "a.elf"); }),
              "a.elf: the file does not start with the ELF mark (7F 45 4C 46)");
    EXPECT_EQ(ErrorOf([&] { ReadElf(std::span(whole).first(51), "a.elf"); }),
              "a.elf: the file has 51 bytes, the ELF header alone 52: it is truncated");
}

TEST(ReadElfSymbols, GivesTheAddressesOfTheFile) {
    TestElf elf;
    elf.symbols.push_back({"g_cfg", 0x2000'0004, STB_GLOBAL, STT_OBJECT, 2});
    elf.symbols.push_back({"_stack_top", 0x2000'5000, STB_GLOBAL, STT_NOTYPE, SHN_ABS});

    const SymbolTable symbols = ReadElfSymbols(elf.Bytes(), "a.elf");

    EXPECT_EQ(symbols.Size(), 3u);
    EXPECT_EQ(symbols.Find("ResetISR"), 0x1001u) << "with the Thumb bit";
    EXPECT_EQ(symbols.Find("g_cfg"), 0x2000'0004u);
    EXPECT_EQ(symbols.Find("_stack_top"), 0x2000'5000u);
    EXPECT_EQ(symbols.Find("g_cf"), std::nullopt);
    EXPECT_EQ(symbols.Find(""), std::nullopt);
}

TEST(ReadElfSymbols, LeavesOutWhatIsNoPlaceInTheProgram) {
    TestElf elf;
    elf.symbols = {{"missing", 0, STB_GLOBAL, STT_NOTYPE, SHN_UNDEF},
                   {"main.c", 0, STB_LOCAL, STT_FILE, SHN_ABS},
                   {"", 0x1000, STB_LOCAL, STT_SECTION, 1},
                   {"", 0x1000, STB_LOCAL, STT_NOTYPE, 1}};

    EXPECT_EQ(ReadElfSymbols(elf.Bytes(), "a.elf").Size(), 0u);
}

TEST(ReadElfSymbols, OfOneNameTheStrongestCountsThenTheFirst) {
    TestElf elf;
    elf.symbols = {{"a", 1, STB_LOCAL, STT_OBJECT, 2},  {"a", 2, STB_WEAK, STT_OBJECT, 2},
                   {"a", 3, STB_GLOBAL, STT_OBJECT, 2}, {"a", 4, STB_GLOBAL, STT_OBJECT, 2},
                   {"b", 5, STB_LOCAL, STT_OBJECT, 2},  {"b", 6, STB_LOCAL, STT_OBJECT, 2}};

    const SymbolTable symbols = ReadElfSymbols(elf.Bytes(), "a.elf");

    EXPECT_EQ(symbols.Find("a"), 3u);
    EXPECT_EQ(symbols.Find("b"), 5u);
}

TEST_F(ReadElfInLittleMemory, ManySymbolsOfOneVeryLongNameTakeMemoryInProportionToTheFile) {
    TestElf elf;
    for (std::uint32_t i = 0; i < kMany; ++i) {
        elf.symbols.push_back({kVeryLongName, i, STB_GLOBAL, STT_OBJECT, 2});
    }
    const Bytes file = elf.Bytes();

    const test::AllocationMeter meter;
    const SymbolTable symbols = ReadElfSymbols(file, "a.elf");

    EXPECT_LT(meter.Bytes(), kMostMemoryPerByte * file.size());
    EXPECT_EQ(symbols.Find(kVeryLongName), 0u);
    EXPECT_EQ(symbols.Find(kVeryLongName.substr(1)), std::nullopt);
}

TEST(ReadElfSymbols, ANameWithoutAnEndIsNone) {
    Bytes file = TestElf().Bytes();
    constexpr std::size_t kNameOfSymbol = kTestDataOffset + 8 + sizeof(Elf32_Sym);  // behind the data and symbol 0
    constexpr std::size_t kTexts = kTestDataOffset + 8 + 2 * sizeof(Elf32_Sym);
    const std::size_t last = file.size() - 6 * sizeof(Elf32_Shdr) - 1;
    file[kNameOfSymbol] = static_cast<std::uint8_t>(last - kTexts);
    file[last] = 'x';

    EXPECT_EQ(ReadElfSymbols(file, "a.elf").Size(), 0u);
}

TEST(ReadElfSymbols, ASecondTableIsRefused) {
    TestElf elf;
    elf.sections.push_back(MakeSection(".symbols", SHT_SYMTAB, 0, 0, 0));

    EXPECT_EQ(ErrorOf([&] { ReadElfSymbols(elf.Bytes(), "a.elf"); }),
              "a.elf, section .symtab: this is a second symbol table, expected at most one");
}

TEST(ReadElfSymbols, AStrippedFileHasNone) {
    TestElf elf;
    elf.hasSectionHeaders = false;

    EXPECT_EQ(ReadElfSymbols(elf.Bytes(), "a.elf").Size(), 0u);
}

TEST(ReadElfSymbols, ATableThatIsCutOffIsRefused) {
    TestElf elf;
    elf.sections.push_back(MakeSection(".symtab", SHT_SYMTAB, 0, 0x8000, 16));

    EXPECT_EQ(ErrorOf([&] { ReadElfSymbols(elf.Bytes(), "a.elf"); }),
              "a.elf, section .symtab: symbols of 16 bytes at offset 0x8000 are cut off or no whole number of entries");
}

}  // namespace
}  // namespace flash::host
