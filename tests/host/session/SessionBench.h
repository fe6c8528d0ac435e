// A session with a virtual chip through the real plug-in, or through one that misbehaves on demand; and what is loaded.
#pragma once

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "host/session/Connection.h"
#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/support/RecordingObserver.h"
#include "tests/host/support/SectorSets.h"

namespace flash::host {

class Bench {
public:
    explicit Bench(const std::string& name, const std::string& plugin = REAL_PLUGIN_MODULE,
                   const std::string& fakeBehaviour = "")
        : device(FindDevice(LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices, name)),
          properties{{"FakeBehaviour", fakeBehaviour}},
          module(plugin) {}

    // Also again, as after the chip was switched off and on.
    Session& Connect() {
        const auto openProbe = [this](const DeviceDescription&) { return std::make_unique<VirtualChipProbe>(chip); };
        connection.reset();
        connection.emplace(ConnectionRequest{device.name, FLASH_DEVICES_FOLDER, dataFolder, module, properties,
                                             openProbe, notesFolder},
                           observer, isInterrupted);
        session = &connection->GetSession();
        return *session;
    }

    chip::VirtualChip& Chip() { return *chip; }
    std::vector<std::uint8_t> Flash(std::uint32_t address, std::size_t length) {
        const auto flash = Chip().Flash().subspan(address, length);
        return {flash.begin(), flash.end()};
    }

    DeviceDescription device;
    std::shared_ptr<chip::VirtualChip> chip = std::make_shared<chip::VirtualChip>(VirtualChipSettings(device));
    std::map<std::string, std::string> properties;
    std::filesystem::path dataFolder = HOST_DATA_FOLDER;
    std::filesystem::path notesFolder;  // none
    RecordingObserver observer;
    std::atomic<bool> isInterrupted{false};
    Session* session = nullptr;  // the connection's

private:
    std::string module;
    std::optional<Connection> connection;
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
    return session.Program(session.Plan(image, options));
}

inline RadioAddress Ble(std::string_view text) { return ParseRadioAddress(text, kBleAddressBytes, Field::Ble); }
inline RadioAddress Ieee(std::string_view text) { return ParseRadioAddress(text, kIeeeAddressBytes, Field::Ieee); }

// A valid CCFG: its size in the flags word, everything enabled, and recognisable bytes around the fields.
inline std::vector<std::uint8_t> GoodCcfg() {
    std::vector<std::uint8_t> ccfg(0x58, 0xFF);
    const std::uint8_t flags[] = {0x01, 0x00, 0x58, 0x00};
    std::copy(std::begin(flags), std::end(flags), ccfg.begin() + 8);
    ccfg[0] = 0x5A;
    return ccfg;
}

}  // namespace flash::host
