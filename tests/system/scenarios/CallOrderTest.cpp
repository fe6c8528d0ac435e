// Every host call of the central operations, in order, the readings of settings included: what hosts log and rely on.
// Written by hand from the rules of each step.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

Texts operator+(Texts first, const Texts& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A setting that must be there is read in two calls; one that may be missing is asked for first.
Texts Mandatory(const std::string& name) { return Texts(2, "GetProperty " + name); }
Texts Present(const std::string& name) { return Texts(3, "GetProperty " + name); }
Texts Missing(const std::string& name) { return {"GetProperty " + name}; }

// First generation: blocks at 0x20000200 and 24 bytes behind, buffers at 0x20001000 and 0x20004000.
class CallOrder : public testing::Test {
protected:
    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;

    // `verbosity`: what asking for verbose messages takes, and the message, when it is not yet known.
    static Texts LoadFlashloader(const Texts& verbosity = {}) {
        return Texts{"HaltTarget"} + Mandatory("DeviceFlashloaderFile") + Texts{"GetDirectoryPath"} + verbosity +
               Texts(kLoadCalls.begin() + 2, kLoadCalls.end());
    }
    const std::string postBlock0 = "WriteMemory 0x20000200 20*1";
    const std::string postBlock1 = "WriteMemory 0x20000218 20*1";
    const std::string pollBlock0 = "ReadMemory 0x20000210 1*4";
    const std::string pollBlock1 = "ReadMemory 0x20000228 1*4";
    const std::string fillBuffer0 = "WriteMemory 0x20001000 ";
    const std::string fillBuffer1 = "WriteMemory 0x20004000 ";
    // Of a closing phase without options.
    const Texts finish = Texts{"HaltTarget"} + Missing("RetainIeeeSecondaryAddr") + Missing("RetainBleSecondaryAddr") +
                         Missing("OverrideBleSecondaryAddr") + Missing("OverrideIeeeSecondaryAddr") +
                         Present("WriteProtectionToggle") + Missing("DisableBootloader") + Missing("DisableCpuDap");
    const Texts chooseWay = Mandatory("FlashPageToggle") + Missing("FlashPagesFilledWith");

    // The calls since the last time.
    Texts NewCalls() {
        Texts texts = TextsOf(host.calls);
        host.calls.clear();
        return texts;
    }
};

TEST_F(CallOrder, Initialize) {
    ASSERT_EQ(chip.Initialize(), "");

    EXPECT_EQ(NewCalls(), (Texts{"SelectCore Sluice", "ReadRegister 1", "SelectCore Cortex"} +
                           Mandatory("DeviceInfoRevisionTranslation") +
                           Texts{"ReadMemory 0x4003002C 1*4", "ReadMemory 0x40082250 1*4",
                                 "SetProperty DeviceInfoFlashSize=128 KB (32 sectors)",
                                 "SetProperty DeviceInfoRAMSize=20 KB", "SetProperty DeviceInfoRevision=RevB (2.0)"}))
        << "the verbose switch is known from the first time";
}

TEST_F(CallOrder, PlainLoadOfTwoChunksAndOneMore) {
    ASSERT_EQ(chip.Notify(1), "");
    EXPECT_EQ(NewCalls(), (Texts{"HaltTarget"} + Missing("RetainIeeeSecondaryAddr") +
                           Missing("RetainBleSecondaryAddr") + Mandatory("FlashPageToggle")));

    ASSERT_EQ(chip.Write({0, Bytes(4100, 0)}), "");
    EXPECT_EQ(NewCalls(), (chooseWay + Missing("KeepCcfgSetting") + Mandatory("FlashEraseSetting") +
                           Missing("KeepCcfgSetting") + LoadFlashloader(Missing("FlashVerboseMode")) +
                           Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "4096*1"} + Missing("CrcVerify") +
                           Texts{postBlock0, pollBlock1} + Texts{fillBuffer1 + "4*1"} + Missing("CrcVerify") +
                           Texts{postBlock1, pollBlock0} + Texts{pollBlock1} + Missing("KeepCcfgSetting")));

    ASSERT_EQ(chip.Write({0x2000, Bytes(8, 0)}), "");
    EXPECT_EQ(NewCalls(),
              (chooseWay + Missing("KeepCcfgSetting") + Mandatory("FlashEraseSetting") + Missing("KeepCcfgSetting") +
               Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "8*1"} + Missing("CrcVerify") +
               Texts{postBlock0, pollBlock1, pollBlock0} + Missing("KeepCcfgSetting")));

    ASSERT_EQ(chip.Notify(2), "");
    EXPECT_EQ(NewCalls(), finish);
}

