// lumoflash whose chip takes its time on the clock on the wall, as one behind a real probe: each pause lasts until as
// much time has passed as on the chip's own clock, LUMOFLASH_PACE times as much. Linked with every call of OpenProbe
// led here.
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "apps/lumoflash/GdbServerObserver.h"
#include "host/backends/OpenProbe.h"

#define OPEN_PROBE "_ZN5flash4host9OpenProbeERKNS0_9ProbeSpecERKNS0_17DeviceDescriptionENS0_7ChipUseE"

namespace flash::host {

std::unique_ptr<Probe> RealOpenProbe(const ProbeSpec& spec, const DeviceDescription& part,
                                     ChipUse use) __asm__("__real_" OPEN_PROBE);
std::unique_ptr<Probe> OpenPacedProbe(const ProbeSpec& spec, const DeviceDescription& part,
                                      ChipUse use) __asm__("__wrap_" OPEN_PROBE);

std::unique_ptr<Probe> OpenPacedProbe(const ProbeSpec& spec, const DeviceDescription& part, ChipUse use) {
    const char* pace = std::getenv("LUMOFLASH_PACE");
    const double factor = pace == nullptr ? 1 : std::atof(pace);
    std::unique_ptr<Probe> probe = RealOpenProbe(spec, part, use);
    Probe& chip = *probe;
    const auto start = std::chrono::steady_clock::now();
    const auto chipStart = chip.Now();
    return app::MakeAttentive(std::move(probe), [=, &chip] {
        const std::chrono::duration<double, std::nano> due((chip.Now() - chipStart) * factor);
        std::this_thread::sleep_until(start + std::chrono::duration_cast<std::chrono::nanoseconds>(due));
    });
}

}  // namespace flash::host
