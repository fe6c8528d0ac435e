// Whole program loads, from phase 1 to phase 2: which commands reach the flashloader, and what the flash holds then.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

std::string Posted(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t block,
                   std::uint32_t crc = 0) {
    PostedCommand taken;
    taken.command = command;
    taken.address = address;
    taken.length = length;
    taken.crc = crc;
    taken.block = block;
    return TextOf(taken);
}

Bytes Joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Erased flash but for sectors 1 and 2, which hold an old program, and CCFG.
class ProgramLoad : public testing::TestWithParam<const ChipModel*> {
protected:
    InitializedChip chip{*GetParam()};
    std::uint32_t sector = chip.geometry.sectorSize;
    std::uint32_t flashEnd = chip.FlashEnd();
    std::uint32_t lastSector = chip.geometry.LastSector();
    std::uint32_t ccfg = flashEnd - kCcfgSize;
    Bytes old = Pattern(2 * sector, 77);

    void SetUp() override {
        chip.host.memory.SetBytes(sector, old);
        Bytes area = Pattern(kCcfgSize, 5);
        chip.host.memory.SetBytes(ccfg, area);
        chip.host.memory.SetWord(flashEnd - kCcfgSizeWordFromEnd, 0x0058'0001);
    }

    Bytes Ccfg() { return chip.FlashAt(ccfg, kCcfgSize); }
    Texts Commands() const { return TextsOf(chip.host.flashloader.commands); }
    void SetErase(const char* setting) { chip.Property("FlashEraseSetting") = setting; }
    void SwitchOn(const char* option) { chip.Property(option) = "1"; }
};

TEST_P(ProgramLoad, NecessarySectorsErasesEachTouchedSector) {
    const Bytes data = Pattern(2 * sector + 100, 9);

    ASSERT_EQ(chip.Load({{sector, data}}), "");

    EXPECT_EQ(Commands(),
              (Texts{Posted(3, sector, sector, 0), Posted(3, 2 * sector, sector, 1), Posted(3, 3 * sector, 100, 0)}));
    EXPECT_EQ(chip.FlashAt(sector, 2 * sector + 101), Joined(data, {0xFF}));
}

TEST_P(ProgramLoad, ChunksFollowTheRequestAndNotTheSectors) {
    const Bytes data = Pattern(sector + 16, 9);

    ASSERT_EQ(chip.Load({{3 * sector + 16, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, 3 * sector + 16, sector, 0), Posted(3, 4 * sector + 16, 16, 1)}));
    EXPECT_EQ(chip.FlashAt(3 * sector + 16, sector + 16), data);
}

TEST_P(ProgramLoad, RetainKeepsTheRestOfATouchedSector) {
    SetErase("Necessary Sectors Only (Retain untouched content within sector)");
    const Bytes data = Pattern(8, 9);

    ASSERT_EQ(chip.Load({{sector + 4, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(4, sector + 4, 8, 0)}));
    Bytes expected = old;
    std::copy(data.begin(), data.end(), expected.begin() + 4);
    EXPECT_EQ(chip.FlashAt(sector, 2 * sector), expected);
}

TEST_P(ProgramLoad, NoEraseProgramsOnTopOfWhatIsThere) {
    SetErase("Do not erase sectors (program load only)");

    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}, {sector, Bytes(4, 0)}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(2, 0, 10, 0), Posted(2, sector, 4, 1)}));
    EXPECT_EQ(chip.FlashAt(0, 10), Pattern(10, 9));
    EXPECT_EQ(chip.FlashAt(sector, 5), (Bytes{0, 0, 0, 0, old[4]}));
}

