// The module as a file: what its factory answers and throws across the module's edge, several devices at once, and
// loading it again and again.
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

const char* Create(const char* name, IFlashHost* host, IFlashDevice2** device) {
    static const LoadedModule module;
    return module.Create(name, "second", "third", host, device);
}

TEST(Factory, SelectsTheGenerationByTheSixthCharacter) {
    for (char digit = '0'; digit <= '9'; ++digit) {
        SCOPED_TRACE(digit);
        SimulatedHost host;
        const std::string name = std::string("XXXXX") + digit;
        IFlashDevice2* device = nullptr;
        ASSERT_STREQ(Create(name.c_str(), &host, &device), nullptr);
        bool isInside = false;

        EXPECT_STREQ(device->IsAddressInFlash(32 * 4096 + 1, &isInside), nullptr);

        EXPECT_EQ(isInside, digit == '2' || digit == '4') << "the second generation's sectors are twice as large";
        device->Release();
    }
}

template <typename Exception>
void ExpectThrown(const char* name, const char* text) {
    SCOPED_TRACE(name == nullptr ? "null" : name);
    SimulatedHost host;
    auto* const untouched = reinterpret_cast<IFlashDevice2*>(&host);
    IFlashDevice2* device = untouched;
    try {
        Create(name, &host, &device);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Exception& error) {
        EXPECT_STREQ(error.what(), text);
    } catch (const std::exception& error) {
        ADD_FAILURE() << "another type of exception: " << error.what();
    }
    EXPECT_EQ(device, untouched);
    EXPECT_TRUE(host.calls.empty());
}

TEST(Factory, ThrowsForANameWithoutAGenerationDigit) {
    ExpectThrown<std::out_of_range>("", "invalid string position");
    ExpectThrown<std::out_of_range>("Lumo", "invalid string position");
    ExpectThrown<std::out_of_range>(nullptr, "invalid string position");
    ExpectThrown<std::invalid_argument>("LumoD", "invalid stoi argument");
    ExpectThrown<std::invalid_argument>("LumoDx", "invalid stoi argument");
    ExpectThrown<std::invalid_argument>("LumoD 1", "invalid stoi argument");
    ExpectThrown<std::invalid_argument>("LumoD-1", "invalid stoi argument");
}

TEST(Factory, TakesNullTextsAsEmptyOnes) {
    static const LoadedModule module;
    SimulatedHost host;
    IFlashDevice2* device = nullptr;

    ASSERT_STREQ(module.Create("LumoF2", nullptr, nullptr, &host, &device), nullptr);

    device->Release();
}

TEST(Factory, CallsNoHostService) {
    const ConnectedChip chip(kLumoF);

    EXPECT_TRUE(chip.host.calls.empty());
}

TEST(Factory, ADeviceWithoutAHostFailsWithAText) {
    IFlashDevice2* device = nullptr;
    ASSERT_STREQ(Create("LumoD1", nullptr, &device), nullptr);
    const DevicePointer owned(device);

    EXPECT_STREQ(device->NotifyPhase(1), "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.");
}

TEST(TwoDevices, KeepTheirStateApart) {
    InitializedChip first(kLumoD);
    InitializedChip second(kLumoF);
    first.Property("FlashVerboseMode") = "1";
    ASSERT_EQ(first.Notify(1), "");
    ASSERT_EQ(second.Notify(1), "");

    ASSERT_EQ(first.Write({0, Pattern(6000, 1)}), "");
    ASSERT_EQ(second.Write({0, Pattern(9000, 2)}), "");
    ASSERT_EQ(first.Write({0x4000, Pattern(100, 3)}), "");

    EXPECT_EQ(first.FlashAt(0, 6000), Pattern(6000, 1));
    EXPECT_EQ(first.FlashAt(0x4000, 100), Pattern(100, 3));
    EXPECT_EQ(second.FlashAt(0, 9000), Pattern(9000, 2));
    EXPECT_FALSE(first.host.messages.empty());
    EXPECT_TRUE(second.host.messages.empty());
}

TEST(TwoDevices, KeepTheirErrorTextsApart) {
    InitializedChip first(kLumoD);
    InitializedChip second(kLumoD);
    first.host.failures.FailNth(Service::HaltTarget, 1, "of the first");
    second.host.failures.FailNth(Service::HaltTarget, 1, "of the second");

    const char* firstError = first.device->NotifyPhase(1);
    const char* secondError = second.device->NotifyPhase(1);

    EXPECT_STREQ(firstError, "of the first");
    EXPECT_STREQ(secondError, "of the second");
    second.device.reset();
    EXPECT_STREQ(firstError, "of the first");
}

// A copy under a name of its own, so that no other test keeps it loaded.
class CopiedModule : public testing::Test {
protected:
    std::filesystem::path path = std::filesystem::absolute("module-test-copy.bin");

    void SetUp() override {
        std::filesystem::copy_file(LoadedModule::BuiltPath(), path, std::filesystem::copy_options::overwrite_existing);
    }
    void TearDown() override { std::filesystem::remove(path); }

    bool IsLoaded() const {
#if defined(_WIN32)
        return GetModuleHandleA(path.string().c_str()) != nullptr;
#else
        void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        return handle != nullptr && dlclose(handle) == 0;
#endif
    }
};

TEST_F(CopiedModule, LoadsWorksAndUnloadsAgainAndAgain) {
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        SimulatedHost host;
        {
            const LoadedModule module(path.string());
            ASSERT_TRUE(IsLoaded());
            IFlashDevice2* device = nullptr;
            ASSERT_STREQ(module.Create(kLumoD.deviceName, "", "", &host, &device), nullptr);
            const DevicePointer owned(device);
            bool ready = false;
            const char* operations = nullptr;
            ASSERT_STREQ(device->Initialize(&ready, &operations), nullptr);
            const Bytes data = Pattern(300, static_cast<std::uint8_t>(round));
            ASSERT_STREQ(device->Write(data.data(), 0, 300), nullptr);
            EXPECT_EQ(host.memory.Bytes(0, 300), data);
            EXPECT_STREQ(device->Execute("nonsense"), "Unsupported Operation Code: 'nonsense'");
        }
        ASSERT_FALSE(IsLoaded());
    }
}

}  // namespace
}  // namespace flash::test
