// Memory, registers and the core, of the host's target and of the played chip.
#include <algorithm>
#include <cstring>

#include "validator/hostcheck/WatchedHost.h"

namespace flash::hostcheck {
namespace {

using simulation::HexText;

constexpr std::uint64_t kSectorCountRegister = 0x4003'002C;
constexpr std::uint32_t kProgramCounter = 527;
constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuard = 0x5A;

std::string PlaceOf(std::uint64_t address, std::size_t bytes) {
    return std::to_string(bytes) + " bytes at " + HexText(address);
}

bool IsAll(const std::uint8_t* first, std::size_t count, std::uint8_t value) {
    return std::all_of(first, first + count, [value](std::uint8_t byte) { return byte == value; });
}

std::uint32_t WordAt(const std::vector<std::uint8_t>& bytes) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data(), std::min(sizeof word, bytes.size()));
    return word;
}

}  // namespace

// Where a buffer of the played chip lies on the host's target, or an address that both chips have. Nothing for what
// must not reach the host's target: command blocks.
std::optional<std::uint64_t> WatchedHost::OnHost(std::uint64_t playedAddress) const {
    const char* const names[] = {"g_buf1", "g_buf2"};
    for (std::size_t i = 0; i < simulation::kBuffers.size(); ++i) {
        const auto known = symbols.find(names[i]);
        if (playedAddress == simulation::kBuffers[i]) {
            return known == symbols.end() ? std::nullopt : std::optional(known->second);
        }
    }
    const bool isSram = playedAddress >= 0x2000'0000 && playedAddress < 0x3000'0000;
    return isSram ? std::nullopt : std::optional(playedAddress);
}

const char* WatchedHost::ReadWatched(const Elements& elements, std::vector<std::uint8_t>& bytes) {
    const std::vector<std::uint8_t> before = bytes;
    std::vector<std::uint8_t> guarded(bytes.size() + 2 * kGuardBytes, kGuard);
    std::copy(before.begin(), before.end(), guarded.begin() + kGuardBytes);
    const char* error =
        calls.ReadMemory(guarded.data() + kGuardBytes, elements.count, elements.address, elements.page, elements.size);
    const std::uint8_t* end = guarded.data() + kGuardBytes + bytes.size();
    findings.See(Rule::MemoryBounds, IsAll(guarded.data(), kGuardBytes, kGuard) && IsAll(end, kGuardBytes, kGuard),
                 "more was written than the " + PlaceOf(elements.address, bytes.size()));
    std::copy(guarded.begin() + kGuardBytes, guarded.end() - kGuardBytes, bytes.begin());
    return error;
}

// The last byte may look untouched by chance, so it is read again over another value.
bool WatchedHost::SeeFilled(const Elements& elements, std::vector<std::uint8_t>& bytes) {
    bool isFilled = bytes.back() != 0xA5;
    if (!isFilled) {
        std::vector<std::uint8_t> again(bytes.size(), 0xC3);
        isFilled = ReadWatched(elements, again) != nullptr || again.back() != 0xC3;
    }
    findings.See(Rule::MemoryFills, isFilled, "success, and not all of the " + PlaceOf(elements.address, bytes.size()));
    return isFilled;
}

void WatchedHost::SeeOrder(const Elements& elements, const std::vector<std::uint8_t>& bytes) {
    std::vector<std::uint8_t> single(4, 0xA5);
    if (elements.size == 4 && ReadWatched({elements.address, 4, 1, elements.page}, single) == nullptr) {
        findings.See(Rule::MemoryOrder, WordAt(single) == WordAt(bytes),
                     "the word at " + HexText(elements.address) + " is " + HexText(WordAt(bytes)) + ", its bytes say " +
                         HexText(WordAt(single)));
    }
}

const char* WatchedHost::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                    std::size_t elementSize) {
    const std::optional<std::uint64_t> onHost = isPlaying ? OnHost(address) : address;
    if (onHost && count != 0) {
        const Elements elements{*onHost, count, elementSize, page};
        std::vector<std::uint8_t> bytes(elements.Bytes(), 0xA5);
        const char* error = ReadWatched(elements, bytes);
        const bool isRead = error == nullptr && SeeFilled(elements, bytes);
        if (isRead && address == kSectorCountRegister) {
            SeeOrder(elements, bytes);
            hasTargetFailed |= (WordAt(bytes) & 0xFF) == 0;
        }
        hasAnswered |= isRead && openStatuses.count(*onHost) != 0 && WordAt(bytes) != simulation::kStatusNotDone;
        if (!isPlaying) {
            std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(buffer));
            return TargetError(error);
        }
    }
    return played.ReadMemory(buffer, count, address, page, elementSize);
}

