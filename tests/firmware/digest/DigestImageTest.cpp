// The built image on the emulated core of both generations: it answers as the logic on the workstation does, whatever
// was in SRAM and whatever the core was doing, breaks none of the chip's rules, and is as fast as is said of it.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>

#include "chip/VirtualChip.h"
#include "firmware/digest/digest.h"
#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"
#include "tests/firmware/digest/SecondDigest.h"

namespace flash {
namespace {

constexpr std::uint32_t kSramBytesAtMost = 2048;
constexpr chip::Nanoseconds kBound = std::chrono::seconds(2);

chip::Settings ChipOf(chip::Generation generation) {
    chip::Settings settings;
    settings.generation = generation;
    return settings;
}

class DigestImage : public testing::TestWithParam<chip::Generation> {
protected:
    DigestImage() : chip(ChipOf(GetParam())) {
        const std::vector<std::uint8_t> content = host::LoadFile(DIGEST_IMAGE);
        image = host::ReadElf(content, DIGEST_IMAGE);
        symbols = host::ReadElfSymbols(content, DIGEST_IMAGE);
        std::vector<std::uint8_t> flash(chip.FlashBytes());
        std::generate(flash.begin(), flash.end(), [this] { return static_cast<std::uint8_t>(random()); });
        std::fill_n(flash.begin() + chip.SectorSize(), chip.SectorSize(), std::uint8_t{0xFF});
        std::fill_n(flash.end() - 0x58, 0x58, std::uint8_t{0xFF});
        chip.PlaceInFlash(0, flash);
        std::generate_n(exchange.key, sizeof exchange.key, [this] { return static_cast<std::uint8_t>(random()); });
        std::generate_n(exchange.summaryKey, sizeof exchange.summaryKey,
                        [this] { return static_cast<std::uint8_t>(random()); });
    }

    std::uint32_t Address(const char* name) const { return symbols.Find(name).value(); }

    void Load() {
        for (const host::DataRun& run : image.Runs()) {
            chip.WriteMemory(run.address, run.bytes);
        }
    }

    // What the chip answers for these runs; `exchange` and `digests` have it.
    void Ask(const std::vector<DigestRun>& runs) {
        exchange.runCount = static_cast<std::uint32_t>(runs.size());
        std::copy(runs.begin(), runs.end(), exchange.runs);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&exchange);
        const std::size_t asked = offsetof(DigestExchange, answered);
        chip.WriteMemory(Address("g_exchange") + asked, {bytes + asked, sizeof exchange - asked});
        chip.WriteCoreRegister(chip::CoreRegister::Pc, Address("DigestISR"));
        chip.Run();
        ASSERT_TRUE(chip.PauseWhileWordIs(Address("g_exchange") + asked, 0, kBound));
        chip.Halt();
        auto* const answer = reinterpret_cast<std::uint8_t*>(&exchange);
        chip.ReadMemory(Address("g_exchange"), {answer, asked + sizeof exchange.answered});
        digests.resize(exchange.answered == kDigestRefused ? 0 : exchange.answered);
        for (std::uint32_t i = 0; i < digests.size(); ++i) {
            chip.ReadMemory(Address("g_digests") + i * static_cast<std::uint32_t>(sizeof digests[i]), digests[i]);
        }
    }

    Bytes16 Expected(std::uint32_t address, std::uint32_t length) const {
        return SecondDigest(exchange.key, address, chip.Flash().subspan(address, length));
    }
    Bytes16 ExpectedSummary() const {
        std::vector<std::uint8_t> all;
        for (const Bytes16& digest : digests) {
            all.insert(all.end(), digest.begin(), digest.end());
        }
        return SecondTag(exchange.summaryKey, all);
    }

