// The two generations, and settings that make no chip.
#include "chip/Geometry.h"

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

TEST(Geometry, GenerationsHaveTheirSizes) {
    const struct {
        const char* name;
        Generation generation;
        std::uint8_t code;
        std::uint32_t flashBytes, sectorSize, ramBytes;
    } cases[] = {
        {"LumoD, code 0", Generation::LumoD, 0, 0x2'0000, 0x1000, 0x1000},
        {"LumoD, code 1", Generation::LumoD, 1, 0x2'0000, 0x1000, 0x2800},
        {"LumoD, code 2", Generation::LumoD, 2, 0x2'0000, 0x1000, 0x4000},
        {"LumoD, code 3", Generation::LumoD, 3, 0x2'0000, 0x1000, 0x5000},
        {"LumoF, code 0", Generation::LumoF, 0, 0x5'8000, 0x2000, 0x8000},
        {"LumoF, code 1", Generation::LumoF, 1, 0x5'8000, 0x2000, 0xC000},
        {"LumoF, code 2", Generation::LumoF, 2, 0x5'8000, 0x2000, 0x1'0000},
        {"LumoF, code 3", Generation::LumoF, 3, 0x5'8000, 0x2000, 0x1'4000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Settings settings;
        settings.generation = c.generation;
        settings.ramSizeCode = c.code;
        const VirtualChip chip(settings);
        EXPECT_EQ(chip.FlashBytes(), c.flashBytes);
        EXPECT_EQ(chip.SectorSize(), c.sectorSize);
        EXPECT_EQ(chip.RamBytes(), c.ramBytes);
        EXPECT_EQ(chip.GetSettings().sectorCount, c.flashBytes / c.sectorSize);
    }
}

TEST(Geometry, TheLargestFlashIsThere) {
    Settings settings;
    settings.generation = Generation::LumoF;
    settings.sectorCount = 255;
    VirtualChip chip(settings);

    EXPECT_EQ(chip.ReadWord(kSizeRegister), 255U);
    EXPECT_EQ(chip.ReadWord(254 * 8192 + 8188), 0xFFFF'FFFFU);
}

TEST(Geometry, FlashBeginsAsGiven) {
    Settings settings;
    settings.initialFlash = {1, 2, 3};
    const VirtualChip chip(settings);

    EXPECT_EQ(chip.PeekWord(0), 0xFF03'0201U);
    EXPECT_TRUE(chip.GetSettings().initialFlash.empty());
}

TEST(Geometry, ImpossibleSettingsAreRefused) {
    using Change = void (*)(Settings&);
    const struct {
        const char* name;
        Change change;
    } cases[] = {
        {"too many sectors", [](Settings& s) { s.sectorCount = 256; }},
        {"RAM size code", [](Settings& s) { s.ramSizeCode = 4; }},
        {"odd RAM", [](Settings& s) { s.ramBytes = 0x1002; }},
        {"huge RAM", [](Settings& s) { s.ramBytes = 0x10'0004; }},
        {"generation", [](Settings& s) { s.generation = static_cast<Generation>(7); }},
        {"too much content", [](Settings& s) { s.initialFlash.resize(0x2'0001); }},
        {"no clock", [](Settings& s) { s.timing.coreClockHz = 0; }},
        {"too fast", [](Settings& s) { s.timing.coreClockHz = 1'000'000'001; }},
        {"no link", [](Settings& s) { s.timing.linkBytesPerSecond = 0; }},
        {"negative latency", [](Settings& s) { s.timing.linkLatency = Nanoseconds(-1); }},
        {"no erase time", [](Settings& s) { s.timing.sectorErase = Nanoseconds(0); }},
        {"no program time", [](Settings& s) { s.timing.wordProgram = Nanoseconds(0); }},
        {"endless bank erase", [](Settings& s) { s.timing.bankErase = Nanoseconds::max(); }},
        {"no stall", [](Settings& s) { s.timing.busyStall = Nanoseconds(0); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Settings settings;
        c.change(settings);
        EXPECT_THROW(VirtualChip{settings}, ChipError);
    }
}

}  // namespace
}  // namespace flash::chip
