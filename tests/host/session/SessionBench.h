// A session with a virtual chip through the real plug-in, or through one that misbehaves on demand; and what is loaded.
#pragma once

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "host/session/Session.h"
#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/support/RecordingObserver.h"

namespace flash::host {

class Bench {
public:
    explicit Bench(const std::string& name, const std::string& plugin = REAL_PLUGIN_MODULE,
                   const std::string& fakeBehaviour = "")
        : device(FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER), name)),
          probe(VirtualChipProbe::Open(device, std::nullopt)),
          module(plugin),
          settings(DefaultSettings()) {
        settings.SetAll(device.properties);
        settings.Set("FakeBehaviour", fakeBehaviour);
    }

    Session& Connect() {
        session.emplace(probe, settings, device, device.name, module, HOST_DATA_FOLDER, observer, isInterrupted);
        return *session;
    }

    chip::VirtualChip& Chip() { return probe.Chip(); }
    std::vector<std::uint8_t> Flash(std::uint32_t address, std::size_t length) {
        const auto flash = Chip().Flash().subspan(address, length);
        return {flash.begin(), flash.end()};
    }

    DeviceDescription device;
    VirtualChipProbe probe;
    PluginModule module;
    Settings settings;
    RecordingObserver observer;
    std::atomic<bool> isInterrupted{false};
    std::optional<Session> session;
};

inline std::vector<std::uint8_t> Pattern(std::size_t length, std::uint8_t seed = 1) {
    std::vector<std::uint8_t> bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + (i >> 8) * 13 + seed);
    }
    return bytes;
}

inline ProgramImage ImageOf(std::initializer_list<std::pair<std::uint32_t, std::vector<std::uint8_t>>> pieces) {
    ProgramImage image;
    for (const auto& [address, bytes] : pieces) {
        image.Add(address, bytes, {"test.bin", ""});
    }
    return image;
}

inline LoadResult Program(Session& session, const ProgramImage& image, const ProgramOptions& options = {}) {
    return session.Program(session.Plan(image, options), options);
}

// A valid CCFG: its size in the flags word, everything enabled, and recognisable bytes around the fields.
inline std::vector<std::uint8_t> GoodCcfg() {
    std::vector<std::uint8_t> ccfg(0x58, 0xFF);
    const std::uint8_t flags[] = {0x01, 0x00, 0x58, 0x00};
    std::copy(std::begin(flags), std::end(flags), ccfg.begin() + 8);
    ccfg[0] = 0x5A;
    return ccfg;
}

}  // namespace flash::host
