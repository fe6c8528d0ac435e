#include "chip/SavedState.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "chip/Geometry.h"

namespace flash::chip {
namespace {

constexpr std::string_view kMagic = "LUMOCHIP";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeaderBytes = 112;
constexpr std::size_t kChecksumBytes = 4;

std::uint32_t Crc32(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB8'8320 : 0);
        }
    }
    return ~crc;
}

class Writer {
public:
    void Number(std::uint64_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }
    void Time(Nanoseconds time) { Number(static_cast<std::uint64_t>(time.count()), 8); }
    template <typename Range>
    void Bytes(const Range& range) {
        bytes.insert(bytes.end(), range.begin(), range.end());
    }
    std::vector<std::uint8_t> bytes;
};

class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> source) : rest(source) {}
    std::uint64_t Number(std::size_t size) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value |= std::uint64_t{rest[i]} << (8 * i);
        }
        rest = rest.subspan(size);
        return value;
    }
    std::uint32_t Word() { return static_cast<std::uint32_t>(Number(4)); }
    Nanoseconds Time() {
        const std::uint64_t count = Number(8);
        Require(count <= static_cast<std::uint64_t>(Nanoseconds::max().count()), "it holds an impossible time");
        return Nanoseconds(static_cast<Nanoseconds::rep>(count));
    }
    template <std::size_t count>
    std::array<std::uint8_t, count> Bytes() {
        std::array<std::uint8_t, count> bytes{};
        std::copy_n(rest.begin(), count, bytes.begin());
        rest = rest.subspan(count);
        return bytes;
    }
    std::span<const std::uint8_t> Rest() const { return rest; }

    static void Require(bool holds, const char* text) {
        if (!holds) {
            throw ChipError(std::string("This is no saved state of a virtual chip: ") + text + ".");
        }
    }

private:
    std::span<const std::uint8_t> rest;
};

// The frame around the content: what can be told before looking inside.
void CheckFrame(std::span<const std::uint8_t> state) {
    Reader::Require(state.size() >= kHeaderBytes + kChecksumBytes, "it is too short");
    Reader::Require(std::equal(kMagic.begin(), kMagic.end(), state.begin()), "it does not begin with LUMOCHIP");
    Reader::Require(Reader(state.subspan(8)).Word() == kVersion, "its version is unknown");
    Reader::Require(Reader(state.subspan(12)).Word() == state.size(), "it has lost or gained bytes");
    const std::uint32_t checksum = Reader(state.last(kChecksumBytes)).Word();
    Reader::Require(checksum == Crc32(state.first(state.size() - kChecksumBytes)), "its checksum is wrong");
}

Timing ReadTiming(Reader& reader) {
    Timing timing;
    timing.coreClockHz = reader.Number(8);
    timing.sectorErase = reader.Time();
    timing.wordProgram = reader.Time();
    timing.bankErase = reader.Time();
    timing.busyStall = reader.Time();
    timing.linkBytesPerSecond = reader.Number(8);
    timing.linkLatency = reader.Time();
    return timing;
}

Settings ReadSettings(Reader& reader) {
    Settings settings;
    settings.generation = static_cast<Generation>(reader.Number(1));
    settings.ramSizeCode = static_cast<std::uint8_t>(reader.Number(1));
    reader.Number(2);
    settings.sectorCount = reader.Word();
    settings.ramBytes = reader.Word();
    settings.identificationCode = reader.Word();
    settings.primaryIeeeAddress = reader.Bytes<8>();
    settings.primaryBleAddress = reader.Bytes<6>();
    reader.Number(2);
    settings.seed = reader.Number(8);
    settings.timing = ReadTiming(reader);
    return Completed(settings);
}

}  // namespace

std::vector<std::uint8_t> EncodeState(const Settings& settings, std::span<const std::uint8_t> flash) {
    Writer writer;
    writer.Bytes(kMagic);
    writer.Number(kVersion, 4);
    writer.Number(kHeaderBytes + flash.size() + kChecksumBytes, 4);
    writer.Number(static_cast<std::uint64_t>(settings.generation), 1);
    writer.Number(settings.ramSizeCode, 1);
    writer.Number(0, 2);
    writer.Number(settings.sectorCount, 4);
    writer.Number(settings.ramBytes, 4);
    writer.Number(settings.identificationCode, 4);
    writer.Bytes(settings.primaryIeeeAddress);
    writer.Bytes(settings.primaryBleAddress);
    writer.Number(0, 2);
    writer.Number(settings.seed, 8);
    writer.Number(settings.timing.coreClockHz, 8);
    writer.Time(settings.timing.sectorErase);
    writer.Time(settings.timing.wordProgram);
    writer.Time(settings.timing.bankErase);
    writer.Time(settings.timing.busyStall);
    writer.Number(settings.timing.linkBytesPerSecond, 8);
    writer.Time(settings.timing.linkLatency);
    writer.Bytes(flash);
    writer.Number(Crc32(writer.bytes), kChecksumBytes);
    return std::move(writer.bytes);
}

Settings DecodeState(std::span<const std::uint8_t> state) {
    CheckFrame(state);
    Reader reader(state.subspan(16, state.size() - 16 - kChecksumBytes));
    Settings settings = ReadSettings(reader);
    const std::size_t flashBytes = std::size_t{settings.sectorCount} * SectorSizeOf(settings.generation);
    Reader::Require(reader.Rest().size() == flashBytes, "its flash has not the size that it tells");
    settings.initialFlash.assign(reader.Rest().begin(), reader.Rest().end());
    return settings;
}

}  // namespace flash::chip
