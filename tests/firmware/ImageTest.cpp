// What a host relies on in the built images: where they load, which symbols they have, what is loaded and what is not.
#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace flash {
namespace {

struct ImageCase {
    const char* name;
    const char* path;
    std::uint32_t sectorBytes;
    std::uint32_t sramBytes;
};

struct Symbol {
    std::uint32_t address;
    std::uint32_t size;
};

class FlashloaderImage : public testing::TestWithParam<ImageCase> {
protected:
    FlashloaderImage() {
        std::ifstream file(GetParam().path, std::ios::binary);
        content.assign(std::istreambuf_iterator<char>(file), {});
        header = At<Elf32_Ehdr>(0);
        for (Elf32_Half i = 0; i < header.e_phnum; ++i) {
            segments.push_back(At<Elf32_Phdr>(header.e_phoff + i * sizeof(Elf32_Phdr)));
        }
    }

    template <typename T>
    T At(std::size_t offset) const {
        T value{};
        if (offset + sizeof value > content.size()) {
            ADD_FAILURE() << "the file ends before offset " << offset;
            return value;
        }
        std::memcpy(&value, content.data() + offset, sizeof value);
        return value;
    }

    Elf32_Shdr Section(std::size_t index) const { return At<Elf32_Shdr>(header.e_shoff + index * sizeof(Elf32_Shdr)); }

    Symbol Find(const std::string& name) const {
        for (std::size_t i = 0; i < header.e_shnum; ++i) {
            const Elf32_Shdr table = Section(i);
            const std::size_t count = table.sh_type == SHT_SYMTAB ? table.sh_size / sizeof(Elf32_Sym) : 0;
            for (std::size_t k = 0; k < count; ++k) {
                const auto symbol = At<Elf32_Sym>(table.sh_offset + k * sizeof(Elf32_Sym));
                if (name == content.data() + Section(table.sh_link).sh_offset + symbol.st_name) {
                    return {symbol.st_value, symbol.st_size};
                }
            }
        }
        ADD_FAILURE() << "no symbol " << name;
        return {};
    }

    // The segment that loads bytes to the address, null when none does.
    const Elf32_Phdr* Loads(std::uint32_t address) const {
        const auto found = std::find_if(segments.begin(), segments.end(), [&](const Elf32_Phdr& segment) {
            return address - segment.p_paddr < segment.p_filesz;
        });
        return found == segments.end() ? nullptr : &*found;
    }

    std::vector<char> content;
    Elf32_Ehdr header;
    std::vector<Elf32_Phdr> segments;
};

TEST_P(FlashloaderImage, IsForTheCoreAndRunsFromTheStartOfSram) {
    EXPECT_EQ(header.e_machine, EM_ARM);
    EXPECT_EQ(header.e_entry, Find("ResetISR").address);
    EXPECT_EQ(header.e_entry & 1, 1u) << "Thumb code";
    ASSERT_FALSE(segments.empty());
    EXPECT_EQ(segments[0].p_paddr, 0x2000'0000u);
    for (const Elf32_Phdr& segment : segments) {
        EXPECT_EQ(segment.p_paddr, segment.p_vaddr);
        EXPECT_EQ(segment.p_filesz, segment.p_memsz) << "a host that zero-fills would wipe buffers in use";
    }
}

TEST_P(FlashloaderImage, BuffersHoldASectorAndAreNotLoaded) {
    for (const char* name : {"g_buf1", "g_buf2"}) {
        const Symbol buffer = Find(name);
        EXPECT_EQ(buffer.size, GetParam().sectorBytes);
        EXPECT_EQ(buffer.address % 4, 0u);
        EXPECT_EQ(Loads(buffer.address), nullptr);
    }
}

TEST_P(FlashloaderImage, MailboxIsLoadedAsSuccess) {
    const Symbol mailbox = Find("g_cfg");
    EXPECT_EQ(mailbox.size, 48u);
    EXPECT_EQ(Find("g_currBuf").size, 4u);

    const Elf32_Phdr* segment = Loads(mailbox.address);
    ASSERT_NE(segment, nullptr);
    for (const std::uint32_t block : {0u, 24u}) {
        EXPECT_EQ(At<std::uint32_t>(segment->p_offset + mailbox.address - segment->p_paddr + block + 16), 0u);
    }
}

TEST_P(FlashloaderImage, FitsIntoSramWithItsStack) {
    EXPECT_LE(Find("g_stackTop").address, 0x2000'0000 + GetParam().sramBytes);
    EXPECT_GT(Find("g_stackTop").address, Find("g_buf1").address);
}

TEST_P(FlashloaderImage, NamesNoFolderOfTheMachineThatBuiltIt) {
    const std::string text(content.begin(), content.end());
    EXPECT_EQ(text.find(SOURCE_FOLDER), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Images, FlashloaderImage,
                         testing::Values(ImageCase{"LumoD", LUMOD_IMAGE, 4096, 20 * 1024},
                                         ImageCase{"LumoF", LUMOF_IMAGE, 8192, 32 * 1024}),
                         [](const testing::TestParamInfo<ImageCase>& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace flash
