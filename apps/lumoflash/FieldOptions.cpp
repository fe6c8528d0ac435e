// The one list of names.
#include "apps/lumoflash/FieldOptions.h"

#include <algorithm>
#include <iterator>

#include "host/settings/OptionProperties.h"

namespace flash::app {
namespace {

using host::Field;

struct NamedField {
    Field field;
    const char* name;
};

constexpr NamedField kNames[] = {
    {Field::Device, "--device"},
    {Field::DevicesFolder, "--devices"},
    {Field::Probe, "--probe"},
    {Field::Fault, "--fault"},
    {Field::Plugin, "--plugin"},
    {Field::Verbose, "--verbose"},
    {Field::FileFormat, "--format"},
    {Field::BaseAddress, "--base"},
    {Field::Erase, "--erase"},
    {Field::ErasedSectors, "--erase sectors:"},
    {Field::SkippedSectors, "--skip-pages"},
    {Field::SkippedFill, "--skip-fill"},
    {Field::KeptCcfg, "--keep-ccfg"},
    {Field::ReplacedCcfg, "--replace-ccfg"},
    {Field::Verification, "--verify"},
    {Field::RetainedBle, "--retain-ble"},
    {Field::RetainedIeee, "--retain-ieee"},
    {Field::Ble, "--ble"},
    {Field::Ieee, "--ieee"},
    {Field::Protect, "--protect"},
    {Field::Bootloader, "--disable-bootloader"},
    {Field::DebugPort, "--disable-debug"},
    {Field::Sectors, "--sectors"},
    {Field::Range, "--range"},
    {Field::Address, "mac write"},
    {Field::OnlyChip, "--only-chip"},
    {Field::ErasedChip, "--was-erased"},
};

std::string EraseValue(const std::string& setting, const std::string& sectors) {
    switch (host::ParseEraseSetting(setting)) {
        case host::EraseChoice::Retain:
            return "retain";
        case host::EraseChoice::All:
            return "all";
        case host::EraseChoice::Listed:
            return "sectors:" + sectors;
        case host::EraseChoice::None:
            return "none";
        default:
            return "necessary";
    }
}

}  // namespace

std::string OptionOf(host::Field field) {
    const auto* named = std::ranges::find(kNames, field, &NamedField::field);
    return named == std::end(kNames) ? std::string(host::FieldName(field)) : named->name;
}

std::vector<OptionValue> OptionsOf(const std::map<std::string, std::string>& properties) {
    const std::vector<host::GivenField> given = host::FieldsOf(properties);
    const auto listed = std::ranges::find(given, Field::ErasedSectors, &host::GivenField::field);
    const std::string sectors = listed == given.end() ? "" : *listed->value;
    std::vector<OptionValue> options;
    for (const auto& [field, value] : given) {
        if (field == Field::Erase) {
            options.push_back({OptionOf(field), EraseValue(*value, sectors)});
        } else if (field == Field::Verification) {
            options.push_back({OptionOf(field), *value == "1" ? "crc" : "none"});
        } else if (field != Field::ErasedSectors) {
            options.push_back({OptionOf(field), value.value_or("true")});
        }
    }
    return options;
}

}  // namespace flash::app
