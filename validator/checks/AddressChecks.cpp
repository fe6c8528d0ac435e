// Which addresses and ranges count as flash.
#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr char kTooBig[] = "Address value is too big";
constexpr std::uint64_t kFirstBeyond32Bits = 0x1'0000'0000;

void EndOfFlashCountsAsInside(const ModuleUnderCheck& module) {
    for (const ChipModel& model : {kFirstGeneration, kSecondGeneration}) {
        ReadyDevice ready(module, model);
        const std::uint32_t size = ready.host.memory.FlashSize();
        ExpectTrue("address 0", ready.device.IsInFlash(0));
        ExpectTrue("address " + Hex(size) + ", the flash size", ready.device.IsInFlash(size));
        ExpectFalse("address " + Hex(size + 1), ready.device.IsInFlash(size + 1));
        ExpectFalse("address 0xFFFFFFFF", ready.device.IsInFlash(0xFFFF'FFFF));
    }
}

void OnlyTheEndOfARangeCounts(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    const std::uint32_t size = ready.host.memory.FlashSize();
    ExpectTrue("all of flash", ready.device.IsRangeInFlash(0, size));
    ExpectFalse("one byte more than flash", ready.device.IsRangeInFlash(1, size));
    ExpectTrue("an empty range at the end", ready.device.IsRangeInFlash(size, 0));
    ExpectTrue("a range whose 32-bit end wraps to 0x10", ready.device.IsRangeInFlash(0xFFFF'FFF0, 0x20));
}

void AddressesAbove32BitsAreRefused(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    bool result = false;
    ExpectText("IsAddressInFlash", kTooBig, ready.device.IsAddressInFlash(kFirstBeyond32Bits, &result));
    ExpectText("IsRangeInFlash", kTooBig, ready.device.IsRangeInFlash(kFirstBeyond32Bits, 1, &result));
    ExpectText("Write", kTooBig, ready.device.Write(Pattern(16), kFirstBeyond32Bits + 0x1000));
    ExpectText("HandlesVerification", kTooBig, ready.device.HandlesVerification(0xFFFF'FFFF'FFFF'FFFF, &result));
    ExpectFalse("result", result);
    ExpectNumber("host calls", 0, ready.host.calls.size());
}

void SizeIsMeasuredWhenNeeded(const ModuleUnderCheck& module) {
    NewDevice made(module, {0x1000, 0xFF, 0, 0});
    ExpectTrue("address 0x7FFFF of 128 sectors, before Initialize", made.device.IsInFlash(0x7'FFFF));
    ExpectFalse("address 0x80001", made.device.IsInFlash(0x8'0001));
    const auto reads = made.host.CallsOf(Service::ReadMemory);
    ExpectNumber("reads of the sector count for two questions", 1, reads.size());
    ExpectNumber("address that is read", 0x4003'002C, reads.front().address);
}

}  // namespace

std::vector<Check> AddressChecks() {
    constexpr const char* kTopic = "addresses";
    return {
        {kTopic, "end-of-flash-counts-as-inside", "An address of at most the flash size is in flash.",
         EndOfFlashCountsAsInside},
        {kTopic, "only-the-end-of-a-range-counts", "A range is in flash when its 32-bit end is at most the size.",
         OnlyTheEndOfARangeCounts},
        {kTopic, "addresses-above-32-bits-are-refused", "They give one error text and no host call.",
         AddressesAbove32BitsAreRefused},
        {kTopic, "size-is-measured-when-needed", "Before Initialize the first question measures flash, once.",
         SizeIsMeasuredWhenNeeded},
    };
}

}  // namespace flash::validator
