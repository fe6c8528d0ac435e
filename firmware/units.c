// Whole blank units go to the port in runs; what is left over at the edges, and what lies over programmed flash, is
// merged with what flash holds, unit by unit.
#include "firmware/units.h"

#include "firmware/blank.h"
#include "firmware/deadline.h"
#include "firmware/equal.h"
#include "firmware/flash_changes.h"

static const uint8_t kErasedByte = 0xFF;

static uint32_t UnitBytes(void) { return FlashPortTraits()->unitBytes; }

uint32_t FirstDifference(const Slice* slice) {
    return EqualBytes(FlashPortBytes() + slice->address, slice->data, slice->length);
}

bool SetsABit(const Slice* slice) {
    const uint8_t* flash = FlashPortBytes() + slice->address;
    for (uint32_t i = 0; i < slice->length; ++i) {
        if ((slice->data[i] & ~flash[i]) != 0) {
            return true;
        }
    }
    return false;
}

// `wanted` becomes the unit with the slice's bytes over it; the others are asked to stay what they are. Whether that is
// something to program.
static bool MergeUnit(const Slice* slice, uint32_t unitAddress, uint8_t* wanted) {
    const uint8_t* held = FlashPortBytes() + unitAddress;
    bool asks = false;
    bool changes = false;
    for (uint32_t i = 0; i < UnitBytes(); ++i) {
        const uint32_t offset = unitAddress + i - slice->address;  // huge below the slice's start
        wanted[i] = held[i];
        if (offset < slice->length) {
            wanted[i] = slice->data[offset];
            asks = asks || wanted[i] != kErasedByte;
            changes = changes || wanted[i] != held[i];
        }
    }
    return asks && changes;
}

static Fit FitOfUnit(const Slice* slice, uint32_t unitAddress) {
    const uint32_t unitEnd = unitAddress + UnitBytes();
    uint8_t wanted[kMostUnitBytes];
    if (!MergeUnit(slice, unitAddress, wanted) || FirstProgrammed(unitAddress, unitEnd) == unitEnd) {
        return kFits;
    }
    const Slice merged = {unitAddress, UnitBytes(), wanted, false};
    return SetsABit(&merged) ? kContradicts : kWritesTwice;
}

Fit FitOf(const Slice* slice) {
    if (FlashPortTraits()->isRewritable || slice->isBlank) {
        return kFits;
    }
    const uint32_t unitBytes = UnitBytes();
    const uint32_t end = slice->address + slice->length;
    Fit worst = kFits;
    for (uint32_t unit = slice->address & ~(unitBytes - 1); unit < end; unit += unitBytes) {
        const Fit fit = FitOfUnit(slice, unit);
        worst = fit > worst ? fit : worst;
    }
    return worst;
}

// Before each run, so that a port that forgets to ask cannot make a command endless.
static FsmStatus ProgramRun(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount) {
    FlashChanges();
    const FsmStatus fsmStatus =
        DeadlineHasPassed() ? (FsmStatus)kFsmBusy : FlashPortProgramUnits(unitAddress, bytes, unitCount);
    FlashChanges();
    return fsmStatus;
}

static FsmStatus ProgramMerged(const Slice* slice, uint32_t unitAddress) {
    uint8_t wanted[kMostUnitBytes];
    return MergeUnit(slice, unitAddress, wanted) ? ProgramRun(unitAddress, wanted, 1) : (FsmStatus)kFsmSuccess;
}

// How many of the units from here on lie whole in the slice and are blank.
static uint32_t BlankUnits(const Slice* slice, uint32_t unitAddress) {
    const uint32_t end = slice->address + slice->length;
    if (unitAddress < slice->address) {
        return 0;
    }
    return ((slice->isBlank ? end : FirstProgrammed(unitAddress, end)) - unitAddress) / UnitBytes();
}

// Blank units go to the controller in one run, in which it never waits for the core: this is where a load spends its
// time. What flash holds of the others decides unit by unit.
FsmStatus ProgramUnits(const Slice* slice) {
    const uint32_t unitBytes = UnitBytes();
    const uint32_t end = slice->address + slice->length;
    uint32_t unit = slice->address & ~(unitBytes - 1);
    FsmStatus fsmStatus = kFsmSuccess;
    while (unit < end && fsmStatus == kFsmSuccess) {
        const uint32_t blank = BlankUnits(slice, unit);
        fsmStatus =
            blank == 0 ? ProgramMerged(slice, unit) : ProgramRun(unit, slice->data + (unit - slice->address), blank);
        unit += blank == 0 ? unitBytes : unitBytes * blank;
    }
    return fsmStatus;
}
