// A whole load through a server that none of us wrote: the plug-in, the flashloader with RAM for flash, and the probe.
#include <gtest/gtest.h>

#include <random>

#include "host/gdb/GdbProbe.h"
#include "host/gdb/Socket.h"
#include "host/session/Connection.h"
#include "tests/host/gdb/IdentityShim.h"
#include "tests/host/gdb/QemuServer.h"
#include "tests/host/support/RecordingObserver.h"

namespace flash::host::gdb {
namespace {

constexpr std::chrono::seconds kLong{60};  // on a machine that is busy with other things
constexpr std::uint32_t kSectors = 44;
constexpr std::uint32_t kSectorBytes = 8192;
constexpr std::uint32_t kFlashBytes = kSectors * kSectorBytes;

// Leaves the core as unusable as an application can: memory protected so that nothing in SRAM may be executed,
// unaligned accesses trapped, on a process stack that leads nowhere, faults masked. Then it says so, and stands still.
constexpr std::uint32_t kApplicationStart = 0x8;
constexpr std::uint32_t kApplicationDone = 0x400;
constexpr std::uint16_t kApplication[] = {
    0x1000, 0x2000, 0x0009, 0x0000,  // the vectors: stack, entry
    0x4810, 0x2100, 0x6081,          // 08 ldr r0, =0xE000ED90; movs r1, #0; str r1, [r0, #8]: region 0,
    0x60C1, 0x490F, 0x6101,          // 0E str r1, [r0, #12]: from 0 on; ldr r1, =0x0300003F; str r1, [r0, #16]
    0x2101, 0x6081, 0x0749,          // 14 movs r1, #1; str r1, [r0, #8]: region 1; lsls r1, r1, #29
    0x60C1, 0x490D, 0x6101,          // 1A str r1, [r0, #12]: from 0x20000000 on; ldr r1, =0x1300002B; str r1, [r0, #16]
    0x2101, 0x6041, 0x490C,          // 20 movs r1, #1; str r1, [r0, #4]: on; ldr r1, =0xE000ED14
    0x2218, 0x600A, 0x2110,          // 26 movs r2, #0x18; str r2, [r1]: trap; movs r1, #16
    0xF381, 0x8809, 0x2102,          // 2C msr psp, r1; movs r1, #2
    0xF381, 0x8814, 0xB671,          // 32 msr control, r1; cpsid f
    0x2101, 0x0289, 0x6009,          // 38 movs r1, #1; lsls r1, r1, #10; str r1, [r1]
    0xE7FE, 0xBF00, 0xBF00,          // 3E b .
    0xBF00, 0xBF00, 0xBF00, 0xBF00,  // 44
    0xED90, 0xE000, 0x003F, 0x0300, 0x002B, 0x1300, 0xED14, 0xE000};

std::vector<std::uint8_t> RudeApplication() {
    std::vector<std::uint8_t> bytes;
    for (const std::uint16_t half : kApplication) {
        bytes.push_back(static_cast<std::uint8_t>(half));
        bytes.push_back(static_cast<std::uint8_t>(half >> 8));
    }
    bytes.resize(kApplicationDone + 4);
    return bytes;
}

class ALoadOverQemu : public testing::Test {
protected:
    explicit ALoadOverQemu(std::vector<std::uint8_t> applicationBefore = {})
        : application(std::move(applicationBefore)) {
        const ConnectionRequest request{
            .part = "LumoF2F352",
            .devicesFolder = FLASH_DEVICES_FOLDER,
            .dataFolder = HOST_DATA_FOLDER,
            .plugin = REAL_PLUGIN_MODULE,
            .properties = {{"DeviceFlashloaderFile", "lumof-ram-flashloader.elf"}},
            .openProbe = [this](const DeviceDescription& part) { return OpenProbe(part); },
        };
        connection = std::make_unique<Connection>(request, observer, isInterrupted);
    }

    void RunApplication(GdbProbe& opened) const {
        if (application.empty()) {
            return;
        }
        opened.WriteMemory(0, application, 1);
        opened.WriteRegister(kProgramCounterRegister, kApplicationStart);
        opened.Run();
        EXPECT_TRUE(opened.PauseWhileWordIs(kApplicationDone, 0, kLong));
        opened.Halt();
    }

