// The six commands over the flash port. Everything that can be refused is refused before flash is touched.
#include "firmware/commands.h"

#include <stdbool.h>

#include "firmware/blank.h"
#include "firmware/crc32.h"
#include "firmware/deadline.h"
#include "firmware/equal.h"
#include "firmware/flash_changes.h"
#include "firmware/flash_port.h"
#include "firmware/locks.h"
#include "firmware/sums.h"
#include "firmware/units.h"

_Static_assert(kMostSectors <= UINT8_MAX, "a sector's index has eight bits in the status word");

static const uint8_t kErasedByte = 0xFF;

// A port that breaks its bounds has no sectors: all is refused, and no mark is set behind the others.
static uint32_t SectorCount(void) {
    const uint32_t count = FlashPortSectorCount();
    return count <= kMostSectors ? count : 0;
}

static uint32_t FlashBytes(const LoadState* state) { return SectorCount() * state->workspace->sectorBytes; }

// Cannot overflow: a range that wraps around is longer than what is left of flash.
static bool LiesInFlash(const LoadState* state, uint32_t address, uint32_t length) {
    const uint32_t flashBytes = FlashBytes(state);
    return length > 0 && address < flashBytes && length <= flashBytes - address;
}

static bool IsFresh(const LoadState* state, uint32_t sectorIndex) {
    return (state->freshSectors[sectorIndex / 32] >> (sectorIndex % 32) & 1u) != 0;
}

static void MarkFresh(LoadState* state, uint32_t sectorIndex) {
    state->freshSectors[sectorIndex / 32] |= 1u << (sectorIndex % 32);
}

static uint32_t EraseFailure(uint32_t sectorIndex, FsmStatus fsmStatus) {
    return kStatusEraseFailed | (uint32_t)fsmStatus << 16 | sectorIndex << 24;
}

static uint32_t ProgramFailure(FsmStatus fsmStatus) { return kStatusProgramFailed | (uint32_t)fsmStatus << 16; }

// A controller may say success and not have erased, or not yet. Then data that is already there would be taken for
// programmed, checked, and gone with the end of the erase; so an erase counts only when the sector reads blank.
static uint32_t EraseSector(const LoadState* state, uint32_t sectorIndex) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    const uint32_t address = sectorIndex * sectorBytes;
    FlashChanges();
    const FsmStatus fsmStatus = DeadlineHasPassed() ? (FsmStatus)kFsmBusy : FlashPortEraseSector(address);
    FlashChanges();
    if (fsmStatus != kFsmSuccess || FirstProgrammed(address, address + sectorBytes) != address + sectorBytes) {
        return EraseFailure(sectorIndex, fsmStatus);
    }
    return kStatusSuccess;
}

static uint32_t EraseOnce(LoadState* state, uint32_t sectorIndex) {
    if (IsFresh(state, sectorIndex)) {
        return kStatusSuccess;
    }
    const uint32_t status = EraseSector(state, sectorIndex);
    if (status == kStatusSuccess) {
        MarkFresh(state, sectorIndex);
    }
    return status;
}

static uint32_t ProgramInPlace(const Slice* slice) {
    const FsmStatus fsmStatus = ProgramLocksLast(slice);
    return fsmStatus == kFsmSuccess ? (uint32_t)kStatusSuccess : ProgramFailure(fsmStatus);
}

// Whether the sector already is what erasing it and programming the slice would make of it.
static bool IsAlreadyDone(const Slice* slice, uint32_t sectorAddress, uint32_t sectorEnd) {
    const uint32_t sliceEnd = slice->address + slice->length;
    return FirstDifference(slice) == slice->length &&
           FirstProgrammed(sectorAddress, slice->address) == slice->address &&
           FirstProgrammed(sliceEnd, sectorEnd) == sectorEnd;
}

// The scratch sector becomes what the sector is to hold: its content, with the slice over it. What of the slice's bits
// are 1 where flash holds a 0 counts only if they may be set.
static void Compose(uint8_t* scratch, const Slice* slice, const Slice* sector, uint8_t maySet) {
    const uint8_t* flash = FlashPortBytes() + sector->address;
    for (uint32_t i = 0; i < sector->length; ++i) {
        const uint32_t offset = sector->address + i - slice->address;
        scratch[i] = offset < slice->length ? slice->data[offset] & (flash[i] | maySet) : flash[i];
    }
}

