// What goes wrong on the way or on the chip, and how it reaches the user.
#include <gmock/gmock.h>

#include "ChipOnBench.h"

namespace flash::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";

class Failure : public BothGenerations {};
FOR_BOTH_GENERATIONS(Failure);

TEST_P(Failure, ABufferThatIsDamagedOnItsWayIsCaughtBeforeFlashIsTouched) {
    ChipOnBench bench(Model());
    const std::uint32_t size = bench.chip.SectorSize();
    const Bytes old = Pattern(size, 1);
    const Bytes data = Pattern(2 * std::size_t{size}, 2);
    bench.chip.PlaceInFlash(size, old);
    bench.Property("CrcVerify") = "1";
    bench.host.tamper = [&](std::uint32_t address, Bytes& bytes) {
        if (address == bench.host.Symbol("g_buf2")) {
            bytes.at(100) ^= 0x10;
        }
    };

    EXPECT_EQ(bench.Load({{0, data}}), kTimedOut);

    EXPECT_EQ(bench.host.BlockStatus(0), 0U);
    EXPECT_EQ(bench.host.BlockStatus(1), 0x106U);
    EXPECT_EQ(bench.host.BlockAddressField(1), size);
    EXPECT_EQ(bench.FlashAt(0, size), Bytes(data.begin(), data.begin() + size));
    EXPECT_EQ(bench.FlashAt(size, size), old);
}

TEST_P(Failure, WithoutTheCheckADamagedBufferGoesUnnoticed) {
    ChipOnBench bench(Model());
    const Bytes data = Pattern(256, 2);
    bench.host.tamper = [&](std::uint32_t address, Bytes& bytes) {
        if (address == bench.host.Symbol("g_buf1")) {
            bytes.at(100) ^= 0x10;
        }
    };

    EXPECT_EQ(bench.Load({{0, data}}), "");

    EXPECT_NE(bench.FlashAt(0, data.size()), data);
}

