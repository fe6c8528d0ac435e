// What the load time benchmarks share: chips at a speed of their link, and one connection to a chip for one piece of
// work.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/devices/DeviceDescription.h"
#include "host/session/Connection.h"
#include "host/virtual_chip/VirtualChipProbe.h"

namespace flash::bench {

using Seconds = std::chrono::duration<double>;
using Chip = std::shared_ptr<chip::VirtualChip>;

struct Installed {
    std::filesystem::path plugin, dataFolder;
};

// A benchmark in which something goes wrong has measured nothing.
class StrictObserver : public host::Observer {
public:
    void StageStarted(host::Stage, std::uint64_t) override {}
    void StageAdvanced(host::Stage, std::uint64_t, chip::Nanoseconds) override {}
    void StageFinished(host::Stage, std::uint64_t, chip::Nanoseconds) override {}
    void PluginMessage(const std::string&) override {}
    void PluginError(const std::string& text) override { throw std::runtime_error(text); }
    void Note(const std::string& text) override { throw std::runtime_error(text); }
    void Warning(const host::FieldText& text) override { throw std::runtime_error(text.Plain()); }
};

inline Chip ChipWith(const host::DeviceDescription& device, std::uint64_t bytesPerSecond,
                     std::vector<std::uint8_t> content) {
    chip::Settings settings = host::VirtualChipSettings(device);
    settings.timing.linkBytesPerSecond = bytesPerSecond;
    settings.initialFlash = std::move(content);
    return std::make_shared<chip::VirtualChip>(settings);
}

// Flash that must be erased before it can be programmed.
inline Chip UsedChip(const host::DeviceDescription& device, std::uint64_t bytesPerSecond) {
    return ChipWith(device, bytesPerSecond, std::vector<std::uint8_t>(device.FlashSizeBytes() - 0x58, 0x00));
}

inline void WithSession(const Installed& installed, const host::DeviceDescription& device, const Chip& chip,
                        host::Observer& observer, const std::function<void(host::Session&)>& work) {
    const std::atomic<bool> isInterrupted{false};
    const auto openProbe = [&](const auto&) { return std::make_unique<host::VirtualChipProbe>(chip); };
    host::Connection connection({.part = device.name,
                                 .devicesFolder = installed.dataFolder / "devices",
                                 .dataFolder = installed.dataFolder,
                                 .plugin = installed.plugin,
                                 .properties = {},
                                 .openProbe = openProbe,
                                 .notesFolder = {}},
                                observer, isInterrupted);
    work(connection.GetSession());
}

}  // namespace flash::bench