// Nobody else looks at what a rewritten sector keeps, and it was right before: so no controller is believed that only
// says that it is back.
static bool HasKeptTheRest(const Slice* slice, const Slice* sector) {
    const uint8_t* flash = FlashPortBytes() + sector->address;
    const uint32_t before = slice->address - sector->address;
    const uint32_t end = before + slice->length;
    const uint32_t behind = sector->length - end;
    return EqualBytes(flash, sector->data, before) == before &&
           EqualBytes(flash + end, sector->data + end, behind) == behind;
}

// The sector is as fresh afterwards as it was before, because what it keeps may be older than the load. Only when the
// slice is all of it nothing is kept.
static uint32_t Rewrite(LoadState* state, const Slice* slice, uint8_t maySet) {
    const Workspace* workspace = state->workspace;
    const uint32_t sectorIndex = slice->address / workspace->sectorBytes;
    const Slice whole = {sectorIndex * workspace->sectorBytes, workspace->sectorBytes, workspace->scratch, true};
    Compose(workspace->scratch, slice, &whole, maySet);
    const uint32_t status = EraseSector(state, sectorIndex);
    if (status != kStatusSuccess) {
        return status;
    }
    if (maySet != 0 && slice->length == workspace->sectorBytes) {
        MarkFresh(state, sectorIndex);
    }
    const uint32_t programmed = ProgramInPlace(&whole);
    return programmed == kStatusSuccess && !HasKeptTheRest(slice, &whole) ? ProgramFailure(kFsmSuccess) : programmed;
}

// Without an erase where the controller lets it be. Where units are written once, and one of them holds the end of one
// chunk and the beginning of the next, the second comes in by way of the scratch sector.
static uint32_t ProgramOver(LoadState* state, const Slice* slice) {
    switch (FitOf(slice)) {
        case kWritesTwice:
            return Rewrite(state, slice, 0);
        case kContradicts:
            return ProgramFailure(kFsmFailed);
        default:
            return ProgramInPlace(slice);
    }
}

static uint32_t ProgramErasing(LoadState* state, const Slice* slice) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    const uint32_t sectorIndex = slice->address / sectorBytes;
    const uint32_t sectorAddress = sectorIndex * sectorBytes;
    if (IsAlreadyDone(slice, sectorAddress, sectorAddress + sectorBytes)) {
        MarkFresh(state, sectorIndex);
        return kStatusSuccess;
    }
    Slice onceErased = *slice;
    if (!IsFresh(state, sectorIndex)) {
        const uint32_t status = EraseOnce(state, sectorIndex);
        if (status != kStatusSuccess) {
            return status;
        }
        onceErased.isBlank = true;
    }
    return ProgramOver(state, &onceErased);
}

static uint32_t ProgramRetaining(LoadState* state, const Slice* slice) {
    return SetsABit(slice) || FitOf(slice) != kFits ? Rewrite(state, slice, kErasedByte) : ProgramInPlace(slice);
}

static uint32_t ProgramSlice(LoadState* state, uint32_t code, const Slice* slice) {
    if (code == kCommandProgramErase) {
        return ProgramErasing(state, slice);
    }
    return code == kCommandProgramRetain ? ProgramRetaining(state, slice) : ProgramOver(state, slice);
}

// A chunk of at most one sector reaches into at most two.
static uint32_t ProgramChunk(LoadState* state, uint32_t code, Slice chunk) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    uint32_t status = kStatusSuccess;
    while (chunk.length > 0 && status == kStatusSuccess) {
        const uint32_t leftInSector = sectorBytes - chunk.address % sectorBytes;
        const Slice slice = {chunk.address, chunk.length < leftInSector ? chunk.length : leftInSector, chunk.data,
                             false};
        status = ProgramSlice(state, code, &slice);
        chunk.address += slice.length;
        chunk.data += slice.length;
        chunk.length -= slice.length;
    }
    return status;
}

// Flash must hold what the buffer does, and the buffer what was sent: to compare is three times as fast as to sum up,
// and the buffer's sum has grown while the controller worked. When only the sum is wrong the buffer changed under our
// hands before it was programmed, and the chunk as a whole is at fault; when it changed afterwards flash is right all
// the same.
static uint32_t VerifyChunk(CommandBlock* block, const Slice* chunk) {
    const uint32_t offset = FirstDifference(chunk);
    if ((offset == chunk->length && SumOfProgrammed(chunk->data, chunk->length) == block->crc) ||
        Crc32(FlashPortBytes() + chunk->address, chunk->length) == block->crc) {
        return kStatusSuccess;
    }
    block->address += offset < chunk->length ? offset : 0;
    return kStatusVerificationIssue;
}

