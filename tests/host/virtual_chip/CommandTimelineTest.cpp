// Commands in the virtual chip's timeline, told from who wrote what into the two blocks.
#include "host/virtual_chip/CommandTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace flash::host {
namespace {

using chip::EventKind;
using std::chrono::milliseconds;

constexpr std::uint32_t kCode = 0x2000'0000;
constexpr std::uint32_t kBlocks = 0x2000'0200;
constexpr std::uint32_t kSecondBlock = kBlocks + 24;
constexpr std::uint32_t kStatusOfSecond = kSecondBlock + 16;

class CommandTimeline : public testing::Test {
protected:
    CommandTimeline() {
        Write(kBlocks, std::vector<std::uint32_t>(12, 0));
        ShowCommands(chip, kBlocks);
    }

    void Write(std::uint32_t address, const std::vector<std::uint32_t>& words) {
        std::vector<std::uint8_t> bytes;
        for (const std::uint32_t word : words) {
            for (int i = 0; i < 4; ++i) {
                bytes.push_back(static_cast<std::uint8_t>(word >> (8 * i)));
            }
        }
        chip.WriteMemory(address, bytes);
    }

    // After a millisecond the core writes `word` there.
    void StartAnswering(std::uint32_t address, std::uint32_t word) {
        // subs r0, #1; bne back; str r2, [r1]; b .
        Write(kCode, {0xD1FD'3801, 0xE7FE'600A});
        chip.WriteCoreRegister(chip::CoreRegister::R0, 24'000);
        chip.WriteCoreRegister(chip::CoreRegister::R1, address);
        chip.WriteCoreRegister(chip::CoreRegister::R2, word);
        chip.WriteCoreRegister(chip::CoreRegister::Pc, kCode);
        chip.Run();
    }

    std::vector<chip::Event> EventsOf(EventKind kind) const {
        std::vector<chip::Event> events;
        std::ranges::copy_if(chip.Timeline(), std::back_inserter(events), [&](auto& e) { return e.kind == kind; });
        return events;
    }

    chip::VirtualChip chip{chip::Settings{}};
};

TEST_F(CommandTimeline, ShowsACommandFromItsPostingToItsStatus) {
    StartAnswering(kStatusOfSecond, 0x104);
    Write(kSecondBlock, {0x1000, 0x200, 3, 0, 0xFFFF'FFFF});
    const auto posted = chip.Now();
    chip.Pause(milliseconds(5));

    EXPECT_TRUE(EventsOf(EventKind::InFirstLane).empty());
    const std::vector<chip::Event> commands = EventsOf(EventKind::InSecondLane);
    ASSERT_EQ(commands.size(), 1U);
    EXPECT_EQ(commands[0].start, posted);
    EXPECT_GT(commands[0].end, posted);
    EXPECT_LT(commands[0].end, posted + milliseconds(2));
    EXPECT_EQ(commands[0].address, 0x1000U);
    EXPECT_EQ(commands[0].value, 0x200U);
    EXPECT_EQ(commands[0].text, "command 0x03, status 0x00000104");
}

TEST_F(CommandTimeline, ShowsNoCommandThatIsNeitherPostedNorDone) {
    const struct {
        const char* name;
        std::uint32_t posted;  // as status
        std::uint32_t answeredAt;
        std::uint32_t answer;
    } cases[] = {
        {"nothing is posted", 0, kStatusOfSecond, 0x104},
        {"the core writes another word of the block", 0xFFFF'FFFF, kStatusOfSecond - 4, 0},
        {"the core writes the other block", 0xFFFF'FFFF, kBlocks + 16, 0},
        {"the core says that it is not done", 0xFFFF'FFFF, kStatusOfSecond, 0xFFFF'FFFF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        chip.Halt();
        StartAnswering(c.answeredAt, c.answer);
        Write(kSecondBlock, {0x1000, 0x200, 3, 0, c.posted});
        chip.Pause(milliseconds(5));

        EXPECT_TRUE(EventsOf(EventKind::InFirstLane).empty());
        EXPECT_TRUE(EventsOf(EventKind::InSecondLane).empty());
    }
}

TEST_F(CommandTimeline, ShowsNothingOnceItIsEnded) {
    ShowCommands(chip, 0);
    StartAnswering(kStatusOfSecond, 0);
    Write(kSecondBlock, {0x1000, 0x200, 3, 0, 0xFFFF'FFFF});
    chip.Pause(milliseconds(5));

    EXPECT_TRUE(EventsOf(EventKind::InSecondLane).empty());
}

TEST_F(CommandTimeline, BlocksThatCannotLieThereAreRefused) {
    for (const std::uint32_t address : {0x2000'5000u - 44, 0x2000'0002u, 0x100u}) {
        try {
            ShowCommands(chip, address);
            ADD_FAILURE() << address;
        } catch (const chip::ChipError& error) {
            EXPECT_STREQ(error.what(), "Command blocks lie in SRAM, at a multiple of 4.");
        }
    }
}

}  // namespace
}  // namespace flash::host
