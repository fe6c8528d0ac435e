// Program loads by each erase setting, with and without the check on the target.
#include <gmock/gmock.h>

#include "ChipOnBench.h"
#include "tests/support/EraseSettings.h"

namespace flash::test {
namespace {

using testing::IsEmpty;

constexpr char kAllSectors[] = "All Unprotected Sectors (Bank Erase)";

class ProgramLoad : public BothGenerations {};
FOR_BOTH_GENERATIONS(ProgramLoad);

// Flash with an old program in sectors 1 to 5, into which a new one is loaded: from inside sector 2 to inside sector 3.
class OldProgram {
public:
    OldProgram(const ChipModel& model, bool checksOnTarget) : bench(model), size(bench.chip.SectorSize()) {
        bench.chip.PlaceInFlash(size, old);
        bench.Property("CrcVerify") = checksOnTarget ? "1" : "0";
    }

    // What flash should hold from sector 1 to sector 5: the old program, in which `erased` sectors (of 1 to 5) are
    // blank, and the new one.
    Bytes Expected(const std::vector<std::uint32_t>& erased) const {
        Bytes expected = old;
        for (const std::uint32_t sector : erased) {
            std::fill_n(expected.begin() + (sector - 1) * size, size, std::uint8_t{0xFF});
        }
        std::copy(data.begin(), data.end(), expected.begin() + (start - size));
        return expected;
    }
    Bytes Found() const { return bench.FlashAt(size, old.size()); }