TEST_F(CallOrder, LoadThatKeepsCcfgOverABankErase) {
    chip.Property("KeepCcfgSetting") = "1";
    chip.SetErase(kBank);
    chip.Property("CrcVerify") = "1";

    ASSERT_EQ(chip.Write({0x1F000, Bytes(4096, 0)}), "");

    EXPECT_EQ(NewCalls(),
              (chooseWay + Present("KeepCcfgSetting") +
               Texts{"ReadMemory 0x50003FB0 1*4", "ReadMemory 0x0001FFA8 88*1"} + Mandatory("FlashEraseSetting") +
               // the bank erase, waited for, and the restore, not waited for
               Present("KeepCcfgSetting") + LoadFlashloader() + Texts{postBlock0, "RunTarget", pollBlock0} +
               Present("KeepCcfgSetting") + Texts{fillBuffer1 + "88*1", postBlock1} +
               // the data and the restore
               Present("KeepCcfgSetting") + Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "4008*1"} +
               Present("CrcVerify") + Texts{postBlock0, pollBlock1, pollBlock0} + Present("KeepCcfgSetting") +
               Texts{fillBuffer1 + "88*1", postBlock1}));
}

TEST_F(CallOrder, LoadThatSkipsPages) {
    chip.Property("FlashPageToggle") = "1";
    chip.Property("FlashPages") = "1";
    chip.SetErase(kBank);
    ASSERT_EQ(chip.Notify(1), "");
    EXPECT_EQ(NewCalls(),
              (Texts{"HaltTarget"} + Missing("RetainIeeeSecondaryAddr") + Missing("RetainBleSecondaryAddr") +
               Mandatory("FlashPageToggle") + Mandatory("FlashPages") + Missing("FlashVerboseMode") +
               Mandatory("FlashEraseSetting") + Texts{"SetProperty FlashEraseSetting=Necessary Sectors Only"}));

    ASSERT_EQ(chip.Write({0x1000, Bytes(4, 0)}), "");
    EXPECT_EQ(NewCalls(), (Mandatory("FlashPageToggle") + Mandatory("FlashPages")));
    ASSERT_EQ(chip.Write({0x1000, Bytes(4, 0)}), "");
    EXPECT_EQ(NewCalls(), Texts()) << "the ranges are known now, and with them that pages are skipped";
}

TEST_F(CallOrder, LoadThatSkipsTheFillValue) {
    chip.Property("FlashPagesFilledWith") = "1";
    chip.Property("FlashPagesFilledWithValue") = "0xFF";

    ASSERT_EQ(chip.Write({0, Bytes(9000, 0xFF)}), "");

    EXPECT_EQ(NewCalls(), (Mandatory("FlashPageToggle") + Present("FlashPagesFilledWith") +
                           Mandatory("FlashPagesFilledWithValue")));
}

TEST_F(CallOrder, LoadThatErasesListedSectors) {
    chip.SetErase(kSpecific);
    chip.Property("ProgramLoadEraseSpecificText") = "1,3";

    ASSERT_EQ(chip.Write({0, Bytes(4, 0)}), "");

    EXPECT_EQ(NewCalls(),
              (chooseWay + Missing("KeepCcfgSetting") + Mandatory("FlashEraseSetting") + Missing("KeepCcfgSetting") +
               LoadFlashloader() + Mandatory("FlashEraseSetting") + Mandatory("ProgramLoadEraseSpecificText") +
               Texts{postBlock0, pollBlock1} + Texts{postBlock1, pollBlock0} + Texts{fillBuffer0 + "4*1"} +
               Missing("CrcVerify") + Texts{postBlock0, pollBlock1, pollBlock0} + Missing("KeepCcfgSetting")));
}

