// Which probes a user can name, and what opening one gives.
#include "host/backends/OpenProbe.h"

#include <gtest/gtest.h>

#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/support/FakeProbe.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

TEST(ParseProbe, TakesAVirtualChipWithAFileAndWithout) {
    EXPECT_EQ(ParseProbe("virtual"), (ProbeSpec{"virtual", "", {}}));
    EXPECT_EQ(ParseProbe("virtual:a.chip"), (ProbeSpec{"virtual", "a.chip", {}}));
}

TEST(ParseProbe, RefusesWhatIsNoProbe) {
    for (const std::string text : {"", "real", "Virtual", "virtual:", "virtual "}) {
        EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { ParseProbe(text); }),
                  "\"probe\": \"" + text + "\" is none of virtual, virtual:FILE and gdb:HOST:PORT");
    }
    for (const std::string text :
         {"virtual:a.chip,key=value", "gdb", "gdb:host", "gdb:host:port", "gdb::1,key=value",
          "gdb::1,reset=", "gdb::1,id-code=1", "gdb::1,id-code=0x100000000", "gdb::1,timeout=0", "gdb::1,timeout=5s",
          "gdb::1,background-access=1", "gdb::1,check-writes="}) {
        EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { ParseProbe(text); }).find("\"probe\": \"" + text + "\": "), 0u)
            << text;
    }
}

TEST(ParseProbe, TakesTheIdentityOfAVirtualChip) {
    EXPECT_EQ(ParseProbe("virtual:a.chip,identity=02:00:00:00:00:00:00:01").keys.at("identity"),
              "02:00:00:00:00:00:00:01");
    EXPECT_EQ(FailureOf(FailureKind::BadInput, [] { ParseProbe("virtual:a.chip,identity=02:00"); }),
              "\"probe\": \"02:00\" is not an address of 8 bytes, two hexadecimal digits each with ':' between, most "
              "significant byte first");
}

TEST(ParseProbe, TakesAGdbServerWithItsKeys) {
    EXPECT_EQ(ParseProbe("gdb:[::1]:3333,reset=reset halt,id-code=0x10000001,timeout=30,background-access=yes,"
                         "check-writes=no")
                  .place,
              "[::1]:3333");
}

TEST(OpenProbe, SaysWhichServerDoesNotAnswer) {
    const DeviceDescription part = FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, "LumoD1F64");

    EXPECT_EQ(FailureOf(FailureKind::Unreachable,
                        [&] {
                            OpenProbe({"gdb", "127.0.0.1:1", {}}, part);
                        }),
              "Cannot reach the GDB server at 127.0.0.1:1: connection refused");
}

TEST(ArmFaults, AsksAProbeThatBreaksOnDemand) {
    FakeProbe probe;

    ArmFaults(probe, {});
    EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { ArmFaults(probe, {"operation-fails@1"}); }),
              "\"fault\": only a virtual chip breaks on demand");
}

TEST(FileOf, IsThePlaceOfAVirtualChip) {
    EXPECT_EQ(FileOf({"virtual", "a.chip", {}}), "a.chip");
    EXPECT_EQ(FileOf({"virtual", "", {}}), std::nullopt);
    EXPECT_EQ(FileOf({"real", "a.chip", {}}), std::nullopt);
}

TEST(MeantFrom, MovesAFileAndNothingElse) {
    EXPECT_EQ(MeantFrom("folder", {"virtual", "a.chip", {}}).place, "folder/a.chip");
    EXPECT_EQ(MeantFrom("folder", {"virtual", "/a.chip", {}}).place, "/a.chip");
    EXPECT_EQ(MeantFrom("folder", {"virtual", "", {}}).place, "");
    EXPECT_EQ(MeantFrom("folder", {"real", "a:1", {}}).place, "a:1");
}

TEST(OpenProbe, PowersUpAVirtualChipOfThePartAndSavesItWhereItWasNamed) {
    const DeviceDescription part = FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, "LumoD1F64");
    const TemporaryFolder folder;

    const auto passing = OpenProbe({"virtual", "", {}}, part);
    const auto lasting = OpenProbe({"virtual", (folder / "a.chip").string(), {}}, part);

    EXPECT_EQ(passing->Describe(), "a virtual LumoD with 64 KiB of flash");
    EXPECT_EQ(passing->Storage(), nullptr);
    ASSERT_NE(lasting->Storage(), nullptr);
    lasting->Storage()->Save();
    EXPECT_TRUE(std::filesystem::exists(folder / "a.chip"));
}

TEST(OpenProbe, WhoOnlyLooksMakesNoChip) {
    const DeviceDescription part = FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, "LumoD1F64");
    const TemporaryFolder folder;
    const ProbeSpec spec{"virtual", (folder / "a.chip").string(), {}};

    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { OpenProbe(spec, part, ChipUse::Look); }),
              "There is no virtual chip in " + spec.place + ": only what changes a chip makes a new one");
    OpenProbe(spec, part, ChipUse::Change)->Storage()->Save();
    EXPECT_NE(OpenProbe(spec, part, ChipUse::Look), nullptr);
    EXPECT_NE(OpenProbe({"virtual", "", {}}, part, ChipUse::Look), nullptr) << "it is new each time";
}

TEST(OpenProbe, AReadOnlyChipIsThereToBeLookedAt) {
    const DeviceDescription part = FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, "LumoD1F64");
    const TemporaryFolder folder;
    const ProbeSpec spec{"virtual", (folder / "a.chip").string(), {}};
    OpenProbe(spec, part)->Storage()->Save();
    std::filesystem::permissions(spec.place, std::filesystem::perms(0444));

    EXPECT_NE(OpenProbe(spec, part, ChipUse::Look), nullptr);
    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { OpenProbe(spec, part); }),
              "The virtual chip in " + spec.place + " cannot be changed: the file is read-only");
}

}  // namespace
}  // namespace flash::host
