#include "chip/ChipLog.h"

namespace flash::chip {
namespace {

constexpr std::uint64_t kShownPerViolation = 100;  // a core that breaks a rule in a loop must not fill the memory

// FNV-1a, 64 bits.
class Hasher {
public:
    void Add(std::uint64_t value) {
        for (int i = 0; i < 8; ++i) {
            AddByte(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }
    void Add(const std::string& text) {
        Add(text.size());
        for (const char character : text) {
            AddByte(static_cast<std::uint8_t>(character));
        }
    }
    std::uint64_t Result() const { return state; }

private:
    void AddByte(std::uint8_t byte) { state = (state ^ byte) * 0x0000'0100'0000'01B3; }
    std::uint64_t state = 0xCBF2'9CE4'8422'2325;
};

}  // namespace

void ChipLog::AddInstant(EventKind kind, Nanoseconds at, std::uint32_t address, std::uint32_t value, std::string text) {
    Add({kind, address, value, at, at, std::move(text)});
}

void ChipLog::AddViolation(Violation violation, std::uint32_t address, Nanoseconds at) {
    std::uint64_t& count = counters.violations[static_cast<std::size_t>(violation)];
    if (++count <= kShownPerViolation) {
        AddInstant(EventKind::Violation, at, address, static_cast<std::uint32_t>(violation));
    }
}

std::uint64_t HashOf(const std::vector<Event>& timeline) {
    Hasher hasher;
    for (const Event& event : timeline) {
        hasher.Add(static_cast<std::uint64_t>(event.kind));
        hasher.Add(event.address);
        hasher.Add(event.value);
        hasher.Add(static_cast<std::uint64_t>(event.start.count()));
        hasher.Add(static_cast<std::uint64_t>(event.end.count()));
        hasher.Add(event.text);
    }
    return hasher.Result();
}

}  // namespace flash::chip
