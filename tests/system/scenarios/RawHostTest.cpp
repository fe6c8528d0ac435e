// A host that is nothing but a table of plain functions, as another compiler would lay it out: the plug-in finds every
// service in its slot and passes every argument in its place.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

// The table, with room in front for what this compiler keeps there (checked builds look at it). `host` does the work.
struct RawHost {
    void** table;
    SimulatedHost* host;
};

SimulatedHost& HostOf(void* self) { return *static_cast<RawHost*>(self)->host; }

const char* GetProperty(void* self, const char* name) { return HostOf(self).GetProperty(name); }
const char* SetProperty(void* self, const char* name, const char* value) {
    return HostOf(self).SetProperty(name, value);
}
const char* LoadProgram(void* self, const char* fileName, const char* options, const char* directory) {
    return HostOf(self).LoadProgram(fileName, options, directory);
}
const char* LookUpSymbol(void* self, const char* name, std::uint64_t* value) {
    return HostOf(self).LookUpSymbol(name, value);
}
const char* RunTarget(void* self) { return HostOf(self).RunTarget(); }
const char* HaltTarget(void* self) { return HostOf(self).HaltTarget(); }
const char* ReadMemory(void* self, void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                       std::size_t elementSize) {
    return HostOf(self).ReadMemory(buffer, count, address, page, elementSize);
}
const char* WriteMemory(void* self, const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                        std::size_t elementSize) {
    return HostOf(self).WriteMemory(buffer, count, address, page, elementSize);
}
const char* ReadRegister(void* self, std::uint32_t number, std::uint64_t* value) {
    return HostOf(self).ReadRegister(number, value);
}
const char* WriteRegister(void* self, std::uint32_t number, std::uint64_t value) {
    return HostOf(self).WriteRegister(number, value);
}
const char* ReportError(void* self, const char* text) { return HostOf(self).ReportError(text); }
const char* PrintMessage(void* self, const char* text) { return HostOf(self).PrintMessage(text); }
const char* GetDirectoryPath(void* self) { return HostOf(self).GetDirectoryPath(); }
const char* WaitMilliseconds(void* self, std::uint32_t time) { return HostOf(self).WaitMilliseconds(time); }
const char* SelectCore(void* self, const char* name) { return HostOf(self).SelectCore(name); }

[[noreturn]] void EndAtUnusedSlot(void*) {
    std::fputs("the plug-in called a host slot that it must not use\n", stderr);
    std::abort();
}

template <typename Function>
void* Pointer(Function* function) {
    return reinterpret_cast<void*>(function);
}

class HostOfPlainFunctions : public testing::Test {
protected:
    static constexpr std::size_t kSlots = 28;
    static constexpr std::size_t kPrefix = 2;  // words in front of a table of this compiler

    ChipInMemory chip{kLumoD, 32};
    void* words[kPrefix + kSlots];
    RawHost rawHost{words + kPrefix, &chip.host};

    HostOfPlainFunctions() {
        void** realTable = *reinterpret_cast<void***>(static_cast<IFlashHost*>(&chip.host));
        std::copy_n(realTable - kPrefix, kPrefix, words);
        std::fill_n(words + kPrefix, kSlots, Pointer(EndAtUnusedSlot));
        const std::pair<int, void*> services[] = {
            {0, Pointer(GetProperty)},       {1, Pointer(SetProperty)},       {2, Pointer(LoadProgram)},
            {3, Pointer(LookUpSymbol)},      {4, Pointer(RunTarget)},         {6, Pointer(HaltTarget)},
            {10, Pointer(ReadMemory)},       {11, Pointer(WriteMemory)},      {13, Pointer(ReadRegister)},
            {14, Pointer(WriteRegister)},    {19, Pointer(ReportError)},      {20, Pointer(PrintMessage)},
            {21, Pointer(GetDirectoryPath)}, {22, Pointer(WaitMilliseconds)}, {27, Pointer(SelectCore)},
        };
        for (const auto& [slot, function] : services) {
            rawHost.table[slot] = function;
        }
    }
};

TEST_F(HostOfPlainFunctions, SeesWhatAnyHostSees) {
    const auto useEveryService = [](ChipInMemory& used, IFlashHost* host) {
        used.host.properties["FlashVerboseMode"] = "1";
        used.host.properties["DeviceIeeePrimaryLoc"] = "0x50001200:8:0";  // reported: three values
        used.host.flashloader.AnswerAll(AnswerAfterPolls(1));
        const Bytes data = Pattern(5000, 3);
        bool ready = false;
        const char* operations = nullptr;
        const DevicePointer device = MakeDevice(kLumoD.deviceName, host);
        EXPECT_STREQ(device->Initialize(&ready, &operations), nullptr);
        EXPECT_STREQ(device->Write(data.data(), 0x1000, 5000), nullptr);
        EXPECT_STREQ(device->Execute("ReadPriIeee"), nullptr);
    };
    ChipInMemory usual(kLumoD, 32);
    useEveryService(usual, &usual.host);

    useEveryService(chip, reinterpret_cast<IFlashHost*>(&rawHost));

    EXPECT_EQ(TextsOf(chip.host.calls), TextsOf(usual.host.calls));
    EXPECT_EQ(chip.host.memory.Bytes(0x1000, 5000), Pattern(5000, 3));
    for (auto service = Service::GetProperty; service != Service::Reserved;
         service = static_cast<Service>(static_cast<int>(service) + 1)) {
        EXPECT_GT(chip.host.CountOf(service), 0U) << NameOf(service);
    }
}

}  // namespace
}  // namespace flash::test
