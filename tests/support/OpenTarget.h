// An open device on a connected chip, started up and with an empty record: where most tests of the device begin.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/OpenDevice.h"
#include "tests/support/TestTarget.h"
#include "tests/support/ThrownText.h"

namespace flash::test {

template <typename Generation>
struct OpenTarget : TestTarget {
    OpenTarget(const ChipModel& chipModel, std::uint32_t sectorCount)
        : TestTarget(chipModel, sectorCount), device(chipModel.deviceName, &host) {
        device.Initialize();
        host.ClearRecord();
    }

    // The device reads the setting at its next need of it.
    void SetVerbose() {
        host.properties["FlashVerboseMode"] = "1";
        device.verboseState = kVerboseUnread;
    }

    // Loads the flashloader, and forgets that it did.
    void LoadFlashloader() {
        device.LoadFlashloader();
        host.ClearRecord();
    }

    OpenDevice<Generation> device;
};

struct OpenLumoD : OpenTarget<FlashDeviceLumoDor> {
    explicit OpenLumoD(std::uint32_t sectorCount = 32) : OpenTarget(kLumoD, sectorCount) {}
};

struct OpenLumoF : OpenTarget<FlashDeviceLumoFen> {
    explicit OpenLumoF(std::uint32_t sectorCount = 44) : OpenTarget(kLumoF, sectorCount) {}
};

inline constexpr char kPlannedError[] = "The probe was unplugged";

// Lets every host call of `act` fail in turn, each on a fresh `OpenLumoD` that `prepare` got first. A call that returns
// an error text must end `act` with `expected(slot)`; a property that is suddenly missing must only not break anything.
template <typename Prepare, typename Act, typename Expected>
void SweepHostErrors(Prepare prepare, Act act, Expected expected) {
    for (std::size_t n = 1;; ++n) {
        OpenLumoD target;
        prepare(target);
        target.host.ClearRecord();
        target.host.FailNthOfAny(n, kPlannedError);
        const std::string text = ThrownText<std::runtime_error>([&] { act(target); });
        if (!target.host.LastFailure()) {
            EXPECT_GT(n, 1U) << "the situation calls no host service";
            EXPECT_EQ(text, "(nothing thrown)");
            return;
        }
        const Slot slot = *target.host.LastFailure();
        if (slot != Slot::GetProperty && slot != Slot::GetDirectoryPath) {
            EXPECT_EQ(text, expected(slot)) << "host call " << n << ": " << SlotName(slot);
        }
    }
}

// As above, for operations that hand on the host's own text, whatever fails.
template <typename Prepare, typename Act>
void SweepHostErrors(Prepare prepare, Act act) {
    SweepHostErrors(prepare, act, [](Slot) { return std::string(kPlannedError); });
}

}  // namespace flash::test
