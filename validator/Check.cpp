#include "validator/Check.h"

namespace flash::validator {

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
