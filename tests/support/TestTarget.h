// A connected chip for tests: a fake host with every setting and register that the plug-in needs, and a flashloader.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tests/support/FakeHost.h"
#include "tests/support/Generations.h"
#include "tests/support/ScriptedFlashloader.h"

namespace flash::test {

// Erased flash but for the CCFG size word (88 bytes, nothing disabled), which also shows in the CCFG window; revision
// 2.0 "RevB"; RAM size code 3; factory addresses 01:23:45:67:89:AB:CD:EF and 11:22:33:44:55:66. Erase setting
// "Necessary Sectors Only", no option on, nothing verbose. Lists and addresses among the settings are empty texts.
struct TestTarget {
    explicit TestTarget(const ChipModel& chipModel) : TestTarget(chipModel, chipModel.reference.sectorCount) {}
    // A chip of another size than the reference; the field locations stay written for the reference.
    TestTarget(const ChipModel& chipModel, std::uint32_t sectorCount);
    TestTarget(const TestTarget&) = delete;
    TestTarget& operator=(const TestTarget&) = delete;

    const ChipModel& model;
    FakeHost host;
    ScriptedFlashloader flashloader;

    const FlashGeometry& Geometry() const { return flashloader.geometry; }
    std::uint32_t FlashEnd() const { return flashloader.geometry.Size(); }  // address behind flash

private:
    void SetRegisters();
    void SetProperties();
    void SetFieldLocation(const std::string& field, std::uint32_t fromEnd, std::uint32_t lengthBytes);
};

std::unique_ptr<TestTarget> MakeLumoD();
std::unique_ptr<TestTarget> MakeLumoF();

}  // namespace flash::test
