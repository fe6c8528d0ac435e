// The tests' own fakes: what other tests rely on without looking.
#include <gtest/gtest.h>

#include "tests/support/LoadedModule.h"
#include "tests/support/TestTarget.h"

namespace flash::test {
namespace {

std::vector<std::uint8_t> Posted(std::uint32_t address, std::uint32_t length, std::uint32_t command) {
    std::vector<std::uint8_t> bytes;
    for (const std::uint32_t word : {address, length, command, 0U, 0xFFFF'FFFFU}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
    return bytes;
}

class StartedFlashloader : public testing::Test {
protected:
    StartedFlashloader() {
        host.LoadProgram("flashloader.elf", "", "");
        host.WriteRegister(527, target->flashloader.addresses.resetIsr);
        host.RunTarget();
    }

    void Post(std::uint32_t block, std::uint32_t address, std::uint32_t length, std::uint32_t command) {
        const std::vector<std::uint8_t> bytes = Posted(address, length, command);
        host.WriteMemory(bytes.data(), bytes.size(), loader.BlockAddress(block), 1, 1);
    }

    std::uint32_t Status(std::uint32_t block) {
        std::uint32_t status = 0;
        host.ReadMemory(&status, 1, loader.BlockAddress(block) + 16, 1, 4);
        return status;
    }

    std::unique_ptr<TestTarget> target = MakeLumoD();
    FakeHost& host = target->host;
    ScriptedFlashloader& loader = target->flashloader;
};

TEST(FakeHostTest, SpoilsAReturnedTextAtTheNextServiceCall) {
    FakeHost host;
    host.properties["Name"] = "value";
    const char* text = host.GetProperty("Name");
    ASSERT_STREQ(text, "value");

    host.HaltTarget();

    EXPECT_STREQ(text, "#####");
}

TEST(FakeHostTest, FailsTheNthCallOnceAndChangesNothing) {
    FakeHost host;
    host.FailNth(Slot::SetProperty, 2, "refused");

    EXPECT_EQ(host.SetProperty("A", "1"), nullptr);
    EXPECT_STREQ(host.SetProperty("A", "2"), "refused");
    EXPECT_EQ(host.properties["A"], "1");
    EXPECT_EQ(host.LastFailure(), Slot::SetProperty);
    EXPECT_EQ(host.SetProperty("A", "3"), nullptr);
}

TEST(FakeHostTest, FailsEveryCallFromTheNthOn) {
    FakeHost host;
    host.FailAllFrom(2, "lost");

    EXPECT_EQ(host.HaltTarget(), nullptr);
    EXPECT_STREQ(host.HaltTarget(), "lost");
    EXPECT_STREQ(host.RunTarget(), "lost +1");
    host.StopFailing();
    EXPECT_EQ(host.HaltTarget(), nullptr);
}

TEST(FakeHostTest, HidesOnePropertyAtItsNthReading) {
    FakeHost host;
    host.properties = {{"A", "1"}, {"B", "2"}};
    host.HideProperty("A", 2);

    EXPECT_STREQ(host.GetProperty("A"), "1");
    EXPECT_STREQ(host.GetProperty("B"), "2");
    EXPECT_EQ(host.GetProperty("A"), nullptr);
    EXPECT_STREQ(host.GetProperty("A"), "1");
}

TEST(FakeHostTest, RecordsCallsAsTexts) {
    FakeHost host;
    std::uint32_t word = 0;
    host.SetProperty("Name", "value");
    host.LoadProgram("file", "", "folder");
    host.ReadMemory(&word, 1, 0x4003'002C, 1, 4);
    host.WriteRegister(527, 0x2000'0101);
    host.WaitMilliseconds(5);

    EXPECT_EQ(TextsOf(host.calls), (std::vector<std::string>{"SetProperty Name=value", "LoadProgram file||folder",
                                                             "ReadMemory 0x4003002C 1*4",
                                                             "WriteRegister 527=0x20000101", "WaitMilliseconds 5"}));
}

TEST(FakeHostDeathTest, AReservedSlotEndsTheProgram) {
    FakeHost host;
    EXPECT_DEATH(host.Reserved12(), "reserved host slot 12");
}

TEST(TargetMemoryTest, AMirroredWindowShowsTheSameBytes) {
    TargetMemory memory;
    memory.Mirror(0x5000'3000, 0x1000, 0x1'F000);

    memory.SetWord(0x1'FFB0, 0x0058'FFFF);

    EXPECT_EQ(memory.Word(0x5000'3FB0), 0x0058'FFFFU);
    EXPECT_EQ(memory.Word(0x5000'4000), 0U);
}

TEST(TargetMemoryTest, CrossesItsBlocks) {
    TargetMemory memory;
    memory.SetBytes(0x1FFE, {1, 2, 3, 4});

    EXPECT_EQ(memory.Bytes(0x1FFD, 6), (std::vector<std::uint8_t>{0, 1, 2, 3, 4, 0}));
}

TEST_F(StartedFlashloader, ProgramsOnlyDownwardsWithoutErase) {
    host.memory.SetBytes(0x1000, {0x0F});
    host.memory.SetBytes(loader.addresses.buffers[0], {0x3C});

    Post(0, 0x1000, 1, 2);

    EXPECT_EQ(Status(0), 0U);
    EXPECT_EQ(host.memory.Bytes(0x1000, 1), (std::vector<std::uint8_t>{0x0C}));
    EXPECT_EQ(TextsOf(loader.taken),
              (std::vector<std::string>{"command=2 addr=0x00001000 length=1 crc=0x00000000 block=0"}));
}

TEST_F(StartedFlashloader, TakesBlocksInTurn) {
    Post(1, 0, 0xFFF, 5);
    EXPECT_EQ(Status(1), 0xFFFF'FFFFU);

    Post(0, 0x1000, 0xFFF, 5);

    EXPECT_EQ(Status(1), 0U);
    EXPECT_EQ(loader.taken.size(), 2U);
}

TEST_F(StartedFlashloader, AnswersAfterTheAskedPolls) {
    loader.AnswerNth(1, AnswerAfterPolls(2));
    Post(0, 0, 0, 1);

    EXPECT_EQ(Status(0), 0xFFFF'FFFFU);
    EXPECT_EQ(Status(0), 0xFFFF'FFFFU);
    EXPECT_EQ(Status(0), 0U);
}

TEST_F(StartedFlashloader, NeverAnswersWhenAskedSo) {
    loader.AnswerCommand(1, kAnswerNever);
    Post(0, 0, 0, 1);
    host.HaltTarget();

    EXPECT_EQ(Status(0), 0xFFFF'FFFFU);
    EXPECT_TRUE(loader.isBusy);
}

TEST_F(StartedFlashloader, DoesNothingWhileItIsHalted) {
    host.HaltTarget();
    Post(0, 0, 0, 1);

    EXPECT_EQ(Status(0), 0xFFFF'FFFFU);
    EXPECT_TRUE(loader.taken.empty());
}

TEST(MakeDevice, DrivesTheBuiltModuleThroughItsTables) {
    const auto target = MakeLumoD();
    const DevicePointer device = MakeDevice(target->model.deviceName, &target->host);
    const std::vector<std::uint8_t> data(5000, 0x5A);

    bool ready = false;
    const char* operations = nullptr;
    ASSERT_STREQ(device->Initialize(&ready, &operations), nullptr);
    ASSERT_STREQ(CallSlot(device.get(), 4, data.data(), std::uint64_t{0x1000}, std::uint32_t{5000}), nullptr);

    EXPECT_EQ(target->host.memory.Bytes(0x1000, 5000), data);
    EXPECT_EQ(target->host.properties["DeviceInfoFlashSize"], "128 KB (32 sectors)");
}

}  // namespace
}  // namespace flash::test
