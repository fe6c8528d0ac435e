// A model of the imaginary controller of registers.h. ADAPT it with the registers: it is what the port is held against.
#include "firmware/check/model.h"

#include <string.h>

#include "firmware/clock.h"
#include "firmware/registers.h"
#include "registers.h"

enum { kUnitBytes = 8, kFlashBytes = kPageBytes * kPageCount };
static const uint64_t kAccess = 2000;  // of a register over a slow bus, in nanoseconds
static const uint64_t kPageErase = 20000000;
static const uint64_t kProgram = 90000;
static const uint64_t kWatchdog = 100000000;
static const uint64_t kNever = UINT64_MAX;
enum { kTicksPerMillisecond = 16000 };  // of the core's timer
static const uint32_t kRegisterPages[] = {0x40022000, 0x40023000, 0};

static struct {
    uint8_t flash[kFlashBytes];
    bool wasWritten[kFlashBytes / kUnitBytes];
    uint32_t protectedPages;
    uint32_t registers[8];
    uint32_t keys;  // that came in order
    uint32_t errors;
    uint64_t now;
    uint64_t busyUntil;
    uint64_t fed;
    uint32_t operations;
    uint32_t armed;  // 0: nothing
    Mishap mishap;
    uint32_t rulesBroken;
    uint32_t watchdogBites;
} model;

void ModelPowerUp(void) {
    model.keys = 0;
    model.errors = kStatusErrors;
    model.busyUntil = 0;
    model.armed = 0;
    model.fed = model.now;
}

void ModelBegin(void) {
    memset(&model, 0, sizeof model);
    memset(model.flash, 0xFF, sizeof model.flash);
    ModelPowerUp();
}

void ModelArm(uint32_t operation, Mishap mishap) {
    model.armed = operation;
    model.mishap = mishap;
}

void ModelProtectSector(uint32_t address) { model.protectedPages |= 2u << address / kPageBytes; }

uint32_t ModelFlashBytes(void) { return kFlashBytes; }
uint32_t ModelSectorBytes(void) { return 4096; }
const uint8_t* ModelFlash(void) { return model.flash; }

void ModelPlace(uint32_t address, const uint8_t* bytes, uint32_t length) {
    memcpy(model.flash + address, bytes, length);
    for (uint32_t i = address; i < address + length; ++i) {
        model.wasWritten[i / kUnitBytes] = true;
    }
}

uint32_t ModelOperations(void) { return model.operations; }
uint32_t ModelRulesBroken(void) { return model.rulesBroken; }
uint32_t ModelWatchdogBites(void) { return model.watchdogBites; }
uint64_t ModelNanoseconds(void) { return model.now; }

void ModelPass(uint64_t nanoseconds) {
    model.now += nanoseconds;
    if (model.now - model.fed > kWatchdog) {
        ++model.watchdogBites;
        model.fed = model.now;
    }
}

static bool IsBusy(void) { return model.now < model.busyUntil; }

// Half of it when it is cut: what is half programmed or half erased has been written.
static void ErasePage(uint32_t page, bool isCut) {
    memset(model.flash + page * kPageBytes, 0xFF, isCut ? kPageBytes / 2 : kPageBytes);
    for (uint32_t i = 0; i < kPageBytes / kUnitBytes; ++i) {
        model.wasWritten[page * kPageBytes / kUnitBytes + i] = isCut;
    }
}

static void ProgramUnit(uint32_t address, bool isCut) {
    const uint8_t* data = (const uint8_t*)&model.registers[4];
    for (uint32_t i = 0; i < (isCut ? kUnitBytes / 2 : kUnitBytes); ++i) {
        model.flash[address + i] &= data[i];
    }
    model.wasWritten[address / kUnitBytes] = true;
}

static void Carry(uint32_t control, uint32_t address, bool isCut) {
    if (control == kControlErasePage) {
        ErasePage(address / kPageBytes, isCut);
    } else {
        ProgramUnit(address, isCut);
    }
}

// Whether the controller takes it. What it would not is a mistake of the port.
static bool IsTaken(uint32_t control, uint32_t address) {
    const uint32_t grain = control == kControlErasePage ? kPageBytes : kUnitBytes;
    const bool isKnown = control == kControlErasePage || control == kControlProgram;
    if (model.keys != 2 || IsBusy() || !isKnown || address % grain != 0 || address >= kFlashBytes ||
        model.errors != 0) {
        ++model.rulesBroken;
        model.errors |= kStatusOtherErrorBit;
        return false;
    }
    if ((model.protectedPages >> address / kPageBytes & 1) != 0) {
        model.errors |= kStatusProtectedBit;
        return false;
    }
    if (control == kControlProgram && model.wasWritten[address / kUnitBytes]) {
        ++model.rulesBroken;
        model.errors |= kStatusNotBlankBit;
        return false;
    }
    return true;
}

static void Operate(uint32_t control) {
    const uint32_t address = model.registers[3];
    if (!IsTaken(control, address)) {
        return;
    }
    ++model.operations;
    const bool strikes = model.armed > 0 && --model.armed == 0;
    if (strikes && model.mishap == kPowerLostBefore) {
        ModelPowerIsLost();
    }
    if (!strikes || model.mishap != kOperationDoesNothing) {
        Carry(control, address, strikes && (model.mishap == kPowerLostInside || model.mishap == kOperationFails));
    }
    model.flash[address] ^= strikes && model.mishap == kOperationFlipsABit ? 1 : 0;
    if (strikes && (model.mishap == kPowerLostInside || model.mishap == kPowerLostAfter)) {
        ModelPowerIsLost();
    }
    const uint64_t duration = control == kControlErasePage ? kPageErase : kProgram;
    model.busyUntil = strikes && model.mishap == kOperationNeverEnds ? kNever : model.now + duration;
    model.errors |= strikes && model.mishap == kOperationFails ? kStatusOtherErrorBit : 0;
}

uint32_t ReadRegister(uint32_t address) {
    ModelPass(kAccess);
    if (address == kRegisterStatus) {
        return (IsBusy() ? kStatusBusyBit : 0) | model.errors;
    }
    return address == kRegisterProtection ? model.protectedPages : 0;
}

void WriteRegister(uint32_t address, uint32_t value) {
    ModelPass(kAccess);
    switch (address) {
        case kRegisterKey:
            model.keys = value == kFirstKey ? 1 : value == kSecondKey && model.keys >= 1 ? 2 : 0;
            break;
        case kRegisterStatus:
            model.errors &= ~value;
            break;
        case kRegisterControl:
            Operate(value);
            break;
        case kRegisterFeed:
            model.fed = value == kFood ? model.now : model.fed;
            break;
        default:
            model.registers[(address - kRegisterKey) / 4 % 8] = value;
            break;
    }
}

const uint8_t* FlashMemory(void) { return model.flash; }

uint32_t ModelTicksPerMillisecond(void) { return kTicksPerMillisecond; }
const uint32_t* ModelRegisterPages(void) { return kRegisterPages; }

void ClockStart(void) {}
uint32_t ClockTicks(void) { return (uint32_t)(model.now * kTicksPerMillisecond / 1000000) & kClockMask; }
