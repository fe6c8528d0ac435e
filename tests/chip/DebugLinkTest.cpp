// The probe's side: widths and addresses, what a transfer costs, what cannot be reached.
#include <gmock/gmock.h>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using testing::ElementsAre;
using testing::HasSubstr;

std::string ErrorOf(const std::function<void()>& access) {
    try {
        access();
    } catch (const ChipError& error) {
        return error.what();
    }
    return "no error";
}

class DebugLinkTest : public ChipRig {};

TEST_F(DebugLinkTest, ReadsBackWhatItWroteInAnyWidth) {
    const std::vector<std::uint8_t> bytes = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const std::uint32_t elementSize : {1U, 2U, 4U}) {
        SCOPED_TRACE(elementSize);
        chip.WriteMemory(kDataAddress, bytes, elementSize);
        std::vector<std::uint8_t> readBack(8);
        chip.ReadMemory(kDataAddress, readBack, elementSize);
        EXPECT_EQ(readBack, bytes);
    }
    EXPECT_EQ(chip.ReadWord(kDataAddress + 4), 0x0807'0605U);
}

TEST_F(DebugLinkTest, ATransferTakesLatencyAndBandwidth) {
    const Nanoseconds start = chip.Now();
    std::vector<std::uint8_t> bytes(5000);

    chip.ReadMemory(0, bytes);

    EXPECT_EQ(chip.Now() - start, microseconds(100 + 5000));
    const Event event = EventsOf(EventKind::TransferRead).back();
    EXPECT_EQ(event.start, start);
    EXPECT_EQ(event.end, chip.Now());
    EXPECT_EQ(event.value, 5000U);
}

