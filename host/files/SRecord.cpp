// Records one by one: each is checked by itself, then against those before it.
#include "host/files/SRecord.h"

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

constexpr std::size_t kPrintedDataBytes = 16;  // per line: what every other tool writes

enum class Role { Header, Data, Count, End };

struct RecordKind {
    char digit;
    Role role;
    std::size_t addressBytes;
};

constexpr RecordKind kRecordKinds[] = {
    {'0', Role::Header, 2}, {'1', Role::Data, 2}, {'2', Role::Data, 3}, {'3', Role::Data, 4}, {'5', Role::Count, 2},
    {'6', Role::Count, 3},  {'7', Role::End, 4},  {'8', Role::End, 3},  {'9', Role::End, 2},
};

// One line, checked against its own length and checksum.
struct Record {
    RecordKind kind;
    std::uint32_t address;
    std::vector<std::uint8_t> data;
};

const RecordKind& KindOf(std::string_view line, const Origin& origin) {
    if (line.front() != 'S') {
        throw ErrorAt(origin, "the line does not start with 'S'");
    }
    for (const RecordKind& kind : kRecordKinds) {
        if (line.size() > 1 && line[1] == kind.digit) {
            return kind;
        }
    }
    throw ErrorAt(origin, "the record has no known type, expected S0 to S3 or S5 to S9");
}

Record DecodeRecord(std::string_view line, const Origin& origin) {
    const RecordKind& kind = KindOf(line, origin);
    const std::vector<std::uint8_t> bytes = DecodeDigits(line, 2, origin);
    const std::size_t least = kind.addressBytes + 2;  // the length and the checksum are always there
    if (bytes.size() < least) {
        throw ErrorAt(origin, fmt::format("the S{} record has {}, expected at least {}: it is truncated", kind.digit,
                                          Counted(bytes.size(), "byte"), least));
    }
    if (bytes[0] != bytes.size() - 1) {
        throw ErrorAt(origin,
                      fmt::format("the record says {}, the line has {}", Counted(bytes[0], "byte"), bytes.size() - 1));
    }
    const std::uint8_t sum = ByteSum(std::span(bytes).first(bytes.size() - 1));
    RequireChecksum(bytes, static_cast<std::uint8_t>(0xFF - sum), origin);
    const std::span data = std::span(bytes).subspan(1 + kind.addressBytes, bytes.size() - least);
    return {kind, BigEndian(std::span(bytes).subspan(1, kind.addressBytes)), {data.begin(), data.end()}};
}

class Reader {
public:
    void Take(const Record& record, const Origin& origin);
    ProgramImage Finish(const Origin& lastLine);

private:
    void TakeData(const Record& record, const Origin& origin);
    void TakeCount(const Record& record, const Origin& origin) const;

    ProgramImage image;
    std::uint32_t dataRecords = 0;
    std::optional<Origin> end;  // of the end record
};

void RequireNoData(const Record& record, const Origin& origin) {
    if (!record.data.empty()) {
        throw ErrorAt(origin, fmt::format("the S{} record has {}, expected none", record.kind.digit,
                                          Counted(record.data.size(), "data byte")));
    }
}

void Reader::Take(const Record& record, const Origin& origin) {
    if (end) {
        throw ErrorAt(origin, fmt::format("a record behind the end record of {}", end->place));
    }
    switch (record.kind.role) {
        case Role::Header:
            return;
        case Role::Data:
            return TakeData(record, origin);
        case Role::Count:
            return TakeCount(record, origin);
        case Role::End:
            RequireNoData(record, origin);
            end = origin;
            if (record.address != 0) {
                image.entryPoint = record.address;
            }
            return;
    }
}

void Reader::TakeData(const Record& record, const Origin& origin) {
    image.Add(record.address, record.data, origin);
    ++dataRecords;
}

void Reader::TakeCount(const Record& record, const Origin& origin) const {
    RequireNoData(record, origin);
    if (record.address != dataRecords) {
        throw ErrorAt(origin, fmt::format("the S{} record counts {}, but {} {} before it", record.kind.digit,
                                          Counted(record.address, "data record"), dataRecords,
                                          dataRecords == 1 ? "stands" : "stand"));
    }
}

ProgramImage Reader::Finish(const Origin& lastLine) {
    if (!end) {
        throw ErrorAt(lastLine, "the end record (S7, S8 or S9) is missing behind this line: the file may be truncated");
    }
    return std::move(image);
}

void PrintRecord(std::string& text, char digit, std::size_t addressBytes, std::uint32_t address,
                 std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> record{static_cast<std::uint8_t>(addressBytes + data.size() + 1)};
    for (std::size_t i = addressBytes; i-- > 0;) {
        record.push_back(static_cast<std::uint8_t>(address >> (8 * i)));
    }
    record.insert(record.end(), data.begin(), data.end());
    record.push_back(static_cast<std::uint8_t>(0xFF - ByteSum(record)));
    text += fmt::format("S{}{:02X}\n", digit, fmt::join(record, ""));
}

}  // namespace

ProgramImage ReadSRecord(std::span<const std::uint8_t> content, const std::string& fileName) {
    return ReadRecords<Reader>(content, fileName, DecodeRecord);
}

std::string PrintSRecord(const ProgramImage& image) {
    std::string text;
    PrintRecord(text, '0', 2, 0, {});
    for (const DataRun& run : image.Runs()) {
        for (std::size_t done = 0; done < run.bytes.size(); done += kPrintedDataBytes) {
            const std::span rest = std::span(run.bytes).subspan(done);
            PrintRecord(text, '3', 4, run.address + static_cast<std::uint32_t>(done),
                        rest.first(std::min(kPrintedDataBytes, rest.size())));
        }
    }
    PrintRecord(text, '7', 4, image.entryPoint.value_or(0), {});
    return text;
}

}  // namespace flash::host