TEST_P(ProgramLoad, AllUnprotectedSectorsErasesTheBankOnceInALoad) {
    SetErase("All Unprotected Sectors");
    const std::vector<Segment> program = {{0, Pattern(10, 9)}, {4 * sector, Pattern(20, 8)}};

    ASSERT_EQ(chip.Load(program), "");
    EXPECT_EQ(Commands(), (Texts{Posted(1, 0, 0, 0), Posted(2, 0, 10, 1), Posted(2, 4 * sector, 20, 0)}));
    EXPECT_EQ(chip.FlashAt(sector, 2 * sector), Bytes(2 * sector, 0xFF));
    EXPECT_EQ(chip.FlashAt(4 * sector, 20), Pattern(20, 8));

    chip.host.ForgetCalls();
    ASSERT_EQ(chip.Load(program), "");
    EXPECT_EQ(Commands().front(), Posted(1, 0, 0, 0)) << "the next load erases again";
}

TEST_P(ProgramLoad, AFailedBankEraseFailsTheWriteAndIsTriedAgain) {
    SetErase("All Unprotected Sectors");
    chip.host.flashloader.AnswerNth(1, AnswerWithStatus(0x0004'0102));
    const std::string failure =
        "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";

    EXPECT_EQ(chip.Load({{0, Pattern(10, 9)}}), failure);
    EXPECT_EQ(chip.host.messages, Texts{failure});

    ASSERT_EQ(chip.Write({0, Pattern(10, 9)}), "");
    EXPECT_EQ(Commands(), (Texts{Posted(1, 0, 0, 0), Posted(1, 0, 0, 1), Posted(2, 0, 10, 0)}));
}

TEST_P(ProgramLoad, SpecificSectorsErasesTheListedOnesWithEachWrite) {
    SetErase("Specific Sectors");
    chip.Property("ProgramLoadEraseSpecificText") = "2, 5-7";
    const Bytes data = Pattern(10, 9);

    ASSERT_EQ(chip.Load({{2 * sector, data}, {0, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(5, 2 * sector, sector - 1, 0), Posted(5, 5 * sector, 3 * sector - 1, 1),
                                 Posted(2, 2 * sector, 10, 0), Posted(5, 2 * sector, sector - 1, 1),
                                 Posted(5, 5 * sector, 3 * sector - 1, 0), Posted(2, 0, 10, 1)}));
    EXPECT_EQ(chip.FlashAt(sector, sector), Bytes(old.begin(), old.begin() + sector));
    EXPECT_EQ(chip.FlashAt(2 * sector, 10), data);
    EXPECT_EQ(chip.FlashAt(2 * sector + 10, sector - 10), Bytes(sector - 10, 0xFF));
}

TEST_P(ProgramLoad, CrcVerifySendsTheCrcOfEachChunk) {
    SwitchOn("CrcVerify");
    SetErase("Do not erase sectors (program load only)");
    const Bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

    ASSERT_EQ(chip.Load({{0, digits}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(0x12, 0, 9, 0, 0xCBF4'3926)}));
}

TEST_P(ProgramLoad, CrcVerifyFailsWhenTheFlashDiffers) {
    SwitchOn("CrcVerify");
    SetErase("Do not erase sectors (program load only)");

    EXPECT_EQ(chip.Load({{sector, Bytes(4, 0xFF)}}), "Timed out waiting for target flashloader to execute command.");
}

TEST_P(ProgramLoad, EmptyWriteWaitsAndPostsNothing) {
    ASSERT_EQ(chip.Load({{0, {}}}), "");

    EXPECT_TRUE(Commands().empty());
    EXPECT_EQ(chip.host.flashloader.loads, 1U);
}

TEST_P(ProgramLoad, TheSecondLoadOnADeviceStartsAfresh) {
    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");
    chip.host.ForgetCalls();

    ASSERT_EQ(chip.Load({{0, Pattern(20, 8)}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, 0, 20, 0)})) << "the block counter starts at 0 again";
    EXPECT_EQ(chip.host.flashloader.loads, 2U);
    EXPECT_EQ(chip.FlashAt(0, 20), Pattern(20, 8));
}

TEST_P(ProgramLoad, SlowAnswersAreWaitedForAndOverlapTheNextChunk) {
    chip.host.flashloader.AnswerAll(AnswerAfterPolls(3));
    const Bytes data = Pattern(2 * sector, 9);

    ASSERT_EQ(chip.Load({{0, data}}), "");

    EXPECT_EQ(chip.FlashAt(0, 2 * sector), data);
    EXPECT_EQ(chip.host.CountOf(Service::WaitMilliseconds), 6U);
    const Texts transfers = TextsOf(Only(chip.host.calls, {Service::WriteMemory, Service::WaitMilliseconds}));
    EXPECT_EQ(transfers[2].substr(0, 11), "WriteMemory") << "the second chunk travels before the first is waited for";
}

TEST_P(ProgramLoad, KeptCcfgSurvivesABankErase) {
    SwitchOn("KeepCcfgSetting");
    SetErase("All Unprotected Sectors");
    const Bytes before = Ccfg();

    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(1, 0, 0, 0), Posted(4, ccfg, kCcfgSize, 1), Posted(2, 0, 10, 0)}));
    EXPECT_EQ(Ccfg(), before);
}

TEST_P(ProgramLoad, KeptCcfgSurvivesAnImageThatEndsWithItsOwn) {
    SwitchOn("KeepCcfgSetting");
    const Bytes before = Ccfg();
    const Bytes data = Pattern(sector, 9);

    ASSERT_EQ(chip.Load({{lastSector, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, lastSector, sector - kCcfgSize, 0), Posted(4, ccfg, kCcfgSize, 1)}));
    EXPECT_EQ(Ccfg(), before);
    EXPECT_EQ(chip.FlashAt(lastSector, sector - kCcfgSize), Bytes(data.begin(), data.end() - kCcfgSize));
}

TEST_P(ProgramLoad, KeptCcfgIsRestoredOnlyWhenItsStartIsPassed) {
    struct Case {
        const char* name;
        std::uint32_t address, length;
        Texts commands;
    };
    const Case cases[] = {
        {"ends just below", ccfg - 8, 8, {Posted(3, ccfg - 8, 8, 0)}},
        {"ends with its first byte", ccfg - 8, 9, {Posted(3, ccfg - 8, 8, 0)}},
        {"ends with its second byte", ccfg - 8, 10, {Posted(3, ccfg - 8, 8, 0), Posted(4, ccfg, kCcfgSize, 1)}},
        {"one byte at its start", ccfg, 1, {}},
        {"two bytes at its start", ccfg, 2, {Posted(4, ccfg, kCcfgSize, 0)}},
    };
    SwitchOn("KeepCcfgSetting");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        chip.host.ForgetCalls();
        ASSERT_EQ(chip.Load({{c.address, Pattern(c.length, 9)}}), "");
        EXPECT_EQ(Commands(), c.commands);
    }
}

TEST_P(ProgramLoad, KeptCcfgIsReadAfreshInEachLoad) {
    SwitchOn("KeepCcfgSetting");
    SetErase("All Unprotected Sectors");
    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");
    chip.host.memory.SetBytes(flashEnd - kIeeeSecondaryFromEnd, Bytes(8, 0));
    const Bytes changed = Ccfg();

    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");

    EXPECT_EQ(Ccfg(), changed);
}

TEST_P(ProgramLoad, ACcfgOfAnImpossibleSizeIsNotKept) {
    SwitchOn("KeepCcfgSetting");
    const Bytes data = Pattern(sector, 9);
    for (const std::uint32_t size : {0U, sector + 1}) {
        SCOPED_TRACE(size);
        chip.host.memory.SetWord(flashEnd - kCcfgSizeWordFromEnd, size << 16);
        ASSERT_EQ(chip.Load({{lastSector, data}}), "");
        EXPECT_EQ(chip.FlashAt(lastSector, sector), data);
    }
}

TEST_P(ProgramLoad, SkippedPagesAreNeitherErasedNorProgrammed) {
    SwitchOn("FlashPageToggle");
    chip.Property("FlashPages") = "1,3-5";
    const Bytes data = Pattern(4 * sector, 9);

    ASSERT_EQ(chip.Load({{0, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, 0, sector, 0), Posted(3, 2 * sector, sector, 1)}));
    EXPECT_EQ(chip.FlashAt(0, sector), Bytes(data.begin(), data.begin() + sector));
    EXPECT_EQ(chip.FlashAt(sector, sector), Bytes(old.begin(), old.begin() + sector));
}

TEST_P(ProgramLoad, SkippedPagesTurnABankEraseIntoNecessarySectors) {
    SwitchOn("FlashPageToggle");
    chip.Property("FlashPages") = "1";
    SetErase("All Unprotected Sectors");

    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, 0, 10, 0)}));
    EXPECT_EQ(chip.Property("FlashEraseSetting"), "Necessary Sectors Only");
    EXPECT_EQ(chip.FlashAt(sector, 2 * sector), old);
}