static uint32_t Program(LoadState* state, CommandBlock* block, const uint8_t* buffer) {
    if (!LiesInFlash(state, block->address, block->length) || block->length > state->workspace->sectorBytes) {
        return kStatusInvalidArguments;
    }
    const bool verifies = (block->command & kVerifyCrcFlag) != 0;
    // A chunk that was damaged on its way is caught here, while the sector still holds what it held.
    if (verifies && SumOfArrived(buffer, block->length) != block->crc) {
        return kStatusVerificationIssue;
    }
    const Slice chunk = {block->address, block->length, buffer, false};
    const uint32_t status = ProgramChunk(state, block->command & ~(uint32_t)kVerifyCrcFlag, chunk);
    return verifies && status == kStatusSuccess ? VerifyChunk(block, &chunk) : status;
}

// Address of the first programmed byte of the range, `end` when there is none. Watchdogs bite in less time than all of
// flash takes.
static uint32_t SearchProgrammed(const LoadState* state, uint32_t address, uint32_t end) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    uint32_t programmed = address;
    uint32_t stop = address;
    while (programmed == stop && stop < end) {
        FlashPortIdle();
        stop += sectorBytes - stop % sectorBytes;
        stop = stop < end ? stop : end;
        programmed = FirstProgrammed(programmed, stop);
    }
    return programmed;
}

// The first sector that should be blank after a bank erase and is not; the number of sectors when there is none.
static uint32_t FirstSectorNotErased(const LoadState* state) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    uint32_t i = 0;
    for (; i < SectorCount(); ++i) {
        const uint32_t end = (i + 1) * sectorBytes;
        if (!FlashPortIsProtected(i) && SearchProgrammed(state, i * sectorBytes, end) != end) {
            break;
        }
    }
    return i;
}

static uint32_t BankErase(LoadState* state, const CommandBlock* block) {
    if (block->address != 0 || block->length != 0 || SectorCount() == 0) {
        return kStatusInvalidArguments;
    }
    const FsmStatus fsmStatus = FlashPortEraseBank();
    FlashChanges();
    if (fsmStatus == kFsmNotSupported) {
        return kStatusUnknownCommand;
    }
    // Flash cannot be read while the controller is busy. The first sector stands for a failure that names none.
    const uint32_t notErased = fsmStatus == kFsmBusy ? 0 : FirstSectorNotErased(state);
    if (fsmStatus != kFsmSuccess || notErased != SectorCount()) {
        return EraseFailure(notErased % SectorCount(), fsmStatus);
    }
    for (uint32_t i = 0; i < SectorCount(); ++i) {
        if (!FlashPortIsProtected(i)) {
            MarkFresh(state, i);
        }
    }
    return kStatusSuccess;
}

static uint32_t EraseSectors(LoadState* state, const CommandBlock* block) {
    const uint32_t flashBytes = FlashBytes(state);
    if (block->address >= flashBytes || block->length >= flashBytes - block->address) {
        return kStatusInvalidArguments;
    }
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    const uint32_t last = (block->address + block->length) / sectorBytes;
    uint32_t status = kStatusSuccess;
    for (uint32_t i = block->address / sectorBytes; i <= last && status == kStatusSuccess; ++i) {
        status = EraseOnce(state, i);
    }
    return status;
}

// The reference value in the crc field is not looked at: a checksum can match by accident, and cannot say where.
static uint32_t BlankCheck(const LoadState* state, CommandBlock* block) {
    if (!LiesInFlash(state, block->address, block->length)) {
        return kStatusInvalidArguments;
    }
    const uint32_t end = block->address + block->length;
    const uint32_t programmed = SearchProgrammed(state, block->address, end);
    if (programmed == end) {
        return kStatusSuccess;
    }
    block->address = programmed;
    return kStatusVerificationIssue;
}

uint32_t RunCommand(LoadState* state, CommandBlock* block, const uint8_t* buffer) {
    DeadlineStart();
    switch (block->command) {
        case kCommandBankErase:
            return BankErase(state, block);
        case kCommandProgram:
        case kCommandProgram | kVerifyCrcFlag:
        case kCommandProgramErase:
        case kCommandProgramErase | kVerifyCrcFlag:
        case kCommandProgramRetain:
        case kCommandProgramRetain | kVerifyCrcFlag:
            return Program(state, block, buffer);
        case kCommandEraseSectors:
            return EraseSectors(state, block);
        case kCommandBlankCheck:
            return BlankCheck(state, block);
        default:
            return kStatusUnknownCommand;
    }
}
