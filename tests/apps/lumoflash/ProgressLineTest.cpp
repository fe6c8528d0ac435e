// The line of a stage, at its edges.
#include "apps/lumoflash/ProgressLine.h"

#include <gtest/gtest.h>

namespace flash::app {
namespace {

using host::Stage;
using std::chrono::milliseconds;

TEST(ProgressText, HasABarAPercentageASpeedAndTheTimeLeft) {
    struct Case {
        Stage stage;
        std::uint64_t done, total;
        milliseconds elapsed;
        const char* text;
    };
    const Case cases[] = {
        {Stage::Program, 0, 4096, milliseconds(0), "program  [--------------------]   0 %"},
        {Stage::Program, 1024, 4096, milliseconds(1000), "program  [#####---------------]  25 %  1.0 KiB/s, 3 s left"},
        {Stage::Verify, 4095, 4096, milliseconds(1000), "verify   [###################-]  99 %  4.0 KiB/s, 0 s left"},
        {Stage::Read, 4096, 4096, milliseconds(500), "read     [####################] 100 %  8.0 KiB/s"},
        {Stage::Read, 5000, 4096, milliseconds(0), "read     [####################] 100 %"},
        {Stage::Erase, 0, 0, milliseconds(20), "erase"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ProgressText(c.stage, c.done, c.total, c.elapsed), c.text);
    }
}

}  // namespace
}  // namespace flash::app
