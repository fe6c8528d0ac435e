// Faults by name: what each text arms, and what is refused.
#include "host/virtual_chip/Faults.h"

#include <gtest/gtest.h>

#include <array>

#include "host/Failure.h"
#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

chip::VirtualChip NewChip() {
    chip::Settings settings;
    settings.generation = chip::Generation::LumoD;
    settings.sectorCount = 16;
    return chip::VirtualChip(settings);
}

// The number of the transfer that fails first; 0 when none of ten does.
int FirstFailingTransfer(chip::VirtualChip& chip) {
    std::array<std::uint8_t, 4> bytes{};
    for (int n = 1; n <= 10; ++n) {
        try {
            chip.ReadMemory(0, bytes, 4);
        } catch (const chip::ChipError&) {
            return n;
        }
    }
    return 0;
}

TEST(ArmFault, StrikesAtTheGivenTransfer) {
    struct Case {
        const char* text;
        int transfer;
    };
    const Case cases[] = {{"link-error-at-transfer", 1},
                          {"link-error-at-transfer@1", 1},
                          {"power-loss-at-transfer@3", 3},
                          {"link-error-at-transfer@0x5", 5},
                          {"operation-fails@1", 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        chip::VirtualChip chip = NewChip();

        ArmFault(chip, c.text);

        EXPECT_EQ(FirstFailingTransfer(chip), c.transfer);
    }
}

TEST(ArmFault, KnowsEveryFaultOfTheChip) {
    for (const char* kind :
         {"power-loss-before-operation", "power-loss-inside-operation", "power-loss-after-operation",
          "power-loss-at-transfer", "link-error-at-transfer", "core-stops-at-operation", "core-stops-at-transfer",
          "operation-fails", "operation-does-nothing", "early-ready", "late-ready", "stuck-busy"}) {
        chip::VirtualChip chip = NewChip();
        EXPECT_NO_THROW(ArmFault(chip, kind)) << kind;
    }
    chip::VirtualChip chip = NewChip();
    EXPECT_NO_THROW(ArmFault(chip, "bit-that-will-not-program@0xFFFF:7"));
    EXPECT_NO_THROW(ArmFault(chip, "bit-that-flips@16:0"));
}

TEST(ArmFault, RefusesWhatIsNone) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"", "\"fault\": there is no fault \"\"; known are power-loss-before-operation, "},
        {"stuckbusy@1", "there is no fault \"stuckbusy\" (did you mean stuck-busy?)"},
        {"stuck-busy@0", "\"0\" is no number from 1 on; expected stuck-busy@N"},
        {"stuck-busy@", "\"\" is no number"},
        {"stuck-busy@1:2", "\"1:2\" is no number"},
        {"bit-that-flips", "\"1\" is no bit of flash; expected bit-that-flips@ADDRESS:BIT"},
        {"bit-that-flips@0x10000:0", "with an address below 0x10000"},
        {"bit-that-flips@0:8", "a bit from 0 to 7"},
        {"bit-that-flips@0:", "is no bit of flash"},
    };
    for (const Case& c : cases) {
        chip::VirtualChip chip = NewChip();
        const std::string text = FailureOf(FailureKind::BadInput, [&] { ArmFault(chip, c.text); });
        EXPECT_NE(text.find(c.expected), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace flash::host
