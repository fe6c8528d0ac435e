// Radio addresses as text and as bytes.
#include "host/ccfg/RadioAddress.h"

#include <gtest/gtest.h>

#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ParseRadioAddress, TakesBothCasesAndSeparators) {
    EXPECT_EQ(ParseRadioAddress("c2:00:aB:00:00:01", 6, Field::Ble).Bytes(), (Bytes{1, 0, 0, 0xAB, 0, 0xC2}));
    EXPECT_EQ(ParseRadioAddress("02-00-00-00-00:00:00:03", 8, Field::Ieee).Bytes(), (Bytes{3, 0, 0, 0, 0, 0, 0, 2}));
}

TEST(ParseRadioAddress, RefusesEverythingElseWithTheField) {
    for (const char* text : {"", ":", "C2", "C2:00:00:00:00", "C2:00:00:00:00:01:02", "C2:00:00:00:00:0G",
                             "C20000000001", "C2:00:00:00:00:1", "C2:00:00:00:00:01:", ":C2:00:00:00:00:01",
                             " C2:00:00:00:00:01", "C2.00.00.00.00.01", "C2:00:00:00:00:+1", "C2:00:00:00:00.01"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { ParseRadioAddress(text, 6, Field::Ble); }),
                  "\"BLE address\": \"" + std::string(text) +
                      "\" is not an address of 6 bytes, two hexadecimal digits each with ':' between, most significant "
                      "byte first");
    }
}

TEST(RadioAddress, IsPrintedWithTheMostSignificantByteFirst) {
    EXPECT_EQ(RadioAddress({0x01, 0x02, 0xAB}).Text(), "AB:02:01");
    EXPECT_EQ(RadioAddress({}).Text(), "");
}

}  // namespace
}  // namespace flash::host
