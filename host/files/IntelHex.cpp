// Records one by one: each is checked by itself, then against those before it.
#include "host/files/IntelHex.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Words.h"
#include "host/files/TextRecords.h"

namespace flash::host {
namespace {

enum class RecordType : std::uint8_t {
    Data = 0,
    EndOfFile = 1,
    SegmentBase = 2,   // bits 19..4 of what follows
    SegmentEntry = 3,  // CS and IP of the 8086: CS * 16 + IP
    LinearBase = 4,    // bits 31..16 of what follows
    LinearEntry = 5,
};

constexpr std::size_t kHeaderBytes = 4;                // length, offset (2), type
constexpr std::size_t kFrameBytes = kHeaderBytes + 1;  // and the checksum
constexpr std::uint32_t kWindowBytes = 0x1'0000;       // what an offset reaches
constexpr std::uint32_t kPrintedDataBytes = 16;        // per line: what every other tool writes

// The bytes of one line, checked against their own length and checksum.
struct Record {
    std::vector<std::uint8_t> bytes;

    unsigned Type() const { return bytes[3]; }
    std::uint32_t Offset() const { return BigEndian(std::span(bytes).subspan(1, 2)); }
    std::span<const std::uint8_t> Data() const {
        return std::span(bytes).subspan(kHeaderBytes, bytes.size() - kFrameBytes);
    }
};

Record DecodeRecord(std::string_view line, const Origin& origin) {
    if (line.front() != ':') {
        throw ErrorAt(origin, "the line does not start with ':'");
    }
    Record record{DecodeDigits(line, 1, origin)};
    if (record.bytes.size() < kFrameBytes) {
        throw ErrorAt(origin, fmt::format("the record has {}, expected at least {}: it is truncated",
                                          Counted(record.bytes.size(), "byte"), kFrameBytes));
    }
    const std::size_t dataBytes = record.bytes.size() - kFrameBytes;
    if (record.bytes[0] != dataBytes) {
        throw ErrorAt(origin, fmt::format("the record says {}, the line has {}", Counted(record.bytes[0], "data byte"),
                                          dataBytes));
    }
    const std::uint8_t sum = ByteSum(std::span(record.bytes).first(record.bytes.size() - 1));
    RequireChecksum(record.bytes, static_cast<std::uint8_t>(-sum), origin);
    return record;
}

class Reader {
public:
    void Take(const Record& record, const Origin& origin);
    ProgramImage Finish(const Origin& lastLine);

private:
    void TakeData(const Record& record, const Origin& origin);
    void TakeEntry(std::uint32_t address, const Origin& origin);

    ProgramImage image;
    std::uint32_t base = 0;
    bool isLinear = false;        // the base is of type 04
    std::optional<Origin> entry;  // of the record that named the entry point
    std::optional<Origin> end;    // of the end record
};

// All types but data have a fixed length and no use for the offset.
std::uint32_t FixedValue(const Record& record, std::size_t length, const Origin& origin) {
    if (record.Data().size() != length) {
        throw ErrorAt(origin, fmt::format("a record of type {:02X} has {}, expected {}", record.Type(),
                                          Counted(record.Data().size(), "data byte"), length));
    }
    if (record.Offset() != 0) {
        throw ErrorAt(origin, fmt::format("a record of type {:02X} has the offset 0x{:04X}, expected 0x0000",
                                          record.Type(), record.Offset()));
    }
    return BigEndian(record.Data());
}

void Reader::Take(const Record& record, const Origin& origin) {
    if (end) {
        throw ErrorAt(origin, fmt::format("a record behind the end record of {}", end->place));
    }
    switch (RecordType{static_cast<std::uint8_t>(record.Type())}) {
        case RecordType::Data:
            return TakeData(record, origin);
        case RecordType::EndOfFile:
            FixedValue(record, 0, origin);
            end = origin;
            return;
        case RecordType::SegmentBase:
            base = FixedValue(record, 2, origin) << 4;
            isLinear = false;
            return;
        case RecordType::SegmentEntry: {
            const std::uint32_t value = FixedValue(record, 4, origin);
            return TakeEntry(((value >> 16) << 4) + (value & 0xFFFF), origin);
        }
        case RecordType::LinearBase:
            base = FixedValue(record, 2, origin) << 16;
            isLinear = true;
            return;
        case RecordType::LinearEntry:
            return TakeEntry(FixedValue(record, 4, origin), origin);
    }
    throw ErrorAt(origin, fmt::format("record type {:02X}, expected 00 to 05", record.Type()));
}

void Reader::TakeData(const Record& record, const Origin& origin) {
    if (!isLinear && record.Offset() + record.Data().size() > kWindowBytes) {
        throw ErrorAt(origin, fmt::format("{} bytes at offset 0x{:04X} wrap around at the end of their 64 KiB",
                                          record.Data().size(), record.Offset()));
    }
    image.Add(base + record.Offset(), record.Data(), origin);
}

void Reader::TakeEntry(std::uint32_t address, const Origin& origin) {
    if (entry) {
        throw ErrorAt(origin, fmt::format("a second entry point, the first is in {}", entry->place));
    }
    entry = origin;
    image.entryPoint = address;
}

ProgramImage Reader::Finish(const Origin& lastLine) {
    if (!end) {
        throw ErrorAt(lastLine, "the end record (type 01) is missing behind this line: the file is truncated");
    }
    return std::move(image);
}

void PrintRecord(std::string& text, RecordType type, std::uint32_t offset, std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> record{static_cast<std::uint8_t>(data.size()), static_cast<std::uint8_t>(offset >> 8),
                                     static_cast<std::uint8_t>(offset), static_cast<std::uint8_t>(type)};
    record.insert(record.end(), data.begin(), data.end());
    record.push_back(static_cast<std::uint8_t>(-ByteSum(record)));
    text += fmt::format(":{:02X}\n", fmt::join(record, ""));
}

std::vector<std::uint8_t> BigEndianBytes(std::uint32_t value, unsigned count) {
    std::vector<std::uint8_t> bytes;
    for (unsigned i = count; i-- > 0;) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return bytes;
}

// Appends the records of one run. `upperHalf` is the base (bits 31..16) in force before and after.
void PrintRun(std::string& text, const DataRun& run, std::uint32_t& upperHalf) {
    for (std::size_t done = 0; done < run.bytes.size();) {
        const std::uint32_t address = run.address + static_cast<std::uint32_t>(done);
        if (address >> 16 != upperHalf) {
            upperHalf = address >> 16;
            PrintRecord(text, RecordType::LinearBase, 0, BigEndianBytes(upperHalf, 2));
        }
        const std::uint32_t offset = address % kWindowBytes;
        const std::size_t count =
            std::min<std::size_t>({kPrintedDataBytes, run.bytes.size() - done, kWindowBytes - offset});
        PrintRecord(text, RecordType::Data, offset, std::span(run.bytes).subspan(done, count));
        done += count;
    }
}

}  // namespace

ProgramImage ReadIntelHex(std::span<const std::uint8_t> content, const std::string& fileName) {
    return ReadRecords<Reader>(content, fileName, DecodeRecord);
}

std::string PrintIntelHex(const ProgramImage& image) {
    std::string text;
    std::uint32_t upperHalf = 0;
    for (const DataRun& run : image.Runs()) {
        PrintRun(text, run, upperHalf);
    }
    if (image.entryPoint) {
        PrintRecord(text, RecordType::LinearEntry, 0, BigEndianBytes(*image.entryPoint, 4));
    }
    PrintRecord(text, RecordType::EndOfFile, 0, {});
    return text;
}

}  // namespace flash::host
