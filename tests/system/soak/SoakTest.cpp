// Endurance: after many program loads, and after many loads of the module, the process holds what it held after the
// hundredth. FLASH_SOAK=1 runs 10 000 program loads and 1 000 module loads instead of the short form.
#include <gtest/gtest.h>

#include <functional>

#include "tests/support/LongForm.h"
#include "tests/system/soak/AllocationCounter.h"
#include "validator/CheckRunner.h"
#include "validator/Resources.h"

namespace flash::validator {
namespace {

constexpr int kSettled = 100;

const int kProgramLoads = test::IsLongForm() ? 10'000 : 300;
const int kModuleLoads = test::IsLongForm() ? 1'000 : 160;

struct Held {
    test::LiveAllocations allocations;
    Resources resources;  // its memory is only near: the C library counts what it keeps for itself, too

    // What must be the same to the byte.
    std::string ToText() const {
        return std::to_string(allocations.blocks) + " live blocks of " + std::to_string(allocations.bytes) +
               " bytes, " + std::to_string(resources.handles.value_or(0)) + " handles, " +
               std::to_string(resources.threads) + " threads";
    }
};

struct Endurance {
    Held settled;
    Held last;
};

Held Measure() { return {test::CountLiveAllocations(), MeasureResources()}; }

// The measurements after the hundredth and after the last turn.
Endurance Repeat(int turns, const std::function<void(int)>& turn) {
    Endurance endurance;
    for (int i = 1; i <= turns; ++i) {
        turn(i);
        if (i == kSettled) {
            endurance.settled = Measure();
        }
    }
    endurance.last = Measure();
    return endurance;
}

void ExpectSame(const Endurance& endurance, const char* what, int turns) {
    // What a sanitizer or the loader notes about each loaded module is not the module's, and below this bound.
    constexpr std::size_t kAllowedPerTurn = 64;

    EXPECT_EQ(endurance.settled.ToText(), endurance.last.ToText());
    EXPECT_LE(endurance.last.resources.liveBytes,
              endurance.settled.resources.liveBytes + kAllowedPerTurn * static_cast<std::size_t>(turns));
    std::printf("%d %s: %s at the %dth and the last\n", turns, what, endurance.last.ToText().c_str(), kSettled);
}

// Loads differ, in turn, in their options and in whether a chunk fails. After 20 turns they come again, so that the
// hundredth and the last load are the same.
void DoLoad(NewDevice& made, int turn) {
    made.host.ForgetCalls();
    made.host.properties["CrcVerify"] = turn % 2 == 0 ? "1" : "0";
    made.host.properties["KeepCcfgSetting"] = turn % 4 == 0 ? "1" : "0";
    made.host.properties["FlashPageToggle"] = turn % 5 == 0 ? "1" : "0";
    made.host.properties["FlashPages"] = "1,3";
    const bool isFailing = turn % 10 == 3;
    if (isFailing) {
        made.host.flashloader.AnswerNth(2, AnswerWithStatus(0x103));
    }
    made.device.NotifyPhase(1);
    const char* error = made.device.Write(Pattern(0x3000), made.host.memory.FlashSize() - 0x3000);
    EXPECT_EQ(error != nullptr, isFailing) << Quoted(error);
    made.device.NotifyPhase(2);
}

void UseOneDevice(const ModuleUnderCheck& module, int turn) {
    NewDevice made(module, turn % 2 == 0 ? kSecondGeneration : kFirstGeneration);
    made.device.Initialize();
    DoLoad(made, turn);
    made.device.Execute("no such operation");
}

TEST(ManyProgramLoads, OnOneDeviceLeaveNothingBehind) {
    const ModuleUnderCheck module(REAL_MODULE);
    NewDevice made(module);
    made.device.Initialize();

    const Endurance endurance = Repeat(kProgramLoads, [&](int turn) { DoLoad(made, turn); });

    ExpectSame(endurance, "program loads on one device", kProgramLoads);
}

TEST(ManyProgramLoads, EachOnItsOwnDeviceLeaveNothingBehind) {
    const ModuleUnderCheck module(REAL_MODULE);

    const Endurance endurance = Repeat(kProgramLoads, [&](int turn) { UseOneDevice(module, turn); });

    ExpectSame(endurance, "devices with a program load each", kProgramLoads);
}

TEST(ManyModuleLoads, LeaveNothingBehind) {
    const Endurance endurance = Repeat(kModuleLoads, [](int turn) {
        const ModuleUnderCheck module(REAL_MODULE);
        UseOneDevice(module, turn);
    });

    ExpectSame(endurance, "loads and unloads of the module", kModuleLoads);
}

void ManyDevices(const ModuleUnderCheck& module) {
    const Endurance endurance = Repeat(kSettled + 60, [&](int turn) { UseOneDevice(module, turn); });
    ExpectText("what is held in the end", endurance.settled.ToText(), endurance.last.ToText());
}

// In a process of its own, so that the lost blocks are not this program's.
TEST(ALeakingModule, IsNoticed) {
    const Check check{"endurance", "many-devices", "Many devices leave nothing behind.", ManyDevices};

    EXPECT_EQ(RunCheck(check, REAL_MODULE, {}, false)->outcome, Outcome::Passed);
    EXPECT_EQ(RunCheck(check, LEAKING_MODULE, {}, false)->outcome, Outcome::Failed);
}

}  // namespace
}  // namespace flash::validator
