// Options that exclude each other.
#include "host/plan/Contradictions.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/host/support/SectorSets.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

constexpr FlashGeometry kFlash{8192, 70};

SectorSet Sectors(std::initializer_list<std::uint32_t> members) { return SectorsOf(members, kFlash.sectorCount); }

TEST(Contradictions, OfALoadAreRefusedInWords) {
    struct Case {
        const char* name;
        std::function<void(ProgramOptions&)> set;
        const char* expected;
    };
    const Case cases[] = {
        {"erased and skipped",
         [](ProgramOptions& o) {
             o.erase = EraseChoice::Listed;
             o.erasedSectors = Sectors({2, 3, 4});
             o.skippedSectors = Sectors({0, 3});
         },
         "Page 3 is to be erased and to be skipped"},
        {"CCFG in a skipped sector",
         [](ProgramOptions& o) {
             o.skippedSectors = Sectors({69});
             o.closing.disableBootloader = true;
         },
         "CCFG lies in the last page; it cannot be changed while that page is skipped"},
        {"BLE address",
         [](ProgramOptions& o) {
             o.closing.retainBle = true;
             o.closing.ble = RadioAddress({1, 2, 3, 4, 5, 6});
         },
         "An address can be retained or replaced, not both"},
        {"IEEE address",
         [](ProgramOptions& o) {
             o.closing.retainIeee = true;
             o.closing.ieee = RadioAddress({1, 2, 3, 4, 5, 6, 7, 8});
         },
         "An address can be retained or replaced, not both"},
        {"a bit of several sectors",
         [](ProgramOptions& o) {
             o.closing.protect = Sectors({3, 64});
         },
         "\"protected pages\": page 64 shares its protection bit with another; only 0 to 63 can be protected"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ProgramOptions options;
        c.set(options);
        EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { RefuseContradictions(options, kFlash); }), c.expected);
    }
}

TEST(Contradictions, WhatOnlyLooksLikeOneIsNone) {
    ProgramOptions options;
    options.erasedSectors = Sectors({3});  // counts only when the listed sectors are erased
    options.skippedSectors = Sectors({3, 69});
    EXPECT_NO_THROW(RefuseContradictions(options, kFlash));

    options.skippedSectors = Sectors({68});
    options.closing.retainBle = true;
    options.closing.ieee = RadioAddress({1, 2, 3, 4, 5, 6, 7, 8});
    options.closing.protect = Sectors({0, 63});
    EXPECT_NO_THROW(RefuseContradictions(options, kFlash));
}

}  // namespace
}  // namespace flash::host
