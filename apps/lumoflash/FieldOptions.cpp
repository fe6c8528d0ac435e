// The one list of names.
#include "apps/lumoflash/FieldOptions.h"

#include <algorithm>

#include "host/settings/OptionProperties.h"

namespace flash::app {
namespace {

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
    using host::Field;
    switch (field) {
        case Field::Device:
            return "--device";
        case Field::DevicesFolder:
            return "--devices";
        case Field::Plugin:
            return "--plugin";
        case Field::Verbose:
            return "--verbose";
        case Field::BaseAddress:
            return "--base";
        case Field::Erase:
            return "--erase";
        case Field::ErasedSectors:
            return "--erase sectors:";
        case Field::SkippedSectors:
            return "--skip-pages";
        case Field::SkippedFill:
            return "--skip-fill";
        case Field::KeptCcfg:
            return "--keep-ccfg";
        case Field::Verification:
            return "--verify";
        case Field::RetainedBle:
            return "--retain-ble";
        case Field::RetainedIeee:
            return "--retain-ieee";
        case Field::Ble:
            return "--ble";
        case Field::Ieee:
            return "--ieee";
        case Field::Protect:
            return "--protect";
        case Field::Bootloader:
            return "--disable-bootloader";
        case Field::DebugPort:
            return "--disable-debug";
        case Field::Sectors:
            return "--sectors";
        case Field::Address:
            return "mac write";
    }
    return std::string(host::FieldName(field));
}

std::vector<OptionValue> OptionsOf(const std::map<std::string, std::string>& properties) {
    using host::Field;
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
