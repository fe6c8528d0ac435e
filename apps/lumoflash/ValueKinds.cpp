// One row for each kind.
#include "apps/lumoflash/ValueKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "host/files/ProgramFile.h"
#include "host/settings/KnownProperties.h"
#include "validator/Check.h"

namespace flash::app {
namespace {

void OfferFiles(const std::vector<std::string>& endings, Completion& offered) {
    offered.paths = Paths::Files;
    offered.endings = endings;
}

void OfferParts(const ValueRequest& request, Completion& offered) {
    for (const host::DeviceDescription& part : request.parts) {
        offered.candidates.push_back({part.name, part.summary});
    }
}

// A list of numbers, never a file: the whole range of the part that is given.
void OfferSectors(const ValueRequest& request, Completion& offered) {
    const auto part = std::ranges::find(request.parts, request.part, &host::DeviceDescription::name);
    if (part != request.parts.end()) {
        offered.candidates.push_back({fmt::format("0-{}", part->sectorCount - 1),
                                      fmt::format("all {} sectors of {}", part->sectorCount, part->name)});
    }
}

void OfferProbes(const ValueRequest& request, Completion& offered) {
    constexpr std::string_view kFile = "virtual:";
    if (request.word.starts_with(kFile)) {
        OfferFiles({}, offered);
        offered.prefix = kFile;
        return;
    }
    offered.candidates.push_back({"virtual", "a new virtual chip"});
    offered.candidates.push_back({"virtual:", "a virtual chip that a file keeps"});
    offered.candidates.push_back({"gdb:", "a GDB server, HOST:PORT"});
}

void OfferProperties(const ValueRequest&, Completion& offered) {
    for (const std::string& key : host::KnownPropertyKeys()) {
        offered.candidates.push_back({key + "=", "host property"});
    }
}

void OfferChecks(const ValueRequest&, Completion& offered) {
    for (const validator::Check& check : validator::AllChecks()) {
        offered.candidates.push_back({check.name, check.demand});
    }
}

void OfferChoices(const std::string& value, const ValueRequest& request, Completion& offered) {
    std::size_t start = 0;
    while (start <= value.size()) {
        const std::size_t end = std::min(value.find('|', start), value.size());
        std::string choice = value.substr(start, end - start);
        const std::size_t colon = choice.find(':');  // "sectors:LIST"
        if (colon != std::string::npos && request.word.starts_with(choice.substr(0, colon + 1))) {
            offered.candidates.clear();
            OfferSectors(request, offered);
            std::ranges::for_each(offered.candidates,
                                  [&](Candidate& each) { each.text = choice.substr(0, colon + 1) + each.text; });
            return;
        }
        offered.candidates.push_back({colon == std::string::npos ? choice : choice.substr(0, colon + 1), ""});
        start = end + 1;
    }
}

struct Kind {
    std::string_view name;
    void (*offer)(const ValueRequest& request, Completion& offered);
};

constexpr Kind kKinds[] = {
    {"PART", OfferParts},
    {"SECTORS", OfferSectors},
    {"PROBE", OfferProbes},
    {"KEY=VALUE", OfferProperties},
    {"CHECK", OfferChecks},
    {"FOLDER", [](const ValueRequest&, Completion& offered) { offered.paths = Paths::Folders; }},
    {"MODULE",
     [](const ValueRequest&, Completion& offered) {
         OfferFiles({"so", "dll"}, offered);
     }},
    {"PROGRAM", [](const ValueRequest&, Completion& offered) { OfferFiles(host::ProgramFileEndings(), offered); }},
    {"FILE", [](const ValueRequest&, Completion& offered) { OfferFiles({}, offered); }},
    {"TEXT", [](const ValueRequest&, Completion& offered) { OfferFiles({}, offered); }},
};

}  // namespace

void OfferValue(const OptionText& option, const ValueRequest& request, Completion& offered) {
    constexpr std::string_view kFileOf = "FILE.";
    const auto* kind = std::ranges::find(kKinds, option.value, &Kind::name);
    if (kind != std::end(kKinds)) {
        kind->offer(request, offered);
    } else if (option.value.starts_with(kFileOf)) {
        OfferFiles({option.value.substr(kFileOf.size())}, offered);
    } else if (option.value.find('|') != std::string::npos) {
        OfferChoices(option.value, request, offered);
    }
}

}  // namespace flash::app
