// The virtual chip behind the probe interface, and the file that keeps it.
#include "host/virtual_chip/VirtualChipProbe.h"

#include <gtest/gtest.h>

#include <fstream>

#include "host/files/ProgramFile.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

class ProbeOfAVirtualChip : public testing::Test {
protected:
    DeviceDescription Device(const char* name) const {
        return FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER), name);
    }

    VirtualChipProbe probe = VirtualChipProbe::Open(Device("LumoF2F352"), std::nullopt);
    const std::filesystem::path file = std::filesystem::path(testing::TempDir()) / "probe_test.chip";

    void SaveChipWith(std::uint8_t byte) const {
        VirtualChipProbe fresh = VirtualChipProbe::Open(Device("LumoF2F352"), file);
        fresh.Chip().PlaceInFlash(0x1000, std::span(&byte, 1));
        fresh.Save();
    }

    void SetUp() override { std::filesystem::remove(file); }
    void TearDown() override { std::filesystem::remove(file); }
};

TEST_F(ProbeOfAVirtualChip, TheRouterGivesItsIdentificationAndTheCoreItsProgramCounter) {
    probe.SelectRoute("Sluice");
    EXPECT_EQ(probe.ReadRegister(1) >> 28, 1u);
    EXPECT_THROW(probe.ReadRegister(2), ProbeError);

    probe.SelectRoute("Cortex");
    probe.WriteRegister(kProgramCounterRegister, 0x20000100);
    EXPECT_EQ(probe.ReadRegister(kProgramCounterRegister), 0x20000100u);
    EXPECT_EQ(probe.ReadCoreState().programCounter, 0x20000100u);
    EXPECT_THROW(probe.ReadRegister(1), ProbeError);
    EXPECT_THROW(probe.SelectRoute("Elsewhere"), ProbeError);
}

TEST_F(ProbeOfAVirtualChip, AnAccessThatFailsSaysWhatWasTriedAndWhatCameBack) {
    std::vector<std::uint8_t> bytes(4);
    probe.Chip().Arm(chip::Fault::LinkErrorAtTransfer);

    try {
        probe.ReadMemory(0x20000000, bytes, 4);
        ADD_FAILURE() << "the link error got lost";
    } catch (const ProbeError& error) {
        EXPECT_STREQ(error.what(), "Cannot read 4 bytes at 0x20000000: the debug link failed.");
    }
}

TEST_F(ProbeOfAVirtualChip, AChipLastsInItsFileAndAnUnchangedOneIsNotWrittenAgain) {
    SaveChipWith(0x42);
    const auto written = std::filesystem::last_write_time(file) - std::chrono::hours(1);
    std::filesystem::last_write_time(file, written);

    VirtualChipProbe again = VirtualChipProbe::Open(Device("LumoF2F352"), file);
    again.Save();

    EXPECT_EQ(again.Chip().Flash()[0x1000], 0x42);
    EXPECT_EQ(std::filesystem::last_write_time(file), written);
}

TEST_F(ProbeOfAVirtualChip, AFileOfNoChipOrOfAnotherIsRefused) {
    SaveChipWith(0x42);
    FailureOf(FailureKind::Unreachable, [&] { VirtualChipProbe::Open(Device("LumoD1F64"), file); });

    std::ofstream(file) << "no chip";
    FailureOf(FailureKind::Unreachable, [&] { VirtualChipProbe::Open(Device("LumoF2F352"), file); });
}

TEST_F(ProbeOfAVirtualChip, PausesLetItsTimePass) {
    const auto start = probe.Now();

    probe.Pause(std::chrono::milliseconds(5));
    EXPECT_EQ(probe.Now() - start, std::chrono::milliseconds(5));

    probe.WriteMemory(0x20000000, std::vector<std::uint8_t>(4, 0xFF), 4);
    EXPECT_FALSE(probe.PauseWhileWordIs(0x20000000, 0xFFFFFFFF, std::chrono::milliseconds(1)));
    EXPECT_TRUE(probe.PauseWhileWordIs(0x20000000, 0, std::chrono::milliseconds(1)));
}

}  // namespace
}  // namespace flash::host
