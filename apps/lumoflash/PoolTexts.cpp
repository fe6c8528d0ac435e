#include "apps/lumoflash/PoolTexts.h"

#include <fmt/format.h>

#include "host/Words.h"

namespace flash::app {

using namespace host::line;

std::string PoolText(const PoolCounts& counts) {
    std::string text = fmt::format("{:<6}", "kind");
    for (const AddressState state : kAddressStates) {
        text += fmt::format("{:>11}", StateName(state));
    }
    text += '\n';
    for (const auto& [kind, states] : counts) {
        text += fmt::format("{:<6}", KindName(kind));
        for (const AddressState state : kAddressStates) {
            const auto count = states.find(state);
            text += fmt::format("{:>11}", count == states.end() ? 0 : count->second);
        }
        text += '\n';
    }
    return text;
}

std::string PoolAddressText(const PoolAddress& address) {
    std::string text =
        fmt::format("{:<5} {} {}", KindName(address.kind), address.address.Text(), StateName(address.state));
    text += address.chip ? " chip " + *address.chip : "";
    text += address.time ? fmt::format(", station {}, {}", address.station.value_or(""), *address.time) : "";
    text += address.note ? ", " + *address.note : "";
    return host::Escaped(text) + "\n";
}

std::string RecordText(const Record& record) {
    return host::Escaped(fmt::format("record {} {}: {}{}, station {}{}{}", record.run, record.start,
                                     record.isGood ? "good" : "bad: ", record.cause, record.station,
                                     record.slot.empty() ? "" : ", slot ", record.slot)) +
           "\n";
}

}  // namespace flash::app
