// Radio addresses as text.
#include "host/session/MacAddress.h"

#include <gtest/gtest.h>

#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

TEST(ParseMacAddress, TakesBothCasesAndSeparators) {
    EXPECT_EQ(ParseMacAddress("c2:00:aB:00:00:01", 6, "--ble"), "C2:00:AB:00:00:01");
    EXPECT_EQ(ParseMacAddress("02-00-00-00-00-00-00-03", 8, "--ieee"), "02:00:00:00:00:00:00:03");
}

TEST(ParseMacAddress, RefusesEverythingElseNamingTheOption) {
    for (const char* text : {"", "C2", "C2:00:00:00:00", "C2:00:00:00:00:01:02", "C2:00:00:00:00:0G", "C20000000001",
                             "C2:00:00:00:00:1", "C2:00:00:00:00:01:", " C2:00:00:00:00:01", "C2.00.00.00.00.01"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { ParseMacAddress(text, 6, "--ble"); }).find("--ble: \""), 0u);
    }
}

TEST(PrintMacAddress, PutsTheMostSignificantByteFirst) {
    const std::uint8_t bytes[] = {0x01, 0x02, 0xAB};

    EXPECT_EQ(PrintMacAddress(bytes), "AB:02:01");
}

TEST(MacAddressBytes, AreThoseThatWerePrinted) {
    EXPECT_EQ(MacAddressBytes("AB:02:01"), (std::vector<std::uint8_t>{0x01, 0x02, 0xAB}));
}

}  // namespace
}  // namespace flash::host