    ChipOnBench bench;
    std::uint32_t size;
    Bytes old = Pattern(5 * std::size_t{size}, 1);
    std::uint32_t start = 2 * size + 0x102;
    Bytes data = Pattern(size + 0x301, 2);
};

TEST_P(ProgramLoad, EachEraseSettingErasesWhatItSays) {
    const struct {
        const char* name;
        const char* setting;
        std::vector<std::uint32_t> erased;
        std::uint64_t sectorErases;
        std::uint64_t bankErases;
    } cases[] = {
        {"necessary sectors", kNecessary, {2, 3}, 2, 0},
        {"necessary sectors, retain", kRetain, {}, 3, 0},  // each of the two chunks rewrites sector 3
        {"all sectors", kAllSectors, {1, 2, 3, 4, 5}, Model().reference.sectorCount, 1},
        {"specific sectors", kSpecific, {2, 3, 5}, 3, 0},
    };
    for (const auto& c : cases) {
        for (const bool checksOnTarget : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (checksOnTarget ? ", checked" : ""));
            OldProgram program(Model(), checksOnTarget);
            program.bench.Property("FlashEraseSetting") = c.setting;
            program.bench.Property("ProgramLoadEraseSpecificText") = "2-3,5";

            EXPECT_EQ(program.bench.Load({{program.start, program.data}}), "");

            EXPECT_EQ(program.Found(), program.Expected(c.erased));
            EXPECT_EQ(program.bench.SectorErases(), c.sectorErases);
            EXPECT_EQ(program.bench.chip.GetCounters().bankErases, c.bankErases);
            EXPECT_EQ(program.bench.chip.ViolationTotal(), 0U);
            EXPECT_THAT(program.bench.host.errors, IsEmpty());
        }
    }
}

TEST_P(ProgramLoad, WithoutErasingOnlyWordsAreProgrammed) {
    ChipOnBench bench(Model());
    const Bytes data = Pattern(2 * bench.chip.SectorSize(), 3);
    bench.Property("FlashEraseSetting") = kNoErase;

    EXPECT_EQ(bench.Load({{0x1234, data}}), "");

    EXPECT_EQ(bench.FlashAt(0x1234, data.size()), data);
    EXPECT_EQ(bench.SectorErases(), 0U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(ProgramLoad, WordsOfAllOnesAreNotProgrammed) {
    ChipOnBench bench(Model());
    Bytes data = Pattern(bench.chip.SectorSize(), 3);
    for (const std::size_t first : {std::size_t{0}, std::size_t{400}, std::size_t{404}, data.size() - 4}) {
        std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(first), 4, std::uint8_t{0xFF});
    }

    EXPECT_EQ(bench.Load({{0, data}, {bench.SectorAddress(1), Bytes(data.size(), 0xFF)}}), "");

    EXPECT_EQ(bench.FlashAt(0, data.size()), data);
    EXPECT_EQ(bench.chip.GetCounters().wordsProgrammed, data.size() / 4 - 4);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(ProgramLoad, ProgrammingOverAnOldProgramWithoutErasingIsReported) {
    OldProgram program(Model(), false);
    program.bench.Property("FlashEraseSetting") = kNoErase;

    EXPECT_EQ(program.bench.Load({{program.start, program.data}}),
              "Timed out waiting for target flashloader to execute command.");

    EXPECT_EQ(program.bench.host.BlockStatus(0), 0x0004'0103U);
    EXPECT_GE(program.bench.chip.Count(chip::Violation::ProgramSetsBit), 1U);
}

TEST_P(ProgramLoad, UnalignedAndRepeatedWritesIntoOneSectorKeepAllData) {
    ChipOnBench bench(Model());
    const std::uint32_t size = bench.chip.SectorSize();
    bench.chip.PlaceInFlash(size, Pattern(size, 9));
    const std::vector<Segment> segments = {
        {size + 0x001, Pattern(5, 1)},     {size + 0x800, Pattern(0x123, 2)}, {size + 0x006, Pattern(1, 3)},
        {size + 0x007, Pattern(0x200, 4)}, {size + 0x800, Pattern(0x123, 2)},  // the same once more
        {size + 0x923, Pattern(2, 5)},     {size + 0xFFF, Pattern(1, 6)},     {size + 0x000, Pattern(1, 7)},
    };

    EXPECT_EQ(bench.Load(segments), "");

    Bytes expected(size, 0xFF);
    for (const Segment& segment : segments) {
        std::copy(segment.data.begin(), segment.data.end(), expected.begin() + (segment.address - size));
    }
    EXPECT_EQ(bench.FlashAt(size, size), expected);
    EXPECT_EQ(bench.chip.GetCounters().sectorErases[1], 1U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(ProgramLoad, ASecondLoadErasesAgain) {
    ChipOnBench bench(Model());
    const Bytes first = Pattern(0x100, 1);
    const Bytes second = Pattern(0x100, 2);

    EXPECT_EQ(bench.Load({{0, first}}), "");
    EXPECT_EQ(bench.Load({{0, second}}), "");

    EXPECT_EQ(bench.FlashAt(0, second.size()), second);
    EXPECT_EQ(bench.chip.GetCounters().sectorErases[0], 2U);
}

TEST_P(ProgramLoad, PagesThatAreSkippedStayAsTheyAre) {
    OldProgram program(Model(), true);
    program.bench.Property("FlashPageToggle") = "1";
    program.bench.Property("FlashPages") = "2";

    EXPECT_EQ(program.bench.Load({{program.start, program.data}}), "");

    const std::uint32_t kept = 3 * program.size;  // where sector 3 begins
    EXPECT_EQ(program.bench.FlashAt(program.start, kept - program.start),
              Bytes(program.old.begin() + (program.start - program.size), program.old.begin() + (kept - program.size)));
    EXPECT_EQ(program.bench.FlashAt(kept, 0x403), Bytes(program.data.end() - 0x403, program.data.end()));
}

TEST_P(ProgramLoad, TheDeviceDescribesTheChip) {
    ChipOnBench bench(Model());

    EXPECT_EQ(bench.Property("DeviceInfoFlashSize"),
              &Model() == &kLumoF ? "352 KB (44 sectors)" : "128 KB (32 sectors)");
    EXPECT_EQ(bench.Property("DeviceInfoRAMSize"), Model().ramSizeText);
    EXPECT_EQ(bench.Property("DeviceInfoRevision"), "RevB (2.0)");
}

}  // namespace
}  // namespace flash::test
