// Whether a load loses the chip's CCFG: 16 bytes at the end of a flash of eight sectors of 64 bytes.
#include "host/plan/CcfgLoss.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/host/ccfg/LastSectors.h"

namespace flash::host {
namespace {

constexpr FlashGeometry kSmallFlash{64, 8};
constexpr std::uint32_t kLastSector = 7 * 64;
constexpr std::uint32_t kCcfg = 8 * 64 - 16;

CcfgInfo Ccfg(std::uint32_t sizeBytes) {
    return {sizeBytes, 8 * 64 - sizeBytes, false, false, SectorSet(8), RadioAddress({}), RadioAddress({})};
}

ProgramImage Image(std::uint32_t address, std::size_t length) {
    ProgramImage image;
    image.Add(address, std::vector<std::uint8_t>(length, 0x11), {"a.bin", ""});
    return image;
}

SectorSet Only(std::uint32_t sector) {
    SectorSet sectors(8);
    sectors.Add(sector);
    return sectors;
}

TEST(CcfgLoss, IsWhatErasesTheLastSectorAndBringsNoCcfg) {
    struct Case {
        const char* name;
        ProgramImage image;
        std::function<void(ProgramOptions&)> change;
        bool isLost;
    };
    const auto nothing = [](ProgramOptions&) {};
    const auto erase = [](EraseChoice choice) { return [choice](ProgramOptions& o) { o.erase = choice; }; };
    const auto listed = [](std::uint32_t sector) {
        return [sector](ProgramOptions& o) {
            o.erase = EraseChoice::Listed;
            o.erasedSectors = Only(sector);
        };
    };
    const Case cases[] = {
        {"data elsewhere", Image(0, 64), nothing, false},
        {"data up to the last sector", Image(0, kLastSector), nothing, false},
        {"data in the last sector", Image(0, kLastSector + 1), nothing, true},
        {"data up to CCFG", Image(0, kCcfg), nothing, true},
        {"a byte of CCFG", Image(0, kCcfg + 1), nothing, false},
        {"only CCFG", Image(kCcfg, 16), nothing, false},
        {"a retained rest", Image(kLastSector, 1), erase(EraseChoice::Retain), false},
        {"nothing erased", Image(kLastSector, 1), erase(EraseChoice::None), false},
        {"all erased", Image(0, 1), erase(EraseChoice::All), true},
        {"all erased, CCFG brought", Image(0, 8 * 64), erase(EraseChoice::All), false},
        {"the last sector listed", Image(0, 1), listed(7), true},
        {"another sector listed", Image(kLastSector, 1), listed(6), false},
        {"the last sector skipped", Image(0, kLastSector + 1), [](ProgramOptions& o) { o.skippedSectors = Only(7); },
         false},
        {"all erased but what is skipped", Image(0, 1),
         [](ProgramOptions& o) {
             o.erase = EraseChoice::All;
             o.skippedSectors = Only(3);
         },
         false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ProgramOptions options;
        c.change(options);

        EXPECT_EQ(WouldLoseCcfg(c.image, options, Ccfg(16), kSmallFlash), c.isLost);
        EXPECT_FALSE(WouldLoseCcfg(c.image, options, Ccfg(0), kSmallFlash)) << "of a chip that has none";
    }
}

TEST(CcfgLoss, CcfgIsReplacedWhereItsSectorIsErasedOrItsBytesAreWritten) {
    struct Case {
        const char* name;
        ProgramImage image;
        bool isErased, isWritten, isKept, isReplaced;
    };
    const Case cases[] = {
        {"not touched", Image(0, 1), false, false, false, false},
        {"erased", Image(0, 1), true, false, false, true},
        {"kept", Image(0, 8 * 64), true, true, true, false},
        {"written in front of it", Image(0, kCcfg), false, true, false, false},
        {"written into it", Image(0, kCcfg + 1), false, true, false, true},
        {"brought, but not written", Image(0, kCcfg + 1), false, false, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WritePlan plan;
        plan.geometry = kSmallFlash;
        plan.sectors.resize(8);
        plan.sectors[7].isErased = c.isErased;
        plan.sectors[7].isWritten = c.isWritten;
        plan.keepsCcfg = c.isKept;

        EXPECT_EQ(ReplacesCcfg(plan, c.image, Ccfg(16)), c.isReplaced);
        EXPECT_FALSE(ReplacesCcfg(plan, c.image, Ccfg(0))) << "of a chip that has none";
    }
}

// Sector 1 is protected before, sector 2 by what the load writes.
TEST(ProtectedAfter, IsWhatTheLoadLeavesInCcfgAndWhatItsEndAdds) {
    struct Case {
        const char* name;
        bool isErased, isWritten, isKept, isClosed;
        const char* expected;
    };
    const Case cases[] = {
        {"not touched", false, false, false, false, "1"},
        {"kept", true, true, true, false, "1"},
        {"only erased", true, false, false, false, ""},
        {"written", true, true, false, false, "2"},
        {"not touched, but closed", false, false, false, true, "1,3"},
        {"written and closed", true, true, false, true, "2-3"},
    };
    LastSector before = Erased(), written = Erased();
    Put(before, kTinyLayout.protection, {0xFD});
    Put(written, kTinyLayout.protection, {0xFB});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WritePlan plan;
        plan.geometry = kTinyFlash;
        plan.sectors.resize(kTinyFlash.sectorCount);
        plan.sectors.back().isErased = c.isErased;
        plan.sectors.back().isWritten = c.isWritten;
        plan.keepsCcfg = c.isKept;
        plan.writes = {{kTinyFlash.LastSectorAddress(), written.bytes}};
        ClosingChanges closing;
        if (c.isClosed) {
            closing.protect.emplace(kTinyFlash.sectorCount).Add(3);
        }

        EXPECT_EQ(ProtectedAfter(plan, closing, before, kTinyLayout).Text(), c.expected);
    }
}

}  // namespace
}  // namespace flash::host
