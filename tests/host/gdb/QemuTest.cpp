// Our client against a server that none of us wrote.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "host/gdb/GdbProbe.h"
#include "host/gdb/Socket.h"
#include "tests/host/gdb/QemuServer.h"

namespace flash::host::gdb {
namespace {

constexpr std::chrono::seconds kLong{60};  // on a machine that is busy with other things
constexpr std::uint32_t kRam = 0x2000'0000;
constexpr std::uint32_t kCounter = kRam + 0x100;
constexpr std::uint32_t kAnswered = kRam + 4;

// Counts a word up, and comes by `kAnswered` each time.
constexpr std::uint16_t kCounting[] = {
    0x483E,  // 0: ldr r0, [pc, #248]  (the word at 0xFC: the counter's address)
    0x6801,  // 2: ldr r1, [r0]
    0xBF00,  // 4: nop
    0x3101,  // 6: adds r1, #1
    0x6001,  // 8: str r1, [r0]
    0xE7FB,  // A: b 4
};

class Qemu : public testing::Test {
protected:
    Qemu() : probe(Connect(qemu.Place(), kLong), clock, TextOf(qemu.Place()), Options()) {}

    static GdbProbeOptions Options() {
        GdbProbeOptions options;
        options.timeout = kLong;
        return options;
    }

    std::uint32_t ReadWord(std::uint32_t address) {
        std::array<std::uint8_t, 4> bytes{};
        probe.ReadMemory(address, bytes, 4);
        return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
    }

    void WriteWord(std::uint32_t address, std::uint32_t word) {
        const std::array<std::uint8_t, 4> bytes = {
            static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
            static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 24)};
        probe.WriteMemory(address, bytes, 4);
    }

    void LoadCounting() {
        const auto* const code = reinterpret_cast<const std::uint8_t*>(kCounting);
        probe.WriteMemory(kRam, {code, sizeof kCounting}, 1);
        WriteWord(kRam + 0xFC, kCounter);
        WriteWord(kCounter, 0);
        probe.WriteRegister(kProgramCounterRegister, kRam);
    }

    QemuServer qemu;
    SteadyClock clock;
    GdbProbe probe;
};

TEST_F(Qemu, KeepsWhatIsWritten) {
    std::mt19937 random(1);
    std::vector<std::uint8_t> bytes(100'003), readBack(bytes.size());
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }

    probe.WriteMemory(kRam + 1, bytes, 1);
    probe.ReadMemory(kRam + 1, readBack, 1);

    EXPECT_EQ(readBack, bytes);
}

TEST_F(Qemu, GivesAndTakesRegistersByName) {
    probe.WriteRegister(kFirstCoreRegister + 3, 0x1234'5678);
    probe.WriteRegister(kProgramCounterRegister, kRam);

    EXPECT_EQ(probe.ReadRegister(kFirstCoreRegister + 3), 0x1234'5678u);
    EXPECT_EQ(probe.ReadRegister(kProgramCounterRegister), kRam);
    EXPECT_NE(probe.Server().ReadRegister("xpsr") & 1u << 24, 0u);
}

TEST_F(Qemu, RunsARoutineToItsBreakpointAgainAndAgain) {
    LoadCounting();
    probe.Answers()->StopWhereAnswered(kAnswered);
    probe.Run();
    for (std::uint32_t count = 0; count < 100; ++count) {
        ASSERT_TRUE(probe.PauseWhileWordIs(kCounter, count, kLong));
        ASSERT_EQ(ReadWord(kCounter), count + 1);
    }
}

TEST_F(Qemu, RunsARoutineThatIsPolled) {
    LoadCounting();
    probe.Run();

    EXPECT_TRUE(probe.PauseWhileWordIs(kCounter, 0, kLong));

    probe.Halt();
    EXPECT_FALSE(probe.ReadCoreState().isRunning);
    EXPECT_GE(probe.ReadRegister(kProgramCounterRegister), kRam);
}

TEST_F(Qemu, IsReset) {
    WriteWord(0, kRam + 0x1000);
    WriteWord(4, 0x201);
    probe.WriteRegister(kProgramCounterRegister, kRam);

    probe.Debugging()->Reset();

    EXPECT_EQ(probe.ReadRegister(kProgramCounterRegister), 0x200u);
    EXPECT_EQ(probe.ReadRegister(kProgramCounterRegister - 2), kRam + 0x1000);
}

TEST_F(Qemu, ThatIsGoneIsTold) {
    qemu.Kill();

    EXPECT_THROW(ReadWord(kRam), ProbeError);
}

}  // namespace
}  // namespace flash::host::gdb
