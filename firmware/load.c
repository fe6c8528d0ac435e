// Beginning a load. What the port says of itself is believed from then on, so its bounds are checked here.
#include <stddef.h>

#include "firmware/clock.h"
#include "firmware/commands.h"
#include "firmware/crc32.h"
#include "firmware/sums.h"

static bool IsPowerOfTwo(uint32_t value) { return value != 0 && (value & (value - 1)) == 0; }

uint32_t BeginLoad(LoadState* state, const Workspace* workspace) {
    state->workspace = workspace;
    for (uint32_t i = 0; i < kGuardWords; ++i) {
        workspace->stackGuard[i] = kGuardPaint;
    }
    for (uint32_t i = 0; i < sizeof state->freshSectors / sizeof *state->freshSectors; ++i) {
        state->freshSectors[i] = 0;
    }
    Crc32Begin();
    SumsForget();
    ClockStart();
    FlashPortBegin();
    const uint32_t sectorCount = FlashPortSectorCount();
    if (sectorCount == 0 || sectorCount > kMostSectors) {
        return kFaultSectorCount;
    }
    const FlashTraits* traits = FlashPortTraits();
    const bool isUsable = IsPowerOfTwo(traits->unitBytes) && traits->unitBytes <= kMostUnitBytes &&
                          workspace->sectorBytes % traits->unitBytes == 0 && traits->lockCount <= kMostLocks &&
                          traits->ticksPerMillisecond != 0;
    return isUsable ? 0 : kFaultTraits;
}