const char* WatchedHost::WriteWatched(const Elements& elements, const std::uint8_t* bytes) {
    const std::vector<std::uint8_t> source(bytes, bytes + elements.Bytes());
    std::vector<std::uint8_t> lent = source;
    const char* error = calls.WriteMemory(lent.data(), elements.count, elements.address, elements.page, elements.size);
    const std::string place = PlaceOf(elements.address, source.size());
    findings.See(Rule::MemorySourceStays, lent == source, "the buffer changed while " + place + " were written");
    const bool isBuffer = std::any_of(symbols.begin(), symbols.end(), [&](const auto& symbol) {
        return symbol.first.starts_with("g_buf") && symbol.second == elements.address;
    });
    if (error == nullptr && isBuffer) {
        std::vector<std::uint8_t> found(source.size(), 0xA5);
        const Elements single{elements.address, source.size(), 1, elements.page};
        const bool isSame = ReadWatched(single, found) == nullptr && found == source;
        findings.See(Rule::MemoryReadsBack, isSame, place + " do not read back as written");
    }
    return error;
}

// A command is posted by the word "not done" in its status.
void WatchedHost::NotePost(std::uint64_t address, std::size_t lengthBytes, const std::uint8_t* bytes) {
    const auto blocks = symbols.find("g_cfg");
    for (std::uint32_t block = 0; blocks != symbols.end() && block < 2; ++block) {
        const std::uint64_t status = blocks->second + block * simulation::kBlockStride + simulation::kStatusOffset;
        if (address <= status && status + 4 <= address + lengthBytes &&
            WordAt({bytes + (status - address), bytes + (status - address) + 4}) == simulation::kStatusNotDone) {
            openStatuses.insert(status);
            hasPosted = true;
            hasJustWaited = false;
        }
    }
}

const char* WatchedHost::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                     std::size_t elementSize) {
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    const std::optional<std::uint64_t> onHost = isPlaying ? OnHost(address) : address;
    const char* error = onHost ? WriteWatched({*onHost, count, elementSize, page}, bytes) : nullptr;
    if (isPlaying) {
        return played.WriteMemory(buffer, count, address, page, elementSize);
    }
    NotePost(address, count * elementSize, bytes);
    return TargetError(error);
}

const char* WatchedHost::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    std::uint64_t found = kUntouched;
    const char* error = calls.ReadRegister(registerNumber, &found);
    if (error == nullptr) {
        findings.See(Rule::RegisterValue, found != kUntouched && found != 0 && found != 0xFFFF'FFFF,
                     found == kUntouched ? "success, and no value" : HexText(found));
    }
    if (isPlaying) {
        return played.ReadRegister(registerNumber, value);
    }
    *value = error == nullptr ? found : *value;
    return TargetError(error);
}

const char* WatchedHost::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    const auto entry = symbols.find("ResetISR");
    const bool isKnown = entry != symbols.end();
    const char* error = calls.WriteRegister(registerNumber, isPlaying && isKnown ? entry->second : value);
    if (registerNumber == kProgramCounter && (value & 1) != 0 && isKnown) {
        findings.See(Rule::CounterTakesOddAddress, error == nullptr,
                     HexText(value) + ": " + (error == nullptr ? "" : error));
    }
    return isPlaying ? played.WriteRegister(registerNumber, value) : TargetError(error);
}

const char* WatchedHost::RunTarget() {
    const char* error = calls.RunTarget();
    if (isRunning) {
        findings.See(Rule::RunWhileRunning, error == nullptr, error == nullptr ? "" : error);
    }
    isRunning |= error == nullptr;
    hasJustWaited = false;
    return isPlaying ? played.RunTarget() : TargetError(error);
}

// Looks at the host's target only. A status that was being waited for when time was up is not meant.
bool WatchedHost::IsCommandInWork() {
    const auto blocks = symbols.find("g_cfg");
    if (isPlaying || !isRunning || !hasPosted || blocks == symbols.end()) {
        return false;
    }
    for (const std::uint64_t offset : {0u, simulation::kBlockStride}) {
        std::vector<std::uint8_t> status(4, 0xA5);
        const Elements word{blocks->second + offset + simulation::kStatusOffset, 1, 4, 1};
        if (ReadWatched(word, status) == nullptr && WordAt(status) == simulation::kStatusNotDone) {
            return true;
        }
    }
    return false;
}

const char* WatchedHost::HaltTarget() {
    const bool isInWork = !hasJustWaited && IsCommandInWork();
    const char* error = calls.HaltTarget();
    if (!isRunning) {
        findings.See(Rule::HaltWhileHalted, error == nullptr, error == nullptr ? "" : error);
    }
    if (isInWork && error == nullptr) {
        findings.See(Rule::HaltLetsFinish, !IsCommandInWork(), "the target was halted in the middle of a command");
    }
    isRunning &= error != nullptr;
    return isPlaying ? played.HaltTarget() : TargetError(error);
}

}  // namespace flash::hostcheck
