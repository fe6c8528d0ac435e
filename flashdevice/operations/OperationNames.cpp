#include "flashdevice/operations/OperationNames.h"

#include <stdexcept>

namespace flash {
namespace {

struct CommandProperty {
    const char* command;
    const char* property;
};

constexpr CommandProperty kCommandProperties[] = {
    {kReadPriBle, kDeviceBlePrimary},   {kReadSecBle, kDeviceBleSecondary},   {kWriteSecBle, kDeviceBleSecondary},
    {kReadPriIeee, kDeviceIeeePrimary}, {kReadSecIeee, kDeviceIeeeSecondary}, {kWriteSecIeee, kDeviceIeeeSecondary},
};

}  // namespace

const char* GetXmlPropertyNameFromCommand(const std::string& command) {
    for (const CommandProperty& known : kCommandProperties) {
        if (command == known.command) {
            return known.property;
        }
    }
    throw std::runtime_error("GetXmlPropertyNameFromCommand(): Unknown command '" + command + "'");
}

}  // namespace flash
