// How fast RAM is written and read over QEMU's GDB server, in the sizes that a load has, and what travels for it.
#include <fmt/format.h>

#include <random>

#include "host/gdb/GdbProbe.h"
#include "host/gdb/Socket.h"
#include "tests/host/gdb/QemuServer.h"

namespace {

using namespace flash::host::gdb;

constexpr std::uint32_t kRam = 0x2000'0000;
constexpr std::uint32_t kTotalBytes = 8u << 20;

template <typename Work>
void Measure(GdbProbe& probe, const char* what, std::uint32_t pieceBytes, Work work) {
    SteadyClock clock;
    const Traffic before = probe.Server().GetTraffic();
    const auto start = clock.Now();
    for (std::uint32_t done = 0; done < kTotalBytes; done += pieceBytes) {
        work();
    }
    const double seconds = std::chrono::duration<double>(clock.Now() - start).count();
    const Traffic after = probe.Server().GetTraffic();
    const auto wire =
        static_cast<double>(after.bytesSent + after.bytesReceived - before.bytesSent - before.bytesReceived);
    fmt::print("{:5} {:6} bytes: {:6.2f} MB/s, {:.2f} bytes on the wire per byte, {:.1f} packets\n", what, pieceBytes,
               kTotalBytes / seconds / 1e6, wire / kTotalBytes,
               static_cast<double>(after.packetsSent - before.packetsSent) * pieceBytes / kTotalBytes);
}

}  // namespace

int main() {
    QemuServer qemu;
    SteadyClock clock;
    GdbProbeOptions options;
    options.timeout = std::chrono::seconds(60);
    GdbProbe probe(Connect(qemu.Place(), options.timeout), clock, TextOf(qemu.Place()), options);
    std::mt19937 random(1);
    for (const std::uint32_t pieceBytes : {1024u, 8192u, 65536u}) {
        std::vector<std::uint8_t> bytes(pieceBytes);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        Measure(probe, "write", pieceBytes, [&] { probe.WriteMemory(kRam, bytes, 4); });
        Measure(probe, "read", pieceBytes, [&] { probe.ReadMemory(kRam, bytes, 4); });
    }
    return 0;
}
