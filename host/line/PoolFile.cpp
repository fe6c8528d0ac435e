#include "host/line/PoolFile.h"

#include <fmt/format.h>

#include <array>
#include <sstream>

#include "host/Failure.h"
#include "host/line/Csv.h"

namespace flash::host::line {
namespace {

constexpr const char* kHeader = "kind,address,state,chip,station,time";

Cell OrNull(const std::string& text) { return text.empty() ? Cell() : Cell(text); }

// Null, or what is wrong with the state that the line gives.
const char* ComplaintAbout(const PoolAddress& address) {
    const bool needsChip = address.state == AddressState::Leased || address.state == AddressState::Confirmed;
    if (needsChip && !address.chip) {
        return "a leased or confirmed address needs its chip";
    }
    return !needsChip && address.chip ? "a free or burned address has no chip" : nullptr;
}

PoolAddress ParseLine(std::vector<std::string> fields) {
    constexpr std::size_t kFields = 6;
    if (fields.size() < 2 || fields.size() > kFields) {
        throw Failure(FailureKind::BadInput, std::string("expected ") + kHeader);
    }
    fields.resize(kFields);
    const std::optional<PoolKind> kind = ParseKind(fields[0]);
    if (!kind) {
        throw Failure(FailureKind::BadInput, fmt::format("\"{}\" is neither ieee nor ble", fields[0]));
    }
    const std::optional<AddressState> state = fields[2].empty() ? AddressState::Free : ParseState(fields[2]);
    if (!state) {
        throw Failure(FailureKind::BadInput, fmt::format("\"{}\" is no state of an address", fields[2]));
    }
    PoolAddress address{.kind = *kind,
                        .address = ParseRadioAddress(fields[1], BytesOf(*kind), Field::Address),
                        .state = *state,
                        .station = OrNull(fields[4]),
                        .time = OrNull(fields[5])};
    if (!fields[3].empty()) {
        address.chip = ParseRadioAddress(fields[3], kIeeeAddressBytes, Field::Address).Text();
    }
    const char* const complaint =
        IsNoAddress(address.address) ? "no chip can have this address" : ComplaintAbout(address);
    if (complaint != nullptr) {
        throw Failure(FailureKind::BadInput, complaint);
    }
    return address;
}

}  // namespace

std::string PoolCsvHeader() { return std::string(kHeader) + "\n"; }

std::string PoolCsv(const PoolAddress& address) {
    return CsvLine({std::string(KindName(address.kind)), address.address.Text(), std::string(StateName(address.state)),
                    address.chip.value_or(""), address.station.value_or(""), address.time.value_or("")});
}

std::vector<PoolAddress> ReadPoolFile(const std::string& fileName, const std::string& content) {
    std::vector<PoolAddress> addresses;
    std::istringstream stream(content);
    std::string line;
    for (std::size_t number = 1; std::getline(stream, line); ++number) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty() || (number == 1 && std::string_view(line).starts_with("kind,address"))) {
            continue;
        }
        try {
            const std::optional<std::vector<std::string>> fields = ParseCsvLine(line);
            addresses.push_back(ParseLine(fields.value_or(std::vector<std::string>())));
        } catch (const Failure& failure) {
            throw Failure(FailureKind::BadInput, fmt::format("{}, line {}: {}", fileName, number, failure.what()));
        }
    }
    return addresses;
}

}  // namespace flash::host::line
