#include "host/line/JournalEntry.h"

#include <nlohmann/json.hpp>

#include "host/Failure.h"
#include "host/line/Sha256.h"

namespace flash::host::line {
namespace {

using nlohmann::json;

constexpr std::size_t kSumDigits = 16;

// The same text for the same values: members stand in the order of their names.
std::string Dump(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

std::string SumOf(const json& entry) { return Sha256(Dump(entry)).substr(0, kSumDigits); }

json Print(const Addresses& addresses) {
    json printed = json::object();
    for (const auto& [kind, address] : addresses) {
        printed[std::string(KindName(kind))] = address.Text();
    }
    return printed;
}

Addresses ParseAddresses(const json& printed) {
    Addresses addresses;
    for (const auto& [name, text] : printed.items()) {
        const PoolKind kind = ParseKind(name).value();
        addresses.emplace(kind, ParseRadioAddress(text.get<std::string>(), BytesOf(kind), Field::Address));
    }
    return addresses;
}

struct Printer {
    json operator()(const LeasedEntry& leased) const {
        return {{"step", "leased"},          {"run", leased.place.run}, {"station", leased.place.station},
                {"slot", leased.place.slot}, {"chip", leased.chip},     {"addresses", Print(leased.addresses)}};
    }
    json operator()(const EndedEntry& ended) const {
        return {{"step", "ended"},
                {"record", json::parse(RecordJson(ended.record))},
                {"addresses", Print(ended.addresses)}};
    }
    json operator()(const StoredEntry& stored) const { return {{"step", "stored"}, {"run", stored.run}}; }
};

JournalEntry Parse(const json& entry) {
    const auto text = [&](const char* name) { return entry.at(name).get<std::string>(); };
    if (text("step") == "leased") {
        return LeasedEntry{
            {text("run"), text("station"), text("slot")}, text("chip"), ParseAddresses(entry.at("addresses"))};
    }
    if (text("step") == "ended") {
        return EndedEntry{ParseRecordJson(Dump(entry.at("record"))), ParseAddresses(entry.at("addresses"))};
    }
    return StoredEntry{text("run")};
}

}  // namespace

std::string PrintEntry(const JournalEntry& entry) {
    const json printed = std::visit(Printer{}, entry);
    return Dump({{"entry", printed}, {"sum", SumOf(printed)}});
}

std::optional<JournalEntry> ParseEntry(const std::string& line) {
    try {
        const json parsed = json::parse(line);
        const json& entry = parsed.at("entry");
        return parsed.at("sum") == SumOf(entry) ? std::optional(Parse(entry)) : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace flash::host::line
