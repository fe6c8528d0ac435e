#include "tests/support/TestTarget.h"

#include <cstdio>

namespace flash::test {
namespace {

constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;
constexpr std::uint32_t kRamSizeRegister = 0x4008'2250;
constexpr std::uint32_t kIeeePrimary = 0x5000'1200;
constexpr std::uint32_t kBlePrimary = 0x5000'1208;
constexpr std::uint32_t kCcfgSizeWord = 0x0058'FFFF;

}  // namespace

TestTarget::TestTarget(const ChipModel& chipModel, std::uint32_t sectorCount)
    : model(chipModel),
      flashloader(
          host, {chipModel.reference.sectorSize, sectorCount},
          {0x2000'0101,
           {&chipModel == &kLumoD ? 0x2000'1000U : 0x2000'2000U, &chipModel == &kLumoD ? 0x2000'2000U : 0x2000'4000U},
           0x2000'0200,
           0x2000'0240}) {
    SetRegisters();
    SetProperties();
}

void TestTarget::SetRegisters() {
    host.routerRegisters[1] = 0x1000'0001;
    TargetMemory& memory = host.memory;
    memory.SetWord(kSectorCountRegister, Geometry().sectorCount);
    memory.SetWord(kRamSizeRegister, 3);
    memory.SetBytes(kIeeePrimary, {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01});
    memory.SetBytes(kBlePrimary, {0x66, 0x55, 0x44, 0x33, 0x22, 0x11});
    memory.Fill(0, 0xFF, FlashEnd());
    memory.SetWord(FlashEnd() - kCcfgSizeWordFromEnd, kCcfgSizeWord);
    memory.Mirror(0x5000'3000, Geometry().sectorSize, Geometry().LastSector());
}

void TestTarget::SetProperties() {
    host.properties = {
        {"DeviceInfoRevisionTranslation", "0:1.0:RevA:1:2.0:RevB"},
        {"DeviceFlashloaderFile", "flashloader.elf"},
        {"FlashEraseSetting", "Necessary Sectors Only"},
        {"FlashPageToggle", "0"},
        {"FlashPages", ""},
        {"FlashPagesFilledWithValue", "0xFF"},
        {"WriteProtectionToggle", "0"},
        {"WriteProtectionText", ""},
        {"ProgramLoadEraseSpecificText", ""},
        {"StandaloneEraseSpecificText", ""},
        {"DeviceBleSecondary", ""},
        {"DeviceIeeeSecondary", ""},
        {"DeviceIeeePrimaryLoc", "0x50001200:8"},
        {"DeviceBlePrimaryLoc", "0x50001208:6"},
    };
    SetFieldLocation("DeviceIeeeSecondary", kIeeeSecondaryFromEnd, 8);
    SetFieldLocation("DeviceBleSecondary", kBleSecondaryFromEnd, 6);
    SetFieldLocation("DisableBootloader", kDisableBootloaderFromEnd, 1);
    SetFieldLocation("DisableCpuDap", kDisableCpuDapFromEnd, 1);
    SetFieldLocation("CCFG_PROT_31_0", kProtectionFromEnd, 4);
}

void TestTarget::SetFieldLocation(const std::string& field, std::uint32_t fromEnd, std::uint32_t lengthBytes) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%X:%X", static_cast<unsigned>(model.reference.Size() - fromEnd),
                  static_cast<unsigned>(lengthBytes));
    host.properties[field + "Loc"] = text;
}

std::unique_ptr<TestTarget> MakeLumoD() { return std::make_unique<TestTarget>(kLumoD); }

std::unique_ptr<TestTarget> MakeLumoF() { return std::make_unique<TestTarget>(kLumoF); }

}  // namespace flash::test
