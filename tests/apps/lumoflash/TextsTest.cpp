// How a command went, in one line.
#include "apps/lumoflash/Texts.h"

#include <gtest/gtest.h>

namespace flash::app {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

TEST(VerdictText, HasTheFiguresThatThereAre) {
    struct Case {
        Outcome outcome;
        const char* text;
    };
    const Case cases[] = {
        {{0, "programmed and verified by CRC", 360448, microseconds(1'174'000)},
         "programmed and verified by CRC: 360448 bytes, 1.17 s, 299.8 KiB/s"},
        {{0, "read", 1, milliseconds(500)}, "read: 1 byte, 500 ms"},
        {{0, "erased all unprotected sectors", 0, milliseconds(20)}, "erased all unprotected sectors: 20 ms"},
        {{0, "programmed, not verified: 0 of 2 sectors written, 2 already right", 0, milliseconds(27)},
         "programmed, not verified: 0 of 2 sectors written, 2 already right; 27 ms"},
        {{0, "6 parts", 0, {}}, "6 parts"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(VerdictText(c.outcome), c.text);
    }
}

TEST(LeftOut, NamesWhatWasNeitherWrittenNorVerified) {
    host::PlannedLoad load;
    load.plan.geometry = {4096, 4};
    load.plan.sectors.resize(4);
    EXPECT_EQ(LeftOut(load), "");

    load.plan.sectors[0].isSkipped = load.plan.sectors[1].isSkipped = true;
    load.plan.sectors[2].isOnlyFill = true;
    load.plan.keepsCcfg = load.isFilesCcfgLeftOut = true;
    EXPECT_EQ(LeftOut(load),
              "; neither written nor verified: pages 0-1 (skipped), page 2 (only the fill value), CCFG (the "
              "chip's is kept)");
}

TEST(ErrorText, HasDetailsOnLinesOfTheirOwnAndNothingThatMovesACursor) {
    EXPECT_EQ(ErrorText("cause\ndetail \x1B[2J\r"), "error: cause\n  detail \\x1B[2J\\x0D");
}

}  // namespace
}  // namespace flash::app
