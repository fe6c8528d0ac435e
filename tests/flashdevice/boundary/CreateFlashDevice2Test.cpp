// The module's only export, called in the built module.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/LoadedModule.h"
#include "tests/support/TestTarget.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;

struct CreateFlashDevice2Test : testing::Test {
    const char* Create(const char* name) { return module.Create(name, "", "", &host, &device); }

    LoadedModule module;
    FakeHost host;
    IFlashDevice2* device = nullptr;
};

TEST_F(CreateFlashDevice2Test, TheSixthCharacterSelectsTheGeneration) {
    host.memory.SetWord(kSectorCountRegister, 1);
    for (char digit = '0'; digit <= '9'; ++digit) {
        const std::string name = std::string("LumoX") + digit;
        ASSERT_STREQ(Create(name.c_str()), nullptr) << name;
        bool isInside = false;
        ASSERT_STREQ(device->IsAddressInFlash(0x1001, &isInside), nullptr);
        EXPECT_EQ(isInside, digit == '2' || digit == '4') << name;  // one sector of 4096 or 8192 bytes
        device->Release();
    }
}

TEST_F(CreateFlashDevice2Test, NamesWithoutADigitThrow) {
    for (const char* name : {static_cast<const char*>(nullptr), "", "Lumo"}) {
        EXPECT_EQ(ThrownText<std::out_of_range>([&] { Create(name); }), "invalid string position");
    }
    for (const char* name : {"LumoD", "LumoDx"}) {
        EXPECT_EQ(ThrownText<std::invalid_argument>([&] { Create(name); }), "invalid stoi argument") << name;
    }
    EXPECT_EQ(device, nullptr);
}

TEST_F(CreateFlashDevice2Test, NullTextsCountAsEmpty) {
    ASSERT_STREQ(module.Create("LumoD1", nullptr, nullptr, &host, &device), nullptr);
    device->Release();
}

TEST_F(CreateFlashDevice2Test, DoesNotCallTheHost) {
    ASSERT_STREQ(Create("LumoF2"), nullptr);
    EXPECT_TRUE(host.calls.empty());
    device->Release();
}

TEST_F(CreateFlashDevice2Test, ADeviceWithoutAHostFailsWithAText) {
    ASSERT_STREQ(module.Create("LumoD1", "", "", nullptr, &device), nullptr);

    EXPECT_STREQ(device->NotifyPhase(1), "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.");
    EXPECT_STREQ(device->NotifyPhase(0), nullptr);
    device->Release();
}

TEST_F(CreateFlashDevice2Test, ReleaseOfNothingIsHarmless) {
    ASSERT_STREQ(Create("LumoD1"), nullptr);
    auto* const release = (*reinterpret_cast<const char* (***)(void*)>(device))[8];
    EXPECT_STREQ(device->Release(), nullptr);
    // Through the raw table, as a host may that keeps the function and lost the device.
    [&]() __attribute__((no_sanitize("undefined"))) { EXPECT_STREQ(release(nullptr), nullptr); }
    ();
}

TEST_F(CreateFlashDevice2Test, DevicesKeepTheirStateApart) {
    const auto first = MakeLumoD();
    const auto second = MakeLumoF();
    const DevicePointer d = MakeDevice(first->model.deviceName, &first->host);
    const DevicePointer f = MakeDevice(second->model.deviceName, &second->host);
    const char* firstError = d->Execute("one");
    const char* secondError = f->Execute("two");

    EXPECT_STREQ(firstError, "Unsupported Operation Code: 'one'");
    EXPECT_STREQ(secondError, "Unsupported Operation Code: 'two'");
}

}  // namespace
}  // namespace flash::test
