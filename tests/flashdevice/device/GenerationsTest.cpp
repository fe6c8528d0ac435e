// The constants and rules of the two generations.
#include <gtest/gtest.h>

#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "tests/support/ConnectedChip.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

struct SplitAddress {
    std::uint32_t address, start, offset;
};

struct Checksum {
    std::uint32_t size, value;
};

struct Generation {
    const char* family;
    std::unique_ptr<FlashDeviceLumo> (*make)(IFlashHost* host);
    std::vector<SplitAddress> addresses;
    std::uint32_t ccfgSizeRegister;
    std::vector<Checksum> checksums;
    std::vector<std::uint32_t> otherSizes;
};

template <typename Device>
std::unique_ptr<FlashDeviceLumo> Make(IFlashHost* host) {
    return std::make_unique<Device>("Lumo", "", "", host);
}

const Generation kGenerations[] = {
    {"LumoD",
     Make<FlashDeviceLumoDor>,
     {{0, 0, 0}, {0x1234, 0x1000, 0x234}, {0x0FFF, 0, 0xFFF}, {0x1000, 0x1000, 0}, {0xFFFF'FFFF, 0xFFFF'F000, 0xFFF}},
     0x5000'3FB0,
     {{0x8000, 0x2E85'ACA1}, {0x1'0000, 0xEB6D'3852}, {0x2'0000, 0x208E'45D0}},
     {0, 0x7FFF, 0x8001, 0x5'8000}},
    {"LumoF",
     Make<FlashDeviceLumoFen>,
     {{0, 0, 0}, {0x1234, 0, 0x1234}, {0x1FFF, 0, 0x1FFF}, {0x2000, 0x2000, 0}, {0xFFFF'FFFF, 0xFFFF'E000, 0x1FFF}},
     0x5000'4FB0,
     {{0x5'8000, 0x9DF9'84D5}},
     {0, 0x8000, 0x1'0000, 0x2'0000, 0x5'7FFF}},
};

class Generations : public testing::TestWithParam<Generation> {
protected:
    SimulatedHost host;
    std::unique_ptr<FlashDeviceLumo> device = GetParam().make(&host);
};

TEST_P(Generations, SplitAddressesAtTheirSectors) {
    for (const SplitAddress& each : GetParam().addresses) {
        EXPECT_EQ(device->GetSectorStart(each.address), each.start) << each.address;
        EXPECT_EQ(device->GetSectorOffset(each.address), each.offset) << each.address;
    }
}

TEST_P(Generations, KnowOneRegisterByItsExactName) {
    EXPECT_EQ(device->GetRegisterAddress("CCFG_SIZE_AND_DIS_FLAGS"), GetParam().ccfgSizeRegister);
    for (const std::string name : {"", "CCFG_SIZE", "CCFG_SIZE_AND_DIS_FLAGS ", "ccfg_size_and_dis_flags",
                                   " CCFG_SIZE_AND_DIS_FLAGS", "it's 100%s"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device->GetRegisterAddress(name); }),
                  "GetRegisterAddress(): Error: Address of register '" + name + "' is unknown for " +
                      GetParam().family + " devices.");
    }
}

TEST_P(Generations, KnowTheChecksumsOfTheirErasedSizesOnly) {
    for (const Checksum& each : GetParam().checksums) {
        EXPECT_EQ(device->GetErasedFlashChecksum(each.size), each.value) << each.size;
    }
    for (const std::uint32_t size : GetParam().otherSizes) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device->GetErasedFlashChecksum(size); }),
                  "Cannot perform Blank Check. Unknown Flash size!")
            << size;
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Generations, testing::ValuesIn(kGenerations),
                         [](const auto& generation) { return generation.param.family; });

TEST(RamSize, OfTheFirstGenerationDependsOnNameAndRevision) {
    const Texts small = {"2 KB", "4 KB", "8 KB", "16 KB"};
    const Texts large = {"4 KB", "10 KB", "16 KB", "20 KB"};
    struct Case {
        const char* deviceName;
        const char* revision;
        Texts sizes;  // by size code
    };
    const Case cases[] = {
        {"LumoD1K128", "1.0", small}, {"LumoD1K128R2", "1.0", large}, {"R2LumoD1", "1.0", large},
        {"LumoD1R12", "1.0", small},  {"LumoD1r2", "1.0", small},     {"LumoD1K128", "0.9", large},
        {"LumoD1K128", "2.0", large}, {"LumoD1K128R2", "2.0", large},
    };
    for (const Case& each : cases) {
        for (std::uint32_t code = 0; code < 4; ++code) {
            SimulatedHost host;
            host.memory.SetWord(0x4008'2250, 0xFFFF'FFFC | code);
            host.properties["DeviceInfoRevisionTranslation"] = std::string("1:") + each.revision + ":Rev";
            FlashDeviceLumoDor(each.deviceName, "", "", &host).Initialize();
            EXPECT_EQ(host.properties["DeviceInfoRAMSize"], each.sizes[code]) << each.deviceName << " code " << code;
        }
    }
}

TEST(RamSize, OfTheSecondGenerationIsOneTable) {
    const Texts sizes = {"32 KB", "48 KB", "64 KB", "80 KB"};
    for (const char* revision : {"0.9", "1.0", "2.0"}) {
        for (std::uint32_t code = 0; code < 4; ++code) {
            SimulatedHost host(simulation::kSecondGeneration);
            host.memory.SetWord(0x4008'2250, code + 4);
            host.properties["DeviceInfoRevisionTranslation"] = std::string("1:") + revision + ":Rev";
            FlashDeviceLumoFen("LumoF2", "", "", &host).Initialize();
            EXPECT_EQ(host.properties["DeviceInfoRAMSize"], sizes[code]) << revision << " code " << code;
        }
    }
}

TEST(RamSize, OfACodeThatThereIsNotIsTheLargest) {
    for (const std::uint32_t code : {4U, 0xFFFF'FFFFU}) {
        EXPECT_EQ(FlashDeviceLumoDor("LumoD1R2", "", "", nullptr).GetRamSize(code), 20480U) << code;
        EXPECT_EQ(FlashDeviceLumoFen("LumoF2", "", "", nullptr).GetRamSize(code), 81920U) << code;
    }
}

}  // namespace
}  // namespace flash::test