TEST_P(ProgramLoad, ARequestOutOfARunOfPermittedPagesLosesTheRunsLastByte) {
    SwitchOn("FlashPageToggle");
    chip.Property("FlashPages") = "2";

    ASSERT_EQ(chip.Load({{sector + 4, Pattern(sector, 9)}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, sector + 4, sector - 5, 0)}));
}

TEST_P(ProgramLoad, ARangeOneByteBeyondTheRequestAddsAnErasedByte) {
    SwitchOn("FlashPageToggle");
    chip.Property("FlashPages") = "1,3";
    const Bytes data = Pattern(2 * sector - 1, 9);

    ASSERT_EQ(chip.Load({{sector, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, 2 * sector, sector, 0)})) << "the permitted page 2 ends behind the data";
    EXPECT_EQ(chip.FlashAt(3 * sector - 2, 2), (Bytes{data.back(), 0xFF}));
}

TEST_P(ProgramLoad, SectorsOfTheFillValueAreSkipped) {
    SwitchOn("FlashPagesFilledWith");
    chip.Property("FlashPagesFilledWithValue") = "0xA5";
    const Bytes data = Joined(Bytes(sector, 0xA5), Joined(Pattern(sector, 9), Bytes(sector, 0xA5)));

    ASSERT_EQ(chip.Load({{0, data}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, sector, sector, 0)}));
}

