// The edge of the module: exceptions become texts, results stay untouched on failure. The device is a scripted one.
#include "flashdevice/boundary/FlashDeviceFactory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "tests/support/ConnectedChip.h"

namespace {

std::size_t allocationsLeft = 0;  // until one fails; 0: none does

// From now on the n-th allocation fails, once.
void FailAllocation(std::size_t n) { allocationsLeft = n; }

}  // namespace

// The program's own memory, so that a test can run out of it. Not inlined, or the compiler sees `malloc` and `delete`
// as a mismatched pair.
__attribute__((noinline)) void* operator new(std::size_t size) {
    void* memory = allocationsLeft != 0 && --allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }

__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace flash::test {
namespace {

// What every scripted device does and saw; one at a time.
struct Script {
    std::function<void()> onConstruct = [] {};
    std::function<void()> onWork = [] {};
    std::uint32_t flashSize = 0x1000;
    bool handlesVerification = false;
    int living = 0;
    std::vector<std::string> seen;
};
Script script;

class ScriptedDevice {
public:
    ScriptedDevice(const std::string& name, const std::string& second, const std::string& third, IFlashHost*) {
        script.seen.push_back("construct " + name + "|" + second + "|" + third);
        script.onConstruct();
        ++script.living;
    }
    ~ScriptedDevice() { --script.living; }
    ScriptedDevice(const ScriptedDevice&) = delete;
    ScriptedDevice& operator=(const ScriptedDevice&) = delete;

    void Initialize() { Work("initialize"); }
    std::uint32_t MeasuredFlashSize() {
        Work("measure");
        return script.flashSize;
    }
    void ProgramData(const unsigned char* data, unsigned address, std::uint32_t length) {
        Work("program " + std::to_string(data == nullptr ? 0 : data[0]) + " at " + std::to_string(address) +
             " length " + std::to_string(length));
    }
    void ExecuteOperation(const std::string& operation) { Work("execute " + operation); }
    void OnFlashPhase(std::uint32_t phase) { Work("phase " + std::to_string(phase)); }
    bool HandlesVerification() {
        Work("verification");
        return script.handlesVerification;
    }

private:
    static void Work(const std::string& what) {
        script.seen.push_back(what);
        script.onWork();
    }
};

class OtherScriptedDevice : public ScriptedDevice {
public:
    using ScriptedDevice::ScriptedDevice;
};

using Factory = FlashDeviceFactory<ScriptedDevice, unsigned char, unsigned int>;
using OtherFactory = FlashDeviceFactory<OtherScriptedDevice, unsigned char, unsigned int>;

std::function<void()> Throwing(const std::string& text) {
    return [text] { throw std::runtime_error(text); };
}

class Construction : public testing::Test {
protected:
    Construction() { script = Script{}; }
    SimulatedHost host;
    IFlashDevice2* device = nullptr;
};

class Adapter : public Construction {
protected:
    Adapter() {
        EXPECT_STREQ(Factory::Create("LumoD1", "", "", &host, &device), nullptr);
        script.seen.clear();
    }
    ~Adapter() override { device->Release(); }

    bool result = true;
    bool ready = false;
    const char* operations = "untouched";
    const unsigned char data[2] = {7, 8};
};

TEST_F(Construction, HandsTheTextsToTheDevice) {
    ASSERT_STREQ(Factory::Create("LumoD1", "second", "third", &host, &device), nullptr);

    EXPECT_EQ(script.seen, Texts{"construct LumoD1|second|third"});
    EXPECT_STREQ(device->Release(), nullptr);
    EXPECT_EQ(script.living, 0);
}

TEST_F(Construction, TakesNullTextsAsEmpty) {
    ASSERT_STREQ(Factory::Create("LumoD1", nullptr, nullptr, &host, &device), nullptr);

    EXPECT_EQ(script.seen, Texts{"construct LumoD1||"});
    device->Release();
}

TEST_F(Construction, FailureIsATextAndLeavesThePlaceUntouched) {
    auto* const before = reinterpret_cast<IFlashDevice2*>(&host);
    device = before;
    script.onConstruct = Throwing("no memory for the device");

    EXPECT_STREQ(Factory::Create("LumoD1", "", "", &host, &device), "no memory for the device");

    EXPECT_EQ(device, before);
    EXPECT_EQ(script.living, 0);
}

TEST_F(Construction, ASecondFailureOfTheGenerationOverwritesTheFirstText) {
    script.onConstruct = Throwing("the first failure");
    const char* first = Factory::Create("LumoD1", "", "", &host, &device);
    script.onConstruct = Throwing("the other failure");
    const char* second = Factory::Create("LumoD1", "", "", &host, &device);

    EXPECT_STREQ(second, "the other failure");
    EXPECT_EQ(first, second);
}

TEST_F(Construction, GenerationsKeepTheirTextsApart) {
    script.onConstruct = Throwing("the first failure");
    const char* first = Factory::Create("LumoD1", "", "", &host, &device);
    script.onConstruct = Throwing("the other failure");
    const char* other = OtherFactory::Create("LumoF2", "", "", &host, &device);

    EXPECT_STREQ(first, "the first failure");
    EXPECT_STREQ(other, "the other failure");
}

TEST_F(Construction, TheTextOutlivesASuccess) {
    script.onConstruct = Throwing("the first failure");
    const char* text = Factory::Create("LumoD1", "", "", &host, &device);
    script.onConstruct = [] {};

    ASSERT_STREQ(Factory::Create("LumoD1", "", "", &host, &device), nullptr);

    EXPECT_STREQ(text, "the first failure");
    device->Release();
}

TEST_F(Construction, OtherExceptionsPassThrough) {
    script.onConstruct = [] { throw 42; };

    EXPECT_THROW(Factory::Create("LumoD1", "", "", &host, &device), int);
    EXPECT_EQ(device, nullptr);
}

template <typename Generation>
void ExpectATextForEveryFailingAllocation() {
    using RealFactory = FlashDeviceFactory<Generation, unsigned char, unsigned int>;
    SimulatedHost host;
    IFlashDevice2* device = nullptr;
    const std::string longName(100, '1');
    ASSERT_STREQ(RealFactory::Create("warm up the place of the text", "", "", &host, &device), nullptr);
    device->Release();
    for (std::size_t n = 1;; ++n) {
        device = nullptr;
        FailAllocation(n);
        const char* error = RealFactory::Create(longName.c_str(), "", "", &host, &device);
        const bool hasFailed = allocationsLeft == 0;
        FailAllocation(0);
        if (!hasFailed) {
            ASSERT_STREQ(error, nullptr);
            device->Release();
            EXPECT_GT(n, 10U);
            return;
        }
        ASSERT_STREQ(error, "std::bad_alloc") << n;
        ASSERT_EQ(device, nullptr) << n;
    }
}

TEST_F(Construction, WithoutMemoryIsATextAndLeavesNothingBehind) {
    ExpectATextForEveryFailingAllocation<FlashDeviceLumoDor>();
    ExpectATextForEveryFailingAllocation<FlashDeviceLumoFen>();
}

TEST_F(Adapter, WithoutMemoryForALongErrorTextItsFirst2048CharactersStay) {
    const std::runtime_error error(std::string(5000, 'x'));
    script.onWork = [&] {
        FailAllocation(1);
        throw error;
    };

    const std::string text = device->NotifyPhase(1);
    FailAllocation(0);

    EXPECT_EQ(text, std::string(2048, 'x'));
}

TEST_F(Adapter, AnAddressIsInFlashUpToTheSizeItself) {
    struct Case {
        std::uint64_t address;
        std::uint32_t flashSize;
        bool isInside;
    };
    const Case cases[] = {
        {0, 0x1000, true},       {0xFFF, 0x1000, true},        {0x1000, 0x1000, true},
        {0x1001, 0x1000, false}, {0xFFFF'FFFF, 0x1000, false}, {0, 0, true},
        {1, 0, false},           {0x8000'0000, 0x1000, false},
    };
    for (const Case& each : cases) {
        script.flashSize = each.flashSize;
        result = !each.isInside;
        EXPECT_STREQ(device->IsAddressInFlash(each.address, &result), nullptr);
        EXPECT_EQ(result, each.isInside) << each.address;
    }
}

TEST_F(Adapter, ARangeIsInFlashWhenItsEndIs) {
    struct Case {
        const char* name;
        std::uint64_t address;
        std::uint32_t length;
        bool isInside;
    };
    const Case cases[] = {
        {"all of flash", 0, 0x1000, true},
        {"one byte more", 0, 0x1001, false},
        {"nothing at the end", 0x1000, 0, true},
        {"one byte behind the end", 0x1000, 1, false},
        {"the sum wraps to 0x10", 0xFFFF'FFF0, 0x20, true},
        {"the sum wraps to 0", 0xFFFF'FFFF, 1, true},
        {"the highest end", 0xFFFF'FFFF, 0, false},
        {"the sum wraps to the end", 0xFFFF'FFFF, 0x1001, true},
        {"the sum wraps beyond the end", 0xFFFF'FFFF, 0x1002, false},
    };
    for (const Case& each : cases) {
        result = !each.isInside;
        EXPECT_STREQ(device->IsRangeInFlash(each.address, each.length, &result), nullptr);
        EXPECT_EQ(result, each.isInside) << each.name;
    }
}

TEST_F(Adapter, TheHighestAddressIsPassedOn) {
    EXPECT_STREQ(device->Write(data, 0xFFFF'FFFF, 2), nullptr);
    EXPECT_STREQ(device->HandlesVerification(0xFFFF'FFFF, &result), nullptr);

    EXPECT_EQ(script.seen, (Texts{"program 7 at 4294967295 length 2", "verification"}));
}

TEST_F(Adapter, AnEmptyWriteNeedsNoData) {
    EXPECT_STREQ(device->Write(nullptr, 16, 0), nullptr);
    EXPECT_EQ(script.seen, Texts{"program 0 at 16 length 0"});
}

TEST_F(Adapter, EveryOperationTurnsAFailureIntoItsText) {
    script.onWork = [] { throw std::logic_error("Unknown property \"X\""); };
    const char* const expected = "Unknown property \"X\"";

    EXPECT_STREQ(device->Initialize(&ready, &operations), expected);
    EXPECT_STREQ(device->IsAddressInFlash(0, &result), expected);
    EXPECT_STREQ(device->IsRangeInFlash(0, 0, &result), expected);
    EXPECT_STREQ(device->Write(data, 0, 2), expected);
    EXPECT_STREQ(device->Execute("Erase"), expected);
    EXPECT_STREQ(device->NotifyPhase(1), expected);
    EXPECT_STREQ(device->HandlesVerification(0, &result), expected);

    EXPECT_TRUE(result);  // as before
}

TEST_F(Adapter, OtherExceptionsPassThroughEveryOperation) {
    script.onWork = [] { throw 42; };

    EXPECT_THROW(device->Initialize(&ready, &operations), int);
    EXPECT_THROW(device->IsAddressInFlash(0, &result), int);
    EXPECT_THROW(device->IsRangeInFlash(0, 0, &result), int);
    EXPECT_THROW(device->Write(data, 0, 2), int);
    EXPECT_THROW(device->Execute("Erase"), int);
    EXPECT_THROW(device->NotifyPhase(1), int);
    EXPECT_THROW(device->HandlesVerification(0, &result), int);
}

TEST(KeepText, HoldsTheWholeText) {
    std::string holder = "before";
    EXPECT_STREQ(KeepText(holder, "a longer text than before"), "a longer text than before");
    EXPECT_EQ(KeepText(holder, ""), holder.c_str());
    EXPECT_EQ(holder, "");
}

TEST(KeepText, KeepsWhatFitsWhenThereIsNoMemoryForMore) {
    std::string holder;
    holder.reserve(64);
    const std::string text = std::string(holder.capacity(), 'a') + "and more";

    FailAllocation(1);
    const char* kept = KeepText(holder, text.c_str());
    FailAllocation(0);

    EXPECT_EQ(kept, text.substr(0, text.size() - 8));
}

}  // namespace
}  // namespace flash::test