TEST_F(CallOrder, VerboseChunkAsksForTheCrcSettingTwice) {
    chip.Property("FlashVerboseMode") = "1";
    chip.Property("CrcVerify") = "1";
    ASSERT_EQ(chip.Load({{0, Bytes(4, 0)}}), "");
    NewCalls();

    ASSERT_EQ(chip.Write({0, {'1', '2', '3', '4', '5', '6', '7', '8', '9'}}), "");

    const Texts verbosity =
        Present("FlashVerboseMode") + Texts{"PrintMessage Loading flashloader to target: flashloader.out\n"};
    EXPECT_EQ(NewCalls(),
              (chooseWay + Missing("KeepCcfgSetting") + Mandatory("FlashEraseSetting") + Missing("KeepCcfgSetting") +
               LoadFlashloader(verbosity) + Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "9*1"} +
               Present("CrcVerify") + Texts{postBlock0} + Present("CrcVerify") +
               Texts{"PrintMessage   Chunk 1: addr=0x00000000, length=9, crc=0xCBF43926 (using block 0)", pollBlock1,
                     pollBlock0} +
               Missing("KeepCcfgSetting")));
}

TEST_F(CallOrder, ClosingPhaseThatAppliesEveryChange) {
    chip.Property("RetainIeeeSecondaryAddr") = "1";
    chip.Property("OverrideBleSecondaryAddr") = "1";
    chip.Property("DeviceBleSecondary") = "1:2:3:4:5:6";
    chip.Property("WriteProtectionToggle") = "1";
    chip.Property("DisableBootloader") = "1";
    chip.Property("DisableCpuDap") = "1";

    ASSERT_EQ(chip.Notify(2), "");

    EXPECT_EQ(
        NewCalls(),
        (Texts{"HaltTarget"} + Present("RetainIeeeSecondaryAddr") +
         // the changes to the last sector
         Texts{"ReadMemory 0x0001F000 4096*1"} + Present("RetainIeeeSecondaryAddr") +
         Mandatory("DeviceIeeeSecondaryLoc") + Missing("RetainBleSecondaryAddr") + Present("OverrideBleSecondaryAddr") +
         Mandatory("DeviceBleSecondaryLoc") + Mandatory("DeviceBleSecondary") + Mandatory("DeviceBleSecondaryLoc") +
         Mandatory("WriteProtectionToggle") + Mandatory("WriteProtectionText") + Mandatory("CCFG_PROT_31_0Loc") +
         Present("DisableBootloader") + Mandatory("DisableBootloaderLoc") + Present("DisableCpuDap") +
         Mandatory("DisableCpuDapLoc") +
         // its way back into flash
         Mandatory("FlashEraseSetting") + Texts{"SetProperty FlashEraseSetting=Necessary Sectors Only"} + chooseWay +
         Missing("KeepCcfgSetting") + Mandatory("FlashEraseSetting") + Missing("KeepCcfgSetting") +
         LoadFlashloader(Missing("FlashVerboseMode")) + Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "4096*1"} +
         Missing("CrcVerify") + Texts{postBlock0, pollBlock1, pollBlock0} + Missing("KeepCcfgSetting") +
         Texts{"SetProperty FlashEraseSetting=Necessary Sectors Only", "HaltTarget"}));
}

TEST_F(CallOrder, Erase) {
    ASSERT_EQ(chip.Execute("Erase"), "");

    EXPECT_EQ(NewCalls(), (Missing("KeepCcfgSetting") + LoadFlashloader() + Texts{postBlock0, "RunTarget", pollBlock0} +
                           Missing("KeepCcfgSetting") + finish));
}

TEST_F(CallOrder, EraseSectorsDoesNotWaitForTheLastOne) {
    chip.Property("StandaloneEraseSpecificText") = "1-2,4";

    ASSERT_EQ(chip.Execute("EraseSectors"), "");

    EXPECT_EQ(NewCalls(), (Mandatory("StandaloneEraseSpecificText") + LoadFlashloader() +
                           Texts{postBlock0, pollBlock1, postBlock1, pollBlock0} + finish));
}

TEST_F(CallOrder, BlankCheckStartsNothing) {
    ASSERT_EQ(chip.Execute("BlankCheck"), "");

    EXPECT_EQ(NewCalls(), (LoadFlashloader() + Texts{postBlock0, pollBlock0} +
                           Texts{"PrintMessage Blank Check: Device flash is programmed"} + finish));
}

