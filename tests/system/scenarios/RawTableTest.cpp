// The device's table of functions, called as a host from another compiler calls it: by slot number, on plain pointers.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr std::uint64_t kTooBig = 0x1'0000'0000;

enum DeviceSlot : std::size_t {
    kInitialize,
    kIsAddressInFlash,
    kIsRangeInFlash,
    kSetTargetDataType,
    kWrite,
    kExecute,
    kNotifyPhase,
    kHandlesVerification,
    kRelease,
};

class RawTable : public testing::TestWithParam<const ChipModel*> {
protected:
    ConnectedChip chip{*GetParam()};
    SimulatedHost& host = chip.host;
    std::uint32_t flashEnd = chip.FlashEnd();

    template <typename... Arguments>
    const char* Call(std::size_t slot, Arguments... arguments) {
        return CallSlot(static_cast<void*>(chip.device.get()), slot, arguments...);
    }
};

TEST_P(RawTable, InitializeSetsBothResults) {
    bool ready = false;
    const char* operations = nullptr;

    ASSERT_STREQ(Call(kInitialize, &ready, &operations), nullptr);

    EXPECT_TRUE(ready);
    EXPECT_STREQ(operations,
                 "Erase, EraseSectors, ReadPriBle, ReadSecBle, WriteSecBle, ReadPriIeee, ReadSecIeee, WriteSecIeee, "
                 "BlankCheck");
}

TEST_P(RawTable, IsAddressInFlashCountsTheFirstAddressBehindFlash) {
    bool isInside = false;
    EXPECT_STREQ(Call(kIsAddressInFlash, std::uint64_t{flashEnd}, &isInside), nullptr);
    EXPECT_TRUE(isInside);
    EXPECT_STREQ(Call(kIsAddressInFlash, std::uint64_t{flashEnd} + 1, &isInside), nullptr);
    EXPECT_FALSE(isInside);
    EXPECT_EQ(host.CountOf(Service::ReadMemory), 1U) << "the size is measured once";
}

