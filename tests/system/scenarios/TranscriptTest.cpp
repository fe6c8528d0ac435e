// Everything that the user reads in verbose mode, whole, for the loads and operations that say the most.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";

// 32 sectors of 4096 bytes, CCFG from 0x1FFA8.
class VerboseLumoD : public testing::Test {
protected:
    ConnectedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
    SimulatedFlashloader& flashloader = chip.host.flashloader;

    void SetUp() override {
        chip.Property("FlashVerboseMode") = "1";
        ASSERT_EQ(chip.Initialize(), "");
        ASSERT_EQ(host.messages, Texts{"Flashloader: Verbose output enabled."});
        chip.host.ForgetCalls();
    }
};

TEST_F(VerboseLumoD, StartUpWithAnUnknownRevision) {
    chip.host.ForgetCalls();
    host.idCode = 0xA000'0001;
    ConnectedChip fresh(kLumoD);
    fresh.Property("FlashVerboseMode") = "1";
    fresh.host.idCode = 0xA000'0001;

    ASSERT_EQ(fresh.Initialize(), "");
    EXPECT_EQ(fresh.host.messages,
              (Texts{"Flashloader: Verbose output enabled.",
                     "Device revision '0xa' unknown for selected target. Assuming latest known revision: Rev. 2.0."}));

    ASSERT_EQ(chip.Initialize(), "");
    EXPECT_EQ(host.messages, (Texts{"Flashloader: Verbose output enabled.",
                                    "Device revision '0xa' unknown for selected target. Assuming latest known "
                                    "revision: Rev. RevB (2.0)."}))
        << "a device that once knew its name keeps it";
}

TEST_F(VerboseLumoD, LoadThatKeepsCcfgAndVerifies) {
    chip.Property("KeepCcfgSetting") = "1";
    chip.Property("CrcVerify") = "1";
    chip.SetErase(kBank);

    ASSERT_EQ(chip.Load({{0x1F000, Bytes(4096, 0)}, {0x1FFF0, Bytes(4, 0)}}), "");

    EXPECT_EQ(host.messages,
              (Texts{
                  "Keep CCFG: Reading CCFG from target (addr = 0x0001FFA8, length = 88)",
                  "Performing bank erase",
                  "Loading flashloader to target: flashloader.out\n",
                  "Keep CCFG: Programming CCFG back to target (addr=0x0001FFA8, length=88|0x58).",
                  "Keep CCFG: Range addr=0x0001F000, length=4096 is overlapping stored CCFG. Length reduced to 4008 "
                  "bytes.\n",
                  "  Chunk 1: addr=0x0001F000, length=4008, crc=0xE7983361 (using block 0)",
                  "Keep CCFG: Programming CCFG back to target (addr=0x0001FFA8, length=88|0x58).",
                  "Keep CCFG: Range addr=0x0001FFF0, length=4 is overlapping stored CCFG. Length reduced to 0.\n",
                  "Keep CCFG: Programming CCFG back to target (addr=0x0001FFA8, length=88|0x58).",
              }));
}

