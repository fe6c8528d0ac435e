// Who a virtual chip is.
#include "host/virtual_chip/VirtualIdentity.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace flash::host {
namespace {

TEST(SetIdentity, LetsTheBleAddressFollow) {
    struct Case {
        const char* ieee;
        const char* ble;
    };
    const Case cases[] = {
        {"02:01:02:03:04:05:06:07", "C2:03:04:05:06:07"},
        {"00:00:00:00:00:00:00:00", "C0:00:00:00:00:00"},
        {"FF:FF:FF:FF:FF:FF:FF:FF", "FF:FF:FF:FF:FF:FF"},
    };
    for (const Case& c : cases) {
        const RadioAddress ieee = ParseRadioAddress(c.ieee, kIeeeAddressBytes, Field::Address);
        chip::Settings settings;

        SetIdentity(settings, ieee);

        EXPECT_EQ(IdentityOf(settings), ieee);
        EXPECT_EQ(RadioAddress({settings.primaryBleAddress.begin(), settings.primaryBleAddress.end()}).Text(), c.ble);
    }
}

TEST(DrawIdentity, IsLocallyAdministeredAndAnotherOneEachTime) {
    std::vector<RadioAddress> drawn;
    for (int i = 0; i < 100; ++i) {
        const RadioAddress identity = DrawIdentity();
        EXPECT_EQ(identity.Bytes().size(), kIeeeAddressBytes);
        EXPECT_EQ(identity.Bytes().back() & 3, 2);
        EXPECT_EQ(std::ranges::count(drawn, identity), 0);
        drawn.push_back(identity);
    }
}

}  // namespace
}  // namespace flash::host