TEST_F(DebugLinkTest, NoBytesAreNoTransfer) {
    chip.ReadMemory(0x3000'0000, {});
    chip.WriteMemory(0x3000'0000, {});

    EXPECT_EQ(chip.GetCounters().transfers, 0U);
    EXPECT_EQ(chip.Now(), Nanoseconds::zero());
}

TEST_F(DebugLinkTest, CountsTransfersAndBytes) {
    std::vector<std::uint8_t> bytes(10);
    chip.WriteMemory(kDataAddress, bytes);
    chip.ReadMemory(kDataAddress, bytes);
    chip.ReadWord(kDataAddress);
    chip.Halt();

    EXPECT_EQ(chip.GetCounters().transfers, 4U);
    EXPECT_EQ(chip.GetCounters().bytesWritten, 10U);
    EXPECT_EQ(chip.GetCounters().bytesRead, 14U);
}

TEST_F(DebugLinkTest, ReadsTheMemoriesOfTheChip) {
    Settings settings;
    settings.generation = Generation::LumoF;
    settings.ramSizeCode = 2;
    settings.primaryIeeeAddress = {1, 2, 3, 4, 5, 6, 7, 8};
    settings.primaryBleAddress = {11, 12, 13, 14, 15, 16};
    VirtualChip lumoF(settings);
    const std::vector<std::uint8_t> size = {0x01, 0x00, 0x58, 0x00};
    lumoF.PlaceInFlash(0x5'7FB0, size);
    std::vector<std::uint8_t> ieee(8);
    std::vector<std::uint8_t> ble(6);

    lumoF.ReadMemory(0x5000'1200, ieee);
    lumoF.ReadMemory(0x5000'1208, ble);

    EXPECT_THAT(ieee, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_THAT(ble, ElementsAre(11, 12, 13, 14, 15, 16));
    EXPECT_EQ(lumoF.ReadWord(0x5000'4FB0), 0x0058'0001U);
    EXPECT_EQ(lumoF.ReadWord(0x5'7FB0), 0x0058'0001U);
    EXPECT_EQ(lumoF.ReadWord(0x4003'002C), 44U);
    EXPECT_EQ(lumoF.ReadWord(0x4008'2250), 2U);
}

TEST_F(DebugLinkTest, RefusesImpossibleAccessesWithoutATransfer) {
    std::vector<std::uint8_t> word(4);
    std::vector<std::uint8_t> three(3);
    const struct {
        const char* text;
        std::function<void()> access;
    } cases[] = {
        {"there is no such memory", [&] { chip.ReadMemory(0x3000'0000, word); }},
        {"there is no such memory", [&] { chip.ReadMemory(0x2'0000 - 2, word); }},
        {"there is no such memory", [&] { chip.ReadMemory(kSramBase + 0x4FFE, word); }},
        {"there is no such memory", [&] { chip.ReadMemory(0xFFFF'FFFE, word); }},
        {"there is no such memory", [&] { chip.WriteMemory(kSramBase - 4, word); }},
        {"read-only", [&] { chip.WriteMemory(0x100, word); }},
        {"read-only", [&] { chip.WriteMemory(kCcfgWindowBase, word); }},
        {"read-only", [&] { chip.WriteMemory(kPrimaryIeeeAddress, word); }},
        {"1, 2 or 4", [&] { chip.ReadMemory(0, word, 3); }},
        {"1, 2 or 4", [&] { chip.ReadMemory(0, word, 0); }},
        {"no multiples", [&] { chip.ReadMemory(2, word, 4); }},
        {"no multiples", [&] { chip.ReadMemory(0, three, 2); }},
        {"words of 4 bytes", [&] { chip.ReadMemory(kSizeRegister, word, 1); }},
        {"words of 4 bytes", [&] { chip.WriteMemory(kDataRegister, word, 2); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_THAT(ErrorOf(c.access), HasSubstr(c.text));
    }
    EXPECT_EQ(chip.GetCounters().transfers, 0U);
    EXPECT_EQ(chip.Count(Violation::RegisterMisuse), 2U);
}

TEST_F(DebugLinkTest, SaysWhatItCouldNotDoAndWhere) {
    std::vector<std::uint8_t> word(4);

    EXPECT_EQ(ErrorOf([&] { chip.ReadMemory(0x3000'00AB, word); }),
              "Cannot read 4 bytes at 0x300000AB: there is no such memory.");
}

TEST_F(DebugLinkTest, ReadingSramThatNobodyWroteIsCounted) {
    std::vector<std::uint8_t> bytes(16);
    chip.WriteWord(kDataAddress, 0);

    chip.ReadMemory(kDataAddress, std::span(bytes).first(4));
    EXPECT_EQ(chip.Count(Violation::ProbeReadOfUnwrittenSram), 0U);
    chip.ReadMemory(kDataAddress, bytes);
    EXPECT_EQ(chip.Count(Violation::ProbeReadOfUnwrittenSram), 1U);
    EXPECT_EQ(chip.Count(Violation::CoreReadOfUnwrittenSram), 0U);
}

TEST_F(DebugLinkTest, ReachesEveryCoreRegister) {
    for (int i = 0; i <= static_cast<int>(CoreRegister::Lr); ++i) {
        chip.WriteCoreRegister(static_cast<CoreRegister>(i), 0x2000'0100U + static_cast<std::uint32_t>(i) * 4);
    }
    for (int i = 0; i <= static_cast<int>(CoreRegister::Lr); ++i) {
        EXPECT_EQ(chip.ReadCoreRegister(static_cast<CoreRegister>(i)),
                  0x2000'0100U + static_cast<std::uint32_t>(i) * 4);
    }
    chip.WriteCoreRegister(CoreRegister::Xpsr, 0xF100'0000);
    chip.WriteCoreRegister(CoreRegister::Pc, 0x2000'0043);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Pc), 0x2000'0042U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Xpsr), 0xF100'0000U);
}

TEST_F(DebugLinkTest, ReachesTheRegistersThatAnOperatingSystemSets) {
    const std::pair<CoreRegister, std::uint32_t> values[] = {
        {CoreRegister::Msp, 0x2000'0100}, {CoreRegister::Psp, 0x2000'0200}, {CoreRegister::Primask, 1},
        {CoreRegister::Basepri, 0x20},    {CoreRegister::Faultmask, 1},     {CoreRegister::Control, 2},
    };
    for (const auto& [number, value] : values) {
        chip.WriteCoreRegister(number, value);
    }
    for (const auto& [number, value] : values) {
        EXPECT_EQ(chip.ReadCoreRegister(number), value);
    }
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Sp), 0x2000'0200U);

    chip.Reset();

    for (const auto& [number, value] : values) {
        EXPECT_EQ(chip.ReadCoreRegister(number), 0U);
    }
}

TEST_F(DebugLinkTest, CoreRegistersNeedAHaltedCore) {
    RunCode({kEndlessLoop});

    EXPECT_THAT(ErrorOf([&] { chip.ReadCoreRegister(CoreRegister::R0); }), HasSubstr("the core is not halted"));
    EXPECT_THAT(ErrorOf([&] { chip.WriteCoreRegister(CoreRegister::R0, 0); }), HasSubstr("the core is not halted"));
}

TEST_F(DebugLinkTest, HaltsAndRunsAndTells) {
    EXPECT_FALSE(chip.IsRunning());
    RunCode({kEndlessLoop});
    EXPECT_TRUE(chip.IsRunning());
    chip.Run();
    EXPECT_TRUE(chip.IsRunning());
    chip.Halt();
    chip.Halt();
    EXPECT_FALSE(chip.IsRunning());
}

TEST_F(DebugLinkTest, TellsTheIdentificationCode) {
    Settings settings;
    settings.identificationCode = 0x3123'4567;

    EXPECT_EQ(VirtualChip(settings).ReadIdentificationCode(), 0x3123'4567U);
}

TEST_F(DebugLinkTest, WithoutPowerNothingAnswers) {
    chip.PowerOff();
    std::vector<std::uint8_t> word(4);
    const std::function<void()> accesses[] = {
        [&] { chip.ReadMemory(0, word); },
        [&] { chip.WriteMemory(kSramBase, word); },
        [&] { chip.ReadCoreRegister(CoreRegister::Pc); },
        [&] { chip.WriteCoreRegister(CoreRegister::Pc, 0); },
        [&] { chip.Halt(); },
        [&] { chip.Run(); },
        [&] { chip.IsRunning(); },
        [&] { chip.ReadIdentificationCode(); },
    };
    for (const auto& access : accesses) {
        EXPECT_THAT(ErrorOf(access), HasSubstr("the chip has no power"));
    }
    EXPECT_EQ(chip.GetCounters().transfers, 0U);
}

TEST_F(DebugLinkTest, ADisabledDebugPortLeavesOnlyTheRouter) {
    chip.PlaceInFlash(chip.FlashBytes() - 0x29, std::vector<std::uint8_t>{0x00});
    chip.PowerCycle();
    std::vector<std::uint8_t> word(4);

    EXPECT_TRUE(chip.IsDebugPortDisabled());
    EXPECT_EQ(ErrorOf([&] { chip.ReadMemory(0, word); }),
              "Cannot read 4 bytes at 0x00000000: the debug port is disabled, as CCFG says.");
    EXPECT_THAT(ErrorOf([&] { chip.Halt(); }), HasSubstr("the debug port is disabled"));
    EXPECT_EQ(chip.ReadIdentificationCode(), chip.GetSettings().identificationCode);
}

}  // namespace
}  // namespace flash::chip