    std::mt19937 random{7};
    chip::VirtualChip chip;
    host::ProgramImage image;
    host::SymbolTable symbols;
    DigestExchange exchange{};
    std::vector<Bytes16> digests;
};

TEST_P(DigestImage, AnswersForEverySector) {
    const std::uint32_t count = std::min<std::uint32_t>(chip.FlashBytes() / chip.SectorSize(), kDigestMaxRanges);
    Load();

    Ask({{0, chip.SectorSize(), count}});

    ASSERT_EQ(exchange.answered, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(digests[i], Expected(i * chip.SectorSize(), chip.SectorSize())) << "sector " << i;
    }
    EXPECT_EQ(std::to_array(exchange.summary), ExpectedSummary());
    EXPECT_EQ(chip.ViolationTotal(), 0u);
}

TEST_P(DigestImage, AnswersForPlacesAndLengthsOfAnyKind) {
    Load();
    for (std::uint32_t i = 0; i < 40; ++i) {
        const DigestRun runs[] = {{static_cast<std::uint32_t>(random() % 0x900), 1 + i, 1},
                                  {static_cast<std::uint32_t>(random() % 0x900), 60 + i, 2}};
        Ask({runs[0], runs[1]});

        EXPECT_EQ(digests.at(0), Expected(runs[0].address, runs[0].length));
        EXPECT_EQ(digests.at(1), Expected(runs[1].address, runs[1].length));
        EXPECT_EQ(digests.at(2), Expected(runs[1].address + runs[1].length, runs[1].length));
    }
    EXPECT_EQ(chip.ViolationTotal(), 0u);
}

TEST_P(DigestImage, DoesNotCareWhatWasInSramOrInTheCore) {
    std::vector<std::uint8_t> garbage(kSramBytesAtMost);
    std::generate(garbage.begin(), garbage.end(), [this] { return static_cast<std::uint8_t>(random()); });
    chip.WriteMemory(0x2000'0000, garbage);
    for (std::uint32_t number = 0; number < 15; ++number) {
        chip.WriteCoreRegister(static_cast<chip::CoreRegister>(number), static_cast<std::uint32_t>(random()));
    }
    Load();

    Ask({{0, 100, 3}});

    ASSERT_EQ(exchange.answered, 3u);
    EXPECT_EQ(digests[2], Expected(200, 100));
}

TEST_P(DigestImage, RefusesMoreThanFits) {
    Load();

    Ask({{0, 16, kDigestMaxRanges + 1}});

    EXPECT_EQ(exchange.answered, kDigestRefused);
}

// Before each load it travels over the link, and while it runs the link stands still.
TEST_P(DigestImage, IsSmallAndFast) {
    EXPECT_LE(image.ByteCount(), 1000u);
    EXPECT_LE(Address("g_sramUsed"), kSramBytesAtMost);
    Load();
    const std::uint64_t before = chip.GetCounters().instructions;
    Ask({{2 * chip.SectorSize(), chip.SectorSize(), 8}});
    const std::uint64_t hashing = chip.GetCounters().instructions - before;

    Ask({{chip.SectorSize(), chip.SectorSize(), 1}});
    const std::uint64_t seeingErased = chip.GetCounters().instructions - before - hashing;

    const double instructionsPerByte = static_cast<double>(hashing) / (8.0 * chip.SectorSize());
    const double instructionsPerErasedByte = static_cast<double>(seeingErased) / chip.SectorSize();
    RecordProperty("instructionsPerByte", std::to_string(instructionsPerByte));
    RecordProperty("instructionsPerErasedByte", std::to_string(instructionsPerErasedByte));
    RecordProperty("loadedBytes", static_cast<int>(image.ByteCount()));
    EXPECT_LE(instructionsPerByte, 4.6);
    EXPECT_LE(instructionsPerErasedByte, 1.3);  // with what is done once, which is most of it
}

INSTANTIATE_TEST_SUITE_P(Generations, DigestImage, testing::Values(chip::Generation::LumoD, chip::Generation::LumoF),
                         [](const auto& row) { return row.param == chip::Generation::LumoD ? "LumoD" : "LumoF"; });

}  // namespace
}  // namespace flash
