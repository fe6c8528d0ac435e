// The virtual chip behind the probe interface, and the file that keeps it.
#include "host/virtual_chip/VirtualChipProbe.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <optional>

#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"
#include "host/virtual_chip/VirtualIdentity.h"
#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

DeviceDescription Device(const char* name) {
    return FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, name);
}

TEST(VirtualChipSettings, AreThePartAsDescribedWithPrivateAddresses) {
    DeviceDescription device = Device("LumoD1F64");
    device.ramSizeCode = 2;
    device.revisionCode = 11;

    const chip::Settings settings = VirtualChipSettings(device);

    EXPECT_EQ(settings.generation, chip::Generation::LumoD);
    EXPECT_EQ(settings.sectorCount, 16u);
    EXPECT_EQ(settings.ramSizeCode, 2);
    EXPECT_EQ(settings.identificationCode, 0xB000'0001u);
    EXPECT_EQ(settings.primaryIeeeAddress, (std::array<std::uint8_t, 8>{8, 7, 6, 5, 4, 3, 2, 2}));
    EXPECT_EQ(settings.primaryBleAddress, (std::array<std::uint8_t, 6>{6, 5, 4, 3, 2, 0xC2}));
    EXPECT_EQ(VirtualChipSettings(Device("LumoF2F352")).generation, chip::Generation::LumoF);
}

class ProbeOfAVirtualChip : public testing::Test {
protected:
    std::shared_ptr<chip::VirtualChip> chip =
        std::make_shared<chip::VirtualChip>(VirtualChipSettings(Device("LumoF2F352")));
    VirtualChipProbe probe{chip};
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
    chip->Arm(chip::Fault::LinkErrorAtTransfer);

    try {
        probe.ReadMemory(0x20000000, bytes, 4);
        ADD_FAILURE() << "the link error got lost";
    } catch (const ProbeError& error) {
        EXPECT_STREQ(error.what(), "Cannot read 4 bytes at 0x20000000: the debug link failed.");
    }
}

TEST_F(ProbeOfAVirtualChip, PausesLetItsTimePass) {
    const auto start = probe.Now();

    probe.Pause(std::chrono::milliseconds(5));
    EXPECT_EQ(probe.Now() - start, std::chrono::milliseconds(5));

    probe.WriteMemory(0x20000000, std::vector<std::uint8_t>(4, 0xFF), 4);
    EXPECT_FALSE(probe.PauseWhileWordIs(0x20000000, 0xFFFFFFFF, std::chrono::milliseconds(1)));
    EXPECT_TRUE(probe.PauseWhileWordIs(0x20000000, 0, std::chrono::milliseconds(1)));
}

TEST_F(ProbeOfAVirtualChip, KeepsATimelineAndWithoutAFileNoChip) {
    ASSERT_NE(probe.Timeline(), nullptr);
    EXPECT_EQ(probe.Timeline()->TraceJson(), chip->TimelineJson());
    EXPECT_EQ(probe.Storage(), nullptr);
}

class ChipInAFile : public testing::Test {
protected:
    std::unique_ptr<VirtualChipProbe> Open() const { return VirtualChipProbe::Open(Device("LumoF2F352"), file); }

    void SaveChip(const chip::Settings& settings) const { SaveFile(file, chip::VirtualChip(settings).SaveState()); }

    static std::uint64_t IdentificationCodeOf(Probe& probe) {
        probe.SelectRoute("Sluice");
        return probe.ReadRegister(1);
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder / "a.chip";
};

TEST_F(ChipInAFile, IsTheSavedOneAndAnUnchangedOneIsNotWrittenAgain) {
    chip::Settings settings = VirtualChipSettings(Device("LumoF2F352"));
    settings.identificationCode = 0x7000'0001;
    SaveChip(settings);
    const auto written = std::filesystem::last_write_time(file) - std::chrono::hours(1);
    std::filesystem::last_write_time(file, written);

    const auto probe = Open();
    probe->Storage()->Save();

    EXPECT_EQ(IdentificationCodeOf(*probe), 0x7000'0001u);
    EXPECT_EQ(std::filesystem::last_write_time(file), written);
}

TEST_F(ChipInAFile, IsNewWhenThereIsNoFileAndLastsOnceSaved) {
    const auto probe = Open();
    EXPECT_FALSE(std::filesystem::exists(file));

    probe->Storage()->Save();

    chip::Settings settings = VirtualChipSettings(Device("LumoF2F352"));
    SetIdentity(settings, IdentityOf(probe->Chip().GetSettings()));
    EXPECT_EQ(LoadFile(file), chip::VirtualChip(settings).SaveState());
}

TEST_F(ChipInAFile, OfAnotherPartIsRefused) {
    struct Case {
        chip::Generation generation;
        std::uint32_t sectorCount;
        const char* found;
    };
    const Case cases[] = {{chip::Generation::LumoD, 44, "a virtual LumoD with 176 KiB of flash"},
                          {chip::Generation::LumoF, 43, "a virtual LumoF with 344 KiB of flash"}};
    for (const Case& c : cases) {
        chip::Settings settings = VirtualChipSettings(Device("LumoF2F352"));
        settings.generation = c.generation;
        settings.sectorCount = c.sectorCount;
        SaveChip(settings);

        EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { Open(); }),
                  file.string() + " holds " + c.found +
                      ", which is no LumoF2F352; choose the right \"device\" or another file");
    }
}

TEST_F(ChipInAFile, WithAnotherFlashControllerIsRefused) {
    chip::Settings settings = VirtualChipSettings(Device("LumoF2F352"));
    settings.controller.unitBytes = 8;
    const std::vector<std::uint8_t> state = chip::VirtualChip(settings).SaveState();
    folder.Write("a.chip", std::string(state.begin(), state.end()));

    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { Open(); }),
              file.string() + " holds a chip whose flash controller is not that of LumoF2F352; choose another file");
}

TEST(VirtualChipProbe, SaysWhatIsWrongWithAPartsController) {
    DeviceDescription device = Device("LumoF2F352");
    device.controller = "unit=7 ";
    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { VirtualChipProbe::Open(device, std::nullopt); }),
              "Cannot power up a virtual chip: There is no such chip: a unit of flash has 4, 8, 16 or 32 bytes.");
    device.controller = "units=8";
    const std::string text = FailureOf(FailureKind::BadInput, [&] { VirtualChipSettings(device); });
    EXPECT_EQ(text.find(device.file.string() + ": controller=\"units=8\": \"units=8\" is none of unit=BYTES"), 0U)
        << text;
}

TEST_F(ChipInAFile, ThatIsNoneIsRefused) {
    folder.Write("a.chip", "no chip");

    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { Open(); }),
              "Cannot power up the virtual chip in " + file.string() +
                  ": This is no saved state of a virtual chip: it is too short.");
}

// In a process of its own, because a limit stays for good.
TEST(VirtualChipProbe, WithoutTheAddressSpaceThatItNeedsItSaysSo) {
    const DeviceDescription part = Device("LumoF2F352");
    const pid_t process = fork();
    if (process == 0) {
        std::ifstream status("/proc/self/statm");
        rlim_t pages = 0;
        status >> pages;
        constexpr rlim_t kSpare = rlim_t{256} << 20;
        const rlimit limit{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + kSpare, RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &limit);
        const std::string text =
            FailureOf(FailureKind::Unreachable, [&] { VirtualChipProbe::Open(part, std::nullopt); });
        const bool isTold = text.starts_with("Cannot power up a virtual chip: ") &&
                            text.ends_with("MiB of address space, more than this process may have");
        _exit(isTold ? 0 : 1);
    }
    int status = -1;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace flash::host