TEST_F(CallOrder, AddressRead) {
    ASSERT_EQ(chip.Execute("ReadSecBle"), "");

    EXPECT_EQ(NewCalls(), (Mandatory("DeviceBleSecondaryLoc") +
                           Texts{"ReadMemory 0x0001FFC8 6*1", "SetProperty DeviceBleSecondary=11:22:33:44:55:66",
                                 "PrintMessage ReadSecBle: 11:22:33:44:55:66"}));
}

TEST_F(CallOrder, AddressWrite) {
    chip.Property("DeviceBleSecondary") = "1:2:3:4:5:6";

    ASSERT_EQ(chip.Execute("WriteSecBle"), "");

    EXPECT_EQ(NewCalls(),
              (Texts{"ReadMemory 0x0001F000 4096*1"} + Mandatory("DeviceBleSecondaryLoc") +
               Mandatory("DeviceBleSecondary") + Mandatory("DeviceBleSecondaryLoc") + Mandatory("FlashEraseSetting") +
               Texts{"SetProperty FlashEraseSetting=Necessary Sectors Only"} + chooseWay + Missing("KeepCcfgSetting") +
               Mandatory("FlashEraseSetting") + Missing("KeepCcfgSetting") + LoadFlashloader() +
               Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "4096*1"} + Missing("CrcVerify") +
               Texts{postBlock0, pollBlock1, pollBlock0} + Missing("KeepCcfgSetting") +
               Texts{"SetProperty FlashEraseSetting=Necessary Sectors Only"} + finish));
}

TEST_F(CallOrder, HandlesVerificationStopsAtTheFirstYes) {
    bool handles = false;
    ASSERT_STREQ(chip.device->HandlesVerification(0, &handles), nullptr);
    EXPECT_EQ(NewCalls(), (Missing("KeepCcfgSetting") + Mandatory("FlashPageToggle") + Missing("FlashPagesFilledWith") +
                           Missing("CrcVerify")));

    chip.Property("KeepCcfgSetting") = "1";
    ASSERT_STREQ(chip.device->HandlesVerification(0, &handles), nullptr);
    EXPECT_EQ(NewCalls(), Present("KeepCcfgSetting"));
}

TEST_F(CallOrder, TimeOutOfTheOnlyChunk) {
    chip.host.flashloader.AnswerAll(kAnswerNever);
    NewCalls();

    EXPECT_EQ(chip.Write({0, Bytes(4, 0)}), "Timed out waiting for target flashloader to execute command.");

    Texts polls;
    for (int poll = 0; poll < 400; ++poll) {
        polls = std::move(polls) + Texts{pollBlock0, "WaitMilliseconds 5"};
    }
    EXPECT_EQ(NewCalls(),
              (chooseWay + Missing("KeepCcfgSetting") + Mandatory("FlashEraseSetting") + Missing("KeepCcfgSetting") +
               LoadFlashloader() + Mandatory("FlashEraseSetting") + Texts{fillBuffer0 + "4*1"} + Missing("CrcVerify") +
               Texts{postBlock0, pollBlock1} + polls +
               Texts{"LookUpSymbol g_currBuf", "ReadMemory 0x20000240 1*4", "PrintMessage Target timed out! (Block 0)",
                     "PrintMessage   Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!",
                     "HaltTarget"}));
}

TEST_F(CallOrder, AFlashloaderWithoutABufferCountsAsLoaded) {
    host.failures.FailNth(Service::LookUpSymbol, 3, "No symbol g_buf2");
    EXPECT_EQ(chip.Write({0, Bytes(4, 0)}), "No symbol g_buf2");
    NewCalls();

    // Until the next reset the addresses that are not known are the start of SRAM, where nobody answers.
    EXPECT_EQ(chip.Write({0, Bytes(4, 0)}), "Timed out waiting for target flashloader to execute command.");

    const Texts transfers = TextsOf(Without(host.calls, {Service::GetProperty}));
    EXPECT_EQ(Texts(transfers.begin(), transfers.begin() + 3),
              (Texts{fillBuffer0 + "4*1", "WriteMemory 0x20000000 20*1", "ReadMemory 0x20000010 1*4"}));
    EXPECT_EQ(host.CountOf(Service::LoadProgram), 0U);

    ASSERT_EQ(chip.Load({{0, Bytes(4, 0)}}), "");
}

}  // namespace
}  // namespace flash::test