TEST_P(RawTable, IsRangeInFlashComparesTheWrappedEnd) {
    bool isInside = false;
    EXPECT_STREQ(Call(kIsRangeInFlash, std::uint64_t{0xFFFF'FFF0}, std::uint32_t{0x20}, &isInside), nullptr);
    EXPECT_TRUE(isInside);
    EXPECT_STREQ(Call(kIsRangeInFlash, std::uint64_t{0}, flashEnd + 1, &isInside), nullptr);
    EXPECT_FALSE(isInside);
}

TEST_P(RawTable, SetTargetDataTypeAlwaysFailsAndLeavesTheLastErrorAlone) {
    bool isInside = false;
    const char* error = Call(kIsAddressInFlash, kTooBig, &isInside);

    EXPECT_STREQ(Call(kSetTargetDataType, std::uint64_t{1}), "Unsupported target data type");

    EXPECT_STREQ(error, "Address value is too big");
}

TEST_P(RawTable, WriteProgramsFlash) {
    ASSERT_EQ(chip.Initialize(), "");
    const Bytes data = Pattern(100, 1);

    EXPECT_STREQ(Call(kWrite, data.data(), std::uint64_t{0x2000}, std::uint32_t{100}), nullptr);

    EXPECT_EQ(chip.FlashAt(0x2000, 100), data);
}

TEST_P(RawTable, ExecuteRunsANamedOperation) {
    ASSERT_EQ(chip.Initialize(), "");

    EXPECT_STREQ(Call(kExecute, "ReadPriBle"), nullptr);

    EXPECT_EQ(chip.Property("DeviceBlePrimary"), "B1:B2:B3:B4:B5:B6");
    EXPECT_STREQ(Call(kExecute, "ReadPriBle "), "Unsupported Operation Code: 'ReadPriBle '");
    EXPECT_STREQ(Call(kExecute, static_cast<const char*>(nullptr)), "Unsupported Operation Code: ''");
}

TEST_P(RawTable, NotifyPhaseTakesTheLow32BitsOfThePhase) {
    struct Case {
        std::int64_t phase;
        std::size_t halts;
    };
    const Case cases[] = {{0, 0}, {1, 1}, {2, 1}, {3, 0}, {-1, 0}, {0x1'0000'0001, 1}, {0x1'0000'0000, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.phase);
        host.ForgetCalls();
        EXPECT_STREQ(Call(kNotifyPhase, c.phase), nullptr);
        EXPECT_EQ(host.CountOf(Service::HaltTarget), c.halts);
    }
}

TEST_P(RawTable, HandlesVerificationAnswersByTheSettings) {
    bool handles = true;
    EXPECT_STREQ(Call(kHandlesVerification, std::uint64_t{0}, &handles), nullptr);
    EXPECT_FALSE(handles);
    for (const char* option : {"KeepCcfgSetting", "FlashPageToggle", "FlashPagesFilledWith", "CrcVerify"}) {
        SCOPED_TRACE(option);
        const auto settings = host.properties;
        host.properties["FlashPagesFilledWithValue"] = "0xFF";
        host.properties[option] = "1";
        handles = false;
        EXPECT_STREQ(Call(kHandlesVerification, std::uint64_t{0}, &handles), nullptr);
        EXPECT_TRUE(handles);
        host.properties = settings;
        EXPECT_STREQ(Call(kNotifyPhase, std::int64_t{0}), nullptr);
    }
}

TEST_P(RawTable, TooBigAnAddressIsRefusedBeforeAnyHostCall) {
    bool result = true;
    const Bytes data(4);

    EXPECT_STREQ(Call(kIsAddressInFlash, kTooBig, &result), "Address value is too big");
    EXPECT_STREQ(Call(kIsRangeInFlash, kTooBig, std::uint32_t{4}, &result), "Address value is too big");
    EXPECT_STREQ(Call(kWrite, data.data(), kTooBig, std::uint32_t{4}), "Address value is too big");
    EXPECT_STREQ(Call(kHandlesVerification, kTooBig, &result), "Address value is too big");

    EXPECT_TRUE(result) << "results stay untouched";
    EXPECT_TRUE(host.calls.empty());
}

TEST_P(RawTable, ResultsStayUntouchedOnFailure) {
    host.failures.FailNth(Service::SelectCore, 1, "no route");
    bool ready = false;
    const char* operations = "untouched";
    EXPECT_STREQ(Call(kInitialize, &ready, &operations), "no route");
    EXPECT_FALSE(ready);
    EXPECT_STREQ(operations, "untouched");

    for (const std::size_t slot : {kIsAddressInFlash, kHandlesVerification}) {
        for (const bool before : {false, true}) {
            SCOPED_TRACE(testing::Message() << "slot " << slot << ", before " << before);
            host.failures.FailNth(Service::ReadMemory, 1, "no memory");
            host.properties.erase("FlashPageToggle");
            bool result = before;
            EXPECT_NE(Call(slot, std::uint64_t{0}, &result), nullptr);
            EXPECT_EQ(result, before);
            host.failures.Clear();
        }
    }
}

TEST_P(RawTable, TheFirstErrorTextShowsTheSecondOne) {
    host.failures.FailNth(Service::HaltTarget, 1, "first");
    const char* first = Call(kNotifyPhase, std::int64_t{1});
    ASSERT_STREQ(first, "first");
    const std::string longText(2048, 'x');
    host.failures.FailNth(Service::HaltTarget, 1, longText);

    const char* second = Call(kNotifyPhase, std::int64_t{1});

    EXPECT_EQ(second, longText);
    EXPECT_EQ(first, longText);
}

TEST_P(RawTable, AnErrorTextOutlivesTheHostsOwnAndLaterSuccesses) {
    host.failures.FailNth(Service::HaltTarget, 1, "the host's own text");
    const char* error = Call(kNotifyPhase, std::int64_t{1});

    EXPECT_STREQ(Call(kNotifyPhase, std::int64_t{1}), nullptr);

    EXPECT_STREQ(error, "the host's own text") << "the fake host has overwritten its text by now";
}

TEST_P(RawTable, ALongErrorTextComesWhole) {
    const std::string text(100'000, 'x');
    host.failures.FailNth(Service::HaltTarget, 1, text);

    EXPECT_EQ(Call(kNotifyPhase, std::int64_t{1}), text);
}

TEST_P(RawTable, ReleaseReturnsNullAndCallsNoHost) {
    EXPECT_STREQ(Call(kRelease), nullptr);

    static_cast<void>(chip.device.release());
    EXPECT_TRUE(host.calls.empty());
}

TEST_P(RawTable, ReleaseOfNothingIsHarmless) {
    using Release = const char* (*)(void*);
    const auto release = (*reinterpret_cast<Release**>(chip.device.get()))[kRelease];

    EXPECT_STREQ(release(nullptr), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Generations, RawTable, testing::Values(&kLumoD, &kLumoF),
                         [](const auto& model) { return GenerationName(*model.param); });

}  // namespace
}  // namespace flash::test
