// What the host calls the operations, and which property belongs to an address operation.
#include "flashdevice/operations/OperationNames.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

TEST(OperationNames, AreTheHostsToTheByte) {
    EXPECT_STREQ(kErase, "Erase");
    EXPECT_STREQ(kEraseSectors, "EraseSectors");
    EXPECT_STREQ(kBlankCheck, "BlankCheck");
    EXPECT_STREQ(kMassErase, "MassErase()");
}

TEST(GetXmlPropertyNameFromCommand, KnowsTheSixAddressOperations) {
    EXPECT_STREQ(GetXmlPropertyNameFromCommand("ReadPriBle"), "DeviceBlePrimary");
    EXPECT_STREQ(GetXmlPropertyNameFromCommand("ReadSecBle"), "DeviceBleSecondary");
    EXPECT_STREQ(GetXmlPropertyNameFromCommand("WriteSecBle"), "DeviceBleSecondary");
    EXPECT_STREQ(GetXmlPropertyNameFromCommand("ReadPriIeee"), "DeviceIeeePrimary");
    EXPECT_STREQ(GetXmlPropertyNameFromCommand("ReadSecIeee"), "DeviceIeeeSecondary");
    EXPECT_STREQ(GetXmlPropertyNameFromCommand("WriteSecIeee"), "DeviceIeeeSecondary");
}

TEST(GetXmlPropertyNameFromCommand, RefusesAnyOther) {
    for (const std::string command : {"", "Erase", "WritePriBle", "readSecBle", "ReadSecBle ", "dummy"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { GetXmlPropertyNameFromCommand(command); }),
                  "GetXmlPropertyNameFromCommand(): Unknown command '" + command + "'");
    }
}

}  // namespace
}  // namespace flash::test
