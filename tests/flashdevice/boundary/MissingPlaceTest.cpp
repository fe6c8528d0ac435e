// A host that leaves out a place for an answer, or the data, reads which one; nothing is called then.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

struct MissingPlace : testing::Test {
    MissingPlace() {
        EXPECT_STREQ(module.Create("LumoD1", "", "", &host, &device), nullptr);
        host.calls.clear();
    }
    ~MissingPlace() override { device->Release(); }

    LoadedModule module;
    SimulatedHost host;
    IFlashDevice2* device = nullptr;
    bool flag = true;
    const char* text = nullptr;
};

TEST_F(MissingPlace, IsNamed) {
    EXPECT_STREQ(module.Create("LumoD1", "", "", &host, nullptr),
                 "CreateFlashDevice2: no place for the new device was given");
    EXPECT_STREQ(device->Initialize(nullptr, &text), "Initialize: no place for the ready flag was given");
    EXPECT_STREQ(device->Initialize(&flag, nullptr), "Initialize: no place for the operations text was given");
    EXPECT_STREQ(device->IsAddressInFlash(0, nullptr), "IsAddressInFlash: no place for the result was given");
    EXPECT_STREQ(device->IsRangeInFlash(0, 1, nullptr), "IsRangeInFlash: no place for the result was given");
    EXPECT_STREQ(device->HandlesVerification(0, nullptr), "HandlesVerification: no place for the result was given");
    EXPECT_STREQ(device->Write(nullptr, 0, 1), "Write: no data was given");

    EXPECT_TRUE(host.calls.empty());
}

}  // namespace
}  // namespace flash::test