TEST_F(VerboseLumoD, LoadWithACcfgThatCannotBeKept) {
    chip.Property("KeepCcfgSetting") = "1";
    host.memory.SetWord(0x1FFB0, 0x1001'0000);

    ASSERT_EQ(chip.Load({{0, Bytes(4, 0)}, {0x1000, Bytes(4, 0)}}), "");

    EXPECT_EQ(host.messages, (Texts{
                                 "Keep CCFG: Device CCFG size is invalid, ignoring option.",
                                 "Loading flashloader to target: flashloader.out\n",
                                 "  Chunk 1: addr=0x00000000, length=4 (using block 0)",
                                 "Keep CCFG: Device CCFG size is invalid, ignoring option.",
                                 "  Chunk 1: addr=0x00001000, length=4 (using block 1)",
                             }));
}

TEST_F(VerboseLumoD, LoadThatSkipsPages) {
    chip.Property("FlashPageToggle") = "1";
    chip.Property("FlashPages") = " 1, 3-5";
    chip.SetErase(kBank);

    ASSERT_EQ(chip.Load({{0, Bytes(0x3000, 0)}, {0x6000, Bytes(0x1800, 0)}}), "");

    EXPECT_EQ(host.messages, (Texts{
                                 "Skip program/erase/verify of the following page(s):  1, 3-5",
                                 "Overriding erase option to \"Necessary Sectors Only\" because the Skip Sector option "
                                 "is enabled\n",
                                 "Skip program/erase/verify of the following page(s):  1, 3-5",
                                 "Loading flashloader to target: flashloader.out\n",
                                 "  Chunk 1: addr=0x00000000, length=4096 (using block 0)",
                                 "  Chunk 1: addr=0x00002000, length=4096 (using block 1)",
                                 "  Chunk 1: addr=0x00006000, length=4096 (using block 0)",
                                 "  Chunk 2: addr=0x00007000, length=2048 (using block 1)",
                             }));
}

TEST_F(VerboseLumoD, LoadWithEveryPageSkippedSaysSoAtEachWrite) {
    chip.Property("FlashPageToggle") = "1";
    chip.Property("FlashPages") = "0-31";

    ASSERT_EQ(chip.Load({{0, Bytes(4, 0)}, {0x1000, Bytes(4, 0)}}), "");

    EXPECT_EQ(host.messages, Texts(3, "Skip program/erase/verify of the following page(s): 0-31"));
    EXPECT_EQ(flashloader.loads, 0U);
}

TEST_F(VerboseLumoD, LoadThatChangesCcfg) {
    chip.Property("RetainBleSecondaryAddr") = "1";
    chip.Property("DisableCpuDap") = "1";

    ASSERT_EQ(chip.Load({{0, Bytes(4, 0)}}), "");

    EXPECT_EQ(host.messages, (Texts{
                                 "Loading flashloader to target: flashloader.out\n",
                                 "  Chunk 1: addr=0x00000000, length=4 (using block 0)",
                                 "Loading flashloader to target: flashloader.out\n",
                                 "  Chunk 1: addr=0x0001F000, length=4096 (using block 0)",
                             }));
}

TEST_F(VerboseLumoD, NamedOperations) {
    chip.Property("StandaloneEraseSpecificText") = "1";
    chip.Property("KeepCcfgSetting") = "1";

    for (const char* name : {"EraseSectors", "Erase", "BlankCheck", "ReadSecBle"}) {
        ASSERT_EQ(chip.Execute(name), "") << name;
    }

    EXPECT_EQ(host.messages, (Texts{
                                 "Loading flashloader to target: flashloader.out\n",
                                 "Performing bank erase",
                                 "Keep CCFG: Reading CCFG from target (addr = 0x0001FFA8, length = 88)",
                                 "Loading flashloader to target: flashloader.out\n",
                                 "Keep CCFG: Programming CCFG back to target (addr=0x0001FFA8, length=88|0x58).",
                                 "Loading flashloader to target: flashloader.out\n",
                                 "Blank Check: Device flash is programmed",
                                 "ReadSecBle: 11:22:33:44:55:66",
                             }));
}

TEST_F(VerboseLumoD, LastChunkThatNeverEnds) {
    flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(chip.Load({{0, Bytes(4, 0)}}), kTimedOut);

    EXPECT_EQ(host.messages, (Texts{
                                 "Loading flashloader to target: flashloader.out\n",
                                 "  Chunk 1: addr=0x00000000, length=4 (using block 0)",
                                 "Target timed out! (Block 0)",
                                 "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!",
                             }));
    EXPECT_EQ(host.CountOf(Service::WaitMilliseconds), 400U);
    EXPECT_EQ(TextOf(host.calls.back()), "HaltTarget");
}

TEST_F(VerboseLumoD, FirstOfTwoChunksThatNeverEnds) {
    flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(chip.Load({{0, Bytes(4100, 0)}}), kTimedOut);

    EXPECT_EQ(host.messages, (Texts{
                                 "Loading flashloader to target: flashloader.out\n",
                                 "  Chunk 1: addr=0x00000000, length=4096 (using block 0)",
                                 "  Chunk 2: addr=0x00001000, length=4 (using block 1)",
                                 "Target timed out! (Block 0)",
                                 "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!",
                                 "  Command=3 -- addr=0x00001000 -- length=0x00000004",
                             }));
}

TEST_F(VerboseLumoD, AStatusInTimeIsNotDecoded) {
    chip.Property("CrcVerify") = "1";
    flashloader.AnswerNth(1, AnswerWithStatus(0x0004'0103));

    EXPECT_EQ(chip.Load({{0, Bytes(4097, 0)}}), kTimedOut);

    EXPECT_EQ(host.messages.back(), "  Command=19 -- addr=0x00001000 -- length=0x00000001");
    EXPECT_EQ(host.messages.size(), 4U);
}

TEST_F(VerboseLumoD, TheSwitchIsReadAgainAtTheNextLoad) {
    chip.Property("FlashVerboseMode") = "0";
    ASSERT_EQ(chip.Write({0, Bytes(4, 0)}), "");
    EXPECT_EQ(host.messages.size(), 2U) << "still verbose";

    chip.host.ForgetCalls();
    ASSERT_EQ(chip.Load({{0, Bytes(4, 0)}}), "");
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(VerboseLumoD, AVeryLongFileNameIsPrintedWhole) {
    const std::string name(3000, 'n');
    chip.Property("DeviceFlashloaderFile") = name;

    ASSERT_EQ(chip.Write({0, Bytes(4, 0)}), "");

    EXPECT_EQ(host.messages.front(), "Loading flashloader to target: " + name + "\n");
}

}  // namespace
}  // namespace flash::test