    std::unique_ptr<Probe> OpenProbe(const DeviceDescription& part) {
        auto identity = std::make_unique<IdentityShim>(Connect(qemu.Place(), kLong));
        identity->words = {{0x4003'002C, kSectors}, {0x4008'2250, 3}, {part.ccfgSizeRegister, 0x0058'0000}};
        shim = identity.get();
        GdbProbeOptions options;
        options.timeout = kLong;
        options.identificationCode = 0x1000'0001;
        auto opened = std::make_unique<GdbProbe>(std::move(identity), clock, "qemu", options);
        client = &opened->Server();
        opened->WriteMemory(0, std::vector<std::uint8_t>(kFlashBytes, 0xFF), 1);  // an erased chip
        RunApplication(*opened);
        return opened;
    }

    static ProgramImage RandomImage(std::uint32_t lengthBytes) {
        std::mt19937 random(7);
        std::vector<std::uint8_t> bytes(lengthBytes);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        ProgramImage image;
        image.Add(0, bytes, {"random", ""});
        return image;
    }

    std::vector<std::uint8_t> application;
    QemuServer qemu;
    SteadyClock clock;
    RecordingObserver observer;
    std::atomic<bool> isInterrupted{false};
    IdentityShim* shim = nullptr;
    Client* client = nullptr;
    std::unique_ptr<Connection> connection;
};

TEST_F(ALoadOverQemu, ProgramsVerifiesAndReadsBack) {
    const ProgramImage image = RandomImage(20 * kSectorBytes);
    Session& session = connection->GetSession();
    const ProgramOptions options;

    const LoadResult result = session.Program(session.Plan(image, options));

    EXPECT_EQ(result.programmedBytes, 20u * kSectorBytes);
    EXPECT_EQ(session.Verify(image), image.ByteCount());
    EXPECT_EQ(session.Read(0, 20 * kSectorBytes), image.Runs().front().bytes);
}

class ALoadOverQemuAfterAnApplication : public ALoadOverQemu {
protected:
    ALoadOverQemuAfterAnApplication() : ALoadOverQemu(RudeApplication()) {}
};

TEST_F(ALoadOverQemuAfterAnApplication, WorksWhateverThatHasMadeOfTheCore) {
    const ProgramImage image = RandomImage(2 * kSectorBytes);
    Session& session = connection->GetSession();
    const ProgramOptions options;

    session.Program(session.Plan(image, options));

    EXPECT_EQ(session.Read(0, 2 * kSectorBytes), image.Runs().front().bytes);
    EXPECT_EQ(observer.notes, std::vector<std::string>{});
}

// This server knows no binary writes, so each byte travels as two digits. What every load takes, however short, is not
// counted.
TEST_F(ALoadOverQemu, TakesFewPacketsAndLittleMoreThanItsDigits) {
    const auto load = [this](std::uint32_t chunks) {
        const ProgramImage image = RandomImage(chunks * kSectorBytes);
        const ProgramOptions options;
        const PlannedLoad plan = connection->GetSession().Plan(image, options);
        const Traffic before = client->GetTraffic();
        connection->GetSession().Program(plan);
        const Traffic after = client->GetTraffic();
        return std::pair{after.packetsSent - before.packetsSent,
                         after.bytesSent + after.bytesReceived - before.bytesSent - before.bytesReceived};
    };
    const auto [fewPackets, fewBytes] = load(4);
    const auto [packets, bytes] = load(20);

    const double perChunk = static_cast<double>(packets - fewPackets) / 16;
    const double perByte = static_cast<double>(bytes - fewBytes) / (16 * kSectorBytes);
    RecordProperty("packetsPerChunk", std::to_string(perChunk));
    RecordProperty("bytesPerByte", std::to_string(perByte));
    EXPECT_LE(perChunk, 12);
    EXPECT_LE(perByte, 2.3);
}

TEST_F(ALoadOverQemu, IsNotInterruptedWhileItPrograms) {
    const ProgramImage image = RandomImage(3 * kSectorBytes);
    Session& session = connection->GetSession();
    const ProgramOptions options;
    const PlannedLoad plan = session.Plan(image, options);
    const int before = shim->interrupts;

    session.Program(plan);

    EXPECT_EQ(shim->interrupts, before);
}

TEST_F(ALoadOverQemu, TellsADifference) {
    const ProgramImage image = RandomImage(kSectorBytes);
    Session& session = connection->GetSession();
    const ProgramOptions options;
    session.Program(session.Plan(image, options));
    connection->GetProbe().WriteMemory(0x123, std::vector<std::uint8_t>(1, 0), 1);

    EXPECT_THROW(session.Verify(image), std::exception);
}

}  // namespace
}  // namespace flash::host::gdb
