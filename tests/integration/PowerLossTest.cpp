// Power is lost before, inside and after each flash operation of a load; a second load makes everything good.
#include <gmock/gmock.h>

#include "ChipOnBench.h"

namespace flash::test {
namespace {

class PowerLoss : public BothGenerations {
protected:
    // A small load over an old program: the end of one sector and the start of the next.
    struct Situation {
        Situation(const ChipModel& model, const std::string& eraseSetting)
            : bench(model), start(bench.SectorAddress(2) - 10) {
            bench.chip.PlaceInFlash(bench.SectorAddress(1), Pattern(2 * bench.chip.SectorSize(), 9));
            bench.Property("FlashEraseSetting") = eraseSetting;
            bench.Property("CrcVerify") = "1";
        }
        std::string Load() { return bench.Load({{start, data}}); }

        ChipOnBench bench;
        std::uint32_t start;
        Bytes data = Pattern(23, 2);
    };

    void LosePowerAtEachOperation(chip::Fault fault, const std::string& eraseSetting) {
        Situation counting(Model(), eraseSetting);
        ASSERT_EQ(counting.Load(), "");
        const std::uint64_t operations = counting.bench.chip.GetCounters().flashOperations;
        ASSERT_GE(operations, 6U);
        for (std::uint64_t n = 1; n <= operations; ++n) {
            SCOPED_TRACE("operation " + std::to_string(n));
            Situation situation(Model(), eraseSetting);
            situation.bench.chip.Arm(fault, n);

            const std::string error = situation.Load();
            EXPECT_THAT(error, testing::HasSubstr("power"));
            EXPECT_FALSE(situation.bench.chip.IsPowered());
            situation.bench.chip.PowerOn();

            EXPECT_EQ(situation.Load(), "");
            EXPECT_EQ(situation.bench.FlashAt(situation.start, situation.data.size()), situation.data);
            EXPECT_EQ(situation.bench.chip.ViolationTotal(), 0U);
        }
    }
    void LosePowerInEachWay(const std::string& eraseSetting) {
        for (const chip::Fault fault : {chip::Fault::PowerLossBeforeOperation, chip::Fault::PowerLossInsideOperation,
                                        chip::Fault::PowerLossAfterOperation}) {
            SCOPED_TRACE(Name(fault));
            LosePowerAtEachOperation(fault, eraseSetting);
        }
    }
};
FOR_BOTH_GENERATIONS(PowerLoss);

TEST_P(PowerLoss, ASecondLoadIsCleanWithTheNecessarySectorsErased) { LosePowerInEachWay("Necessary Sectors Only"); }

TEST_P(PowerLoss, ASecondLoadIsCleanWithAllSectorsErased) {
    LosePowerInEachWay("All Unprotected Sectors (Bank Erase)");
}

}  // namespace
}  // namespace flash::test