TEST_P(Failure, AnEraseThatFailsNamesItsSector) {
    ChipOnBench bench(Model());
    bench.chip.PlaceInFlash(bench.SectorAddress(3), Pattern(16, 1));
    bench.chip.Arm(chip::Fault::OperationFails);

    EXPECT_EQ(bench.Load({{bench.SectorAddress(3), Pattern(64, 2)}}), kTimedOut);

    EXPECT_EQ(bench.host.BlockStatus(0), 0x0304'0102U);
}

TEST_P(Failure, NoWordIsStartedBehindOneThatFails) {
    constexpr std::uint32_t kErases = 1;
    for (const std::uint32_t failing : {1U, 2U, 10U, 1023U, 1024U}) {
        SCOPED_TRACE(testing::Message() << "word " << failing);
        ChipOnBench bench(Model());
        const std::uint32_t size = bench.chip.SectorSize();
        const Bytes data = Pattern(size, 1);
        bench.chip.PlaceInFlash(0, Bytes(size, 0x00));
        bench.chip.Arm(chip::Fault::OperationFails, kErases + failing);

        EXPECT_EQ(bench.Load({{0, data}}), kTimedOut);

        EXPECT_EQ(bench.host.BlockStatus(0), 0x0004'0103U);
        EXPECT_EQ(bench.chip.GetCounters().flashOperations, kErases + failing);
        const std::uint32_t at = 4 * (failing - 1);
        EXPECT_EQ(bench.FlashAt(0, at), Bytes(data.begin(), data.begin() + at));
        EXPECT_EQ(bench.FlashAt(at + 4, size - at - 4), Bytes(size - at - 4, 0xFF));
        EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
    }
}

TEST_P(Failure, ABitThatWillNotProgramIsReported) {
    ChipOnBench bench(Model());
    bench.chip.ArmBitThatWillNotProgram(0x21, 4);

    EXPECT_EQ(bench.Load({{0, Bytes(64, 0x00)}}), kTimedOut);

    EXPECT_EQ(bench.host.BlockStatus(0), 0x0004'0103U);
    EXPECT_EQ(bench.FlashAt(0x20, 4), (Bytes{0x00, 0x10, 0x00, 0x00}));
}

TEST_P(Failure, AStuckControllerIsReportedBeforeTheHostGivesUp) {
    ChipOnBench bench(Model());
    bench.chip.PlaceInFlash(0, Pattern(16, 1));
    for (const std::uint64_t operation : {1U, 2U}) {  // the erase, a word
        SCOPED_TRACE(operation);
        bench.chip.Arm(chip::Fault::StuckBusy, operation);

        EXPECT_EQ(bench.Load({{0, Pattern(64, 2)}}), kTimedOut);

        EXPECT_EQ(bench.host.BlockStatus(0), operation == 1 ? 0x0001'0102U : 0x0001'0103U);
        bench.chip.Reset();
    }
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Failure, NobodyReadsFlashBehindABankEraseThatNeverEnds) {
    ChipOnBench bench(Model());
    bench.chip.Arm(chip::Fault::StuckBusy, 1);

    EXPECT_NE(bench.Execute("Erase"), "");

    EXPECT_EQ(bench.host.BlockStatus(0), 0x0001'0102U);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
}

TEST_P(Failure, ACoreThatStopsAnsweringRunsIntoTheTimeOut) {
    ChipOnBench bench(Model());
    const Bytes data = Pattern(64, 2);
    bench.chip.Arm(chip::Fault::CoreStopsAtOperation, 3);

    EXPECT_EQ(bench.Load({{0, data}}), kTimedOut);

    EXPECT_THAT(bench.host.messages, Contains("Target timed out! (Block 0)"));
    EXPECT_EQ(bench.Load({{0, data}}), "");  // loading the flashloader again helps
    EXPECT_EQ(bench.FlashAt(0, data.size()), data);
}

TEST_P(Failure, AFlashloaderThatCrashesIsLockedUpAndTimesOut) {
    ChipOnBench bench(Model());
    bench.host.tamper = [&](std::uint32_t address, Bytes& bytes) {
        if (address == 0x2000'0000) {
            std::fill(bytes.begin() + 64, bytes.end() - 64,
                      std::uint8_t{0xDE});  // its code, undefined instructions now
        }
    };

    EXPECT_EQ(bench.Load({{0, Pattern(64, 2)}}), kTimedOut);

    EXPECT_EQ(bench.chip.Count(chip::Violation::CoreFault), 1U);
}

TEST_P(Failure, ALinkErrorAtAnyTransferOfALoadReachesTheUserAndASecondLoadIsClean) {
    ChipOnBench counting(Model());
    const Bytes data = Pattern(300, 2);
    const std::uint64_t before = counting.chip.GetCounters().transfers;
    ASSERT_EQ(counting.Load({{0x10, data}}), "");
    const std::uint64_t transfers = counting.chip.GetCounters().transfers - before;
    ASSERT_GT(transfers, 8U);

    for (std::uint64_t n = 1; n <= transfers; ++n) {
        SCOPED_TRACE(n);
        ChipOnBench bench(Model());
        bench.chip.Arm(chip::Fault::LinkErrorAtTransfer, n);

        const std::string error = bench.Load({{0x10, data}});

        EXPECT_NE(error, "");
        EXPECT_EQ(bench.Load({{0x10, data}}), "");
        EXPECT_EQ(bench.FlashAt(0x10, data.size()), data);
        EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
    }
}

TEST_P(Failure, AChipWithoutPowerIsNamedAsSuch) {
    ChipOnBench bench(Model());
    bench.chip.PowerOff();

    EXPECT_THAT(bench.Initialize(), HasSubstr("the chip has no power"));
    EXPECT_THAT(bench.Load({{0, Pattern(64, 2)}}), StartsWith("Cannot halt the core: the chip has no power"));
}

}  // namespace
}  // namespace flash::test
