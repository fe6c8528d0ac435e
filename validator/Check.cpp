#include "validator/Check.h"

#include <algorithm>
#include <iterator>

namespace flash::validator {
namespace {

struct TopicLevel {
    std::string_view topic;
    Level level;
};

// All other topics are for the last level.
constexpr TopicLevel kTopicLevels[] = {
    {"loading", Level::Loads},         {"generation", Level::Starts}, {"start-up", Level::Starts},
    {"addresses", Level::Starts},      {"texts", Level::Starts},      {"phases", Level::Programs},
    {"program load", Level::Programs}, {"crc", Level::Programs},      {"time-out", Level::Programs},
    {"operations", Level::Programs},
};

}  // namespace

const Check kCanBeLoaded = {"loading", "can-be-loaded", "The module can be loaded and has a factory.",
                            [](const ModuleUnderCheck&) {}};

const Check* FindCheck(std::string_view name) {
    if (name == kCanBeLoaded.name) {
        return &kCanBeLoaded;
    }
    const auto found = std::ranges::find(AllChecks(), name, &Check::name);
    return found == AllChecks().end() ? nullptr : &*found;
}

Level LevelOf(const Check& check) {
    const auto* found = std::ranges::find(kTopicLevels, check.topic, &TopicLevel::topic);
    return found == std::end(kTopicLevels) ? Level::Everything : found->level;
}

const std::vector<Check>& AllChecks() {
    static const std::vector<Check> kChecks = [] {
        std::vector<Check> all;
        for (const auto table : {LoadingChecks, GenerationChecks, StartUpChecks, AddressChecks, TextChecks, PhaseChecks,
                                 ProgramLoadChecks, CrcChecks, TimeOutChecks, OperationChecks, MacAddressChecks,
                                 KeepCcfgChecks, PageChecks, CcfgChangeChecks, FailingHostChecks}) {
            const std::vector<Check> checks = table();
            all.insert(all.end(), checks.begin(), checks.end());
        }
        return all;
    }();
    return kChecks;
}

std::vector<std::uint8_t> Pattern(std::size_t size, std::uint8_t seed) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>((i * 7 + (i >> 8) * 13 + seed) % 251);
    }
    return bytes;
}

std::vector<std::string> CommandTexts(const SimulatedHost& host) {
    std::vector<std::string> texts;
    for (const PostedCommand& command : host.flashloader.commands) {
        texts.push_back(Hex(command.command) + "@" + Hex(command.address) + "+" + std::to_string(command.length));
    }
    return texts;
}

std::vector<std::uint8_t> FlashBytes(const SimulatedHost& host, std::size_t address, std::size_t length) {
    const auto begin = host.memory.flash.begin() + static_cast<std::ptrdiff_t>(address);
    return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

}  // namespace flash::validator
