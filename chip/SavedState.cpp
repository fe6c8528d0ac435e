#include "chip/SavedState.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "chip/Crc32.h"
#include "chip/Geometry.h"

namespace flash::chip {
namespace {

constexpr std::string_view kMagic = "LUMOCHIP";
constexpr std::uint32_t kUsualVersion = 1;
constexpr std::uint32_t kVersion = 2;
constexpr std::uint32_t kIsWrittenOnce = 1;  // flags of the controller
constexpr std::uint32_t kHasBankErase = 2;
constexpr std::uint32_t kProtectsWithOnes = 4;
constexpr std::size_t kHeaderBytes = 112;
constexpr std::size_t kControllerBytes = 24;
constexpr std::size_t kChecksumBytes = 4;

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

std::uint32_t VersionOf(std::span<const std::uint8_t> state) { return Reader(state.subspan(8)).Word(); }

// The frame around the content: what can be told before looking inside.
void CheckFrame(std::span<const std::uint8_t> state) {
    Reader::Require(state.size() >= kHeaderBytes + kChecksumBytes, "it is too short");
    Reader::Require(std::equal(kMagic.begin(), kMagic.end(), state.begin()), "it does not begin with LUMOCHIP");
    Reader::Require(VersionOf(state) == kUsualVersion || VersionOf(state) == kVersion, "its version is unknown");
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

ControllerKind ReadController(Reader& reader) {
    Reader::Require(reader.Rest().size() >= kControllerBytes, "it is too short");
    ControllerKind kind;
    kind.unitBytes = reader.Word();
    kind.pageBytes = reader.Word();
    const std::uint32_t flags = reader.Word();
    kind.isWrittenOnce = (flags & kIsWrittenOnce) != 0;
    kind.hasBankErase = (flags & kHasBankErase) != 0;
    kind.protectsWithOnes = (flags & kProtectsWithOnes) != 0;
    reader.Word();
    kind.watchdog = reader.Time();
    return kind;
}

void WriteController(Writer& writer, const ControllerKind& kind) {
    writer.Number(kind.unitBytes, 4);
    writer.Number(kind.pageBytes, 4);
    writer.Number((kind.isWrittenOnce ? kIsWrittenOnce : 0) | (kind.hasBankErase ? kHasBankErase : 0) |
                      (kind.protectsWithOnes ? kProtectsWithOnes : 0),
                  4);
    writer.Number(0, 4);
    writer.Time(kind.watchdog);
}

std::vector<std::uint8_t> PackBits(const std::vector<bool>& bits) {
    std::vector<std::uint8_t> bytes((bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | (bits[i] ? 1U : 0U) << (i % 8));
    }
    return bytes;
}

std::vector<bool> UnpackBits(std::span<const std::uint8_t> bytes) {
    std::vector<bool> bits(bytes.size() * 8);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bits[i] = (bytes[i / 8] >> (i % 8) & 1) != 0;
    }
    return bits;
}

Settings ReadSettings(Reader& reader, std::uint32_t version) {
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
    settings.controller = version == kUsualVersion ? ControllerKind{} : ReadController(reader);
    return Completed(settings);
}

}  // namespace

std::vector<std::uint8_t> EncodeState(const Settings& settings, std::span<const std::uint8_t> flash,
                                      const std::vector<bool>& programmed) {
    const bool isUsual = settings.controller == ControllerKind{};
    const std::vector<std::uint8_t> marks = isUsual ? std::vector<std::uint8_t>{} : PackBits(programmed);
    const std::size_t bytes = kHeaderBytes + (isUsual ? 0 : kControllerBytes) + flash.size() + marks.size();
    Writer writer;
    writer.Bytes(kMagic);
    writer.Number(isUsual ? kUsualVersion : kVersion, 4);
    writer.Number(bytes + kChecksumBytes, 4);
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
    if (!isUsual) {
        WriteController(writer, settings.controller);
    }
    writer.Bytes(flash);
    writer.Bytes(marks);
    writer.Number(Crc32(writer.bytes), kChecksumBytes);
    return std::move(writer.bytes);
}

Settings DecodeState(std::span<const std::uint8_t> state) {
    CheckFrame(state);
    Reader reader(state.subspan(16, state.size() - 16 - kChecksumBytes));
    const std::uint32_t version = VersionOf(state);
    Settings settings = ReadSettings(reader, version);
    const std::size_t flashBytes = std::size_t{settings.sectorCount} * SectorSizeOf(settings.generation);
    const std::size_t markBytes = version == kUsualVersion ? 0 : flashBytes / 32;
    Reader::Require(reader.Rest().size() == flashBytes + markBytes, "its flash has not the size that it tells");
    const std::span<const std::uint8_t> flash = reader.Rest().first(flashBytes);
    settings.initialFlash.assign(flash.begin(), flash.end());
    settings.initiallyProgrammed = UnpackBits(reader.Rest().subspan(flashBytes));
    return settings;
}

}  // namespace flash::chip