TEST_P(ProgramLoad, FillPiecesOfAnUnalignedRequestGrow) {
    SwitchOn("FlashPagesFilledWith");
    chip.Property("FlashPagesFilledWithValue") = "0";

    ASSERT_EQ(chip.Load({{16, Pattern(100, 9)}}), "");

    EXPECT_EQ(Commands(), (Texts{Posted(3, 16, 16, 0), Posted(3, 32, 32, 1), Posted(3, 64, 52, 0)}));
}

// What the closing phase changes in the last sector, option by option.
struct ClosingOption {
    const char* name;
    std::map<std::string, std::string> settings;
    std::uint32_t fromEnd;  // of the bytes that change
    Bytes bytes;
};

const ClosingOption kClosingOptions[] = {
    {"RetainIeee", {{"RetainIeeeSecondaryAddr", "1"}}, 0, {}},
    {"RetainBle", {{"RetainBleSecondaryAddr", "1"}}, 0, {}},
    {"OverrideBle",
     {{"OverrideBleSecondaryAddr", "1"}, {"DeviceBleSecondary", "01:23:45:67:89:ab"}},
     kBleSecondaryFromEnd,
     {0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}},
    {"OverrideIeee",
     {{"OverrideIeeeSecondaryAddr", "1"}, {"DeviceIeeeSecondary", "1:2:3:4:5:6:7:8"}},
     kIeeeSecondaryFromEnd,
     {8, 7, 6, 5, 4, 3, 2, 1}},
    {"WriteProtection",
     {{"WriteProtectionToggle", "1"}, {"WriteProtectionText", "0, 9-10"}},
     kProtectionFromEnd,
     {0xFE, 0xF9, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    {"DisableBootloader", {{"DisableBootloader", "1"}}, kDisableBootloaderFromEnd, {0x00}},
    {"DisableCpuDap", {{"DisableCpuDap", "1"}}, kDisableCpuDapFromEnd, {0x00}},
};

TEST_P(ProgramLoad, EachClosingOptionChangesItsFieldAndNothingElse) {
    for (const ClosingOption& option : kClosingOptions) {
        SCOPED_TRACE(option.name);
        InitializedChip fresh(*GetParam());
        Bytes expected = Pattern(sector, 5);
        fresh.host.memory.SetBytes(lastSector, expected);
        for (const auto& [name, value] : option.settings) {
            fresh.Property(name) = value;
        }
        fresh.Property("FlashEraseSetting") = "Do not erase sectors (program load only)";

        ASSERT_EQ(fresh.Load({{0, Pattern(10, 9)}}), "");

        EXPECT_EQ(TextsOf(fresh.host.flashloader.commands),
                  (Texts{Posted(2, 0, 10, 0), Posted(3, lastSector, sector, 0)}));
        std::copy(option.bytes.begin(), option.bytes.end(), expected.end() - option.fromEnd);
        EXPECT_EQ(fresh.FlashAt(lastSector, sector), expected);
        EXPECT_EQ(fresh.Property("FlashEraseSetting"), "Do not erase sectors (program load only)");
        EXPECT_FALSE(fresh.host.flashloader.isRunning) << "halted at the end";
    }
}

TEST_P(ProgramLoad, RetainedAddressesSurviveABankErase) {
    SwitchOn("RetainIeeeSecondaryAddr");
    SwitchOn("RetainBleSecondaryAddr");
    SwitchOn("OverrideIeeeSecondaryAddr");  // retaining wins
    chip.Property("DeviceIeeeSecondary") = "1:2:3:4:5:6:7:8";
    SetErase("All Unprotected Sectors");
    const Bytes ieee = chip.FlashAt(flashEnd - kIeeeSecondaryFromEnd, 8);
    const Bytes ble = chip.FlashAt(flashEnd - kBleSecondaryFromEnd, 6);

    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");

    EXPECT_EQ(chip.FlashAt(flashEnd - kIeeeSecondaryFromEnd, 8), ieee);
    EXPECT_EQ(chip.FlashAt(flashEnd - kBleSecondaryFromEnd, 6), ble);
    EXPECT_EQ(chip.FlashAt(flashEnd - kProtectionFromEnd, 4), Bytes(4, 0xFF));
}

TEST_P(ProgramLoad, ProtectionOnceClearedStaysClearedForTheDevice) {
    SwitchOn("WriteProtectionToggle");
    chip.Property("WriteProtectionText") = "0";
    ASSERT_EQ(chip.Load({}), "");
    chip.Property("WriteProtectionText") = "1";

    ASSERT_EQ(chip.Load({}), "");

    EXPECT_EQ(chip.host.memory.Word(flashEnd - kProtectionFromEnd), 0xFFFF'FFFCU);
}

TEST_P(ProgramLoad, WithoutClosingOptionsTheTargetIsOnlyHalted) {
    ASSERT_EQ(chip.Notify(2), "");

    const std::vector<HostCall> onTarget = Without(chip.host.calls, {Service::GetProperty});
    EXPECT_EQ(TextsOf(onTarget), Texts{"HaltTarget"});
}

INSTANTIATE_TEST_SUITE_P(Generations, ProgramLoad, testing::Values(&kLumoD, &kLumoF),
                         [](const auto& model) { return GenerationName(*model.param); });

}  // namespace
}  // namespace flash::test
