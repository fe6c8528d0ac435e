// The six commands over the flash port. Everything that can be refused is refused before flash is touched.
#include "firmware/commands.h"

#include <stdbool.h>

#include "firmware/crc32.h"
#include "firmware/flash_port.h"
#include "firmware/load_word.h"

_Static_assert(kMaxSectors > UINT8_MAX, "a sector's index has eight bits in the status word");

static const uint8_t kErasedByte = 0xFF;
static const uint32_t kErasedWord = 0xFFFFFFFFu;

// Fields of CCFG that lock the chip, by their offset from the end of flash.
enum {
    kDebugPortFromEnd = 0x29,   // one byte; 0x00 closes the debug port
    kProtectionFromEnd = 0x20,  // two words; bit n clear protects sector n, from 64 on those share the second word's
};

// The part of a chunk that lies in one sector.
typedef struct {
    uint32_t address;
    uint32_t length;
    const uint8_t* data;
    // Flash was just seen to be, where the slice lies. As wide as the rest: a copy must not read bytes that nobody
    // wrote.
    uint32_t isBlank;
} Slice;

static uint32_t FlashBytes(const LoadState* state) { return FlashPortSectorCount() * state->workspace->sectorBytes; }

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

static uint32_t CommonBitsOfFourWords(const uint8_t* bytes) {
    return LoadWord(bytes) & LoadWord(bytes + 4) & LoadWord(bytes + 8) & LoadWord(bytes + 12);
}

static bool AreEightWordsErased(const uint8_t* bytes) {
    return (CommonBitsOfFourWords(bytes) & CommonBitsOfFourWords(bytes + 16)) == kErasedWord;
}

// Address of the first programmed byte of the range, `end` when there is none. It looks at most of a sector before each
// chunk, so it takes big steps.
static uint32_t FirstProgrammed(uint32_t address, uint32_t end) {
    const uint8_t* flash = FlashPortBytes();
    while (end - address >= 32 && AreEightWordsErased(flash + address)) {
        address += 32;
    }
    while (address < end && flash[address] == kErasedByte) {
        ++address;
    }
    return address;
}

// Offset of the first byte in which flash differs from the slice, the slice's length when there is none.
static uint32_t FirstDifference(const Slice* slice) {
    const uint8_t* flash = FlashPortBytes() + slice->address;
    uint32_t offset = 0;
    while (offset < slice->length && flash[offset] == slice->data[offset]) {
        ++offset;
    }
    return offset;
}

// A controller may say success and not have erased, or not yet. Then data that is already there would be taken for
// programmed, checked, and gone with the end of the erase; so an erase counts only when the sector reads blank.
static uint32_t EraseSector(const LoadState* state, uint32_t sectorIndex) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    const uint32_t address = sectorIndex * sectorBytes;
    const FsmStatus fsmStatus = FlashPortEraseSector(address);
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

// `word` with the slice's bytes over it. Most words lie whole in the slice.
static uint32_t MergeWord(const Slice* slice, uint32_t wordAddress, uint32_t word) {
    const uint32_t wordOffset = wordAddress - slice->address;
    if (wordOffset < slice->length && slice->length - wordOffset >= 4) {
        return LoadWord(slice->data + wordOffset);
    }
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t offset = wordOffset + i;  // huge below the slice's start
        if (offset < slice->length) {
            word = (word & ~(0xFFu << (8 * i))) | (uint32_t)slice->data[offset] << (8 * i);
        }
    }
    return word;
}

// Brings the slice's bytes within one word into flash. The other bytes of the word are asked to stay what they are.
static FsmStatus ProgramWord(const Slice* slice, uint32_t wordAddress) {
    if (MergeWord(slice, wordAddress, kErasedWord) == kErasedWord) {
        return kFsmSuccess;
    }
    const uint32_t held = LoadWord(FlashPortBytes() + wordAddress);
    const uint32_t wanted = MergeWord(slice, wordAddress, held);
    return wanted == held ? kFsmSuccess : FlashPortProgramWords(wordAddress, (const uint8_t*)&wanted, 1);
}

// How many of the words from here on lie whole in the slice and are blank.
static uint32_t BlankWords(const Slice* slice, uint32_t wordAddress) {
    const uint32_t end = slice->address + slice->length;
    if (wordAddress < slice->address) {
        return 0;
    }
    return ((slice->isBlank ? end : FirstProgrammed(wordAddress, end)) - wordAddress) / 4;
}

// Blank words go to the controller in one run, in which it never waits for the core: this is where a load spends its
// time. What flash holds of the others decides word by word.
static FsmStatus ProgramWords(const Slice* slice) {
    const uint32_t end = slice->address + slice->length;
    uint32_t wordAddress = slice->address & ~3u;
    FsmStatus fsmStatus = kFsmSuccess;
    while (wordAddress < end && fsmStatus == kFsmSuccess) {
        const uint32_t blank = BlankWords(slice, wordAddress);
        fsmStatus = blank == 0
                        ? ProgramWord(slice, wordAddress)
                        : FlashPortProgramWords(wordAddress, slice->data + (wordAddress - slice->address), blank);
        wordAddress += blank == 0 ? 4 : 4 * blank;
    }
    return fsmStatus;
}

static uint32_t ProgramInPlace(const Slice* slice) {
    const FsmStatus fsmStatus = ProgramWords(slice);
    return fsmStatus == kFsmSuccess ? (uint32_t)kStatusSuccess : ProgramFailure(fsmStatus);
}

// Whether the sector already is what erasing it and programming the slice would make of it.
static bool IsAlreadyDone(const Slice* slice, uint32_t sectorAddress, uint32_t sectorEnd) {
    const uint32_t sliceEnd = slice->address + slice->length;
    return FirstDifference(slice) == slice->length &&
           FirstProgrammed(sectorAddress, slice->address) == slice->address &&
           FirstProgrammed(sliceEnd, sectorEnd) == sectorEnd;
}

// A step of programming a slice: what it has from `address` to before `end`, with some bits left for a later step.
typedef struct {
    uint32_t address;
    uint32_t end;
    uint8_t leftOut;  // of a step of one byte, as far as flash has them set
} Step;

static uint32_t ProgramStep(const Slice* slice, const Step* step) {
    const uint32_t sliceEnd = slice->address + slice->length;
    const uint32_t address = step->address > slice->address ? step->address : slice->address;
    const uint32_t end = step->end < sliceEnd ? step->end : sliceEnd;
    if (address >= end) {
        return kStatusSuccess;
    }
    const uint8_t* data = slice->data + (address - slice->address);
    const uint8_t byte = *data | (step->leftOut & FlashPortBytes()[address]);
    const Slice part = {address, end - address, step->leftOut == 0 ? data : &byte, slice->isBlank};
    return ProgramInPlace(&part);
}

// The address if the slice clears all of these bits there, else `otherwise`.
static uint32_t WhereCleared(const Slice* slice, uint32_t address, uint8_t bits, uint32_t otherwise) {
    const uint32_t offset = address - slice->address;  // huge below the slice's start
    return offset < slice->length && (slice->data[offset] & bits) == 0 ? address : otherwise;
}

// What locks the chip from the next power-up on comes last, whatever its address: when power is lost on the way the
// work can be done again. The bit that protects CCFG's own sector goes alone, because one bit cannot be torn; then the
// debug port, because a chip that is only protected can still be looked at.
static uint32_t ProgramLocksLast(const LoadState* state, const Slice* slice) {
    const uint32_t last = FlashPortSectorCount() - 1;
    const uint32_t end = FlashBytes(state);
    const uint8_t bit = (uint8_t)(1u << last % 8);
    const uint32_t protectionByte = end - kProtectionFromEnd + (last < 32 ? 0 : 4) + last % 32 / 8;
    const uint32_t protection = WhereCleared(slice, protectionByte, bit, end);
    const uint32_t port = WhereCleared(slice, end - kDebugPortFromEnd, 0xFF, protection);
    const Step steps[] = {
        {0, port, 0},
        {port + 1, protection, 0},
        {protection + 1, end, 0},
        {protection, protection + 1, bit},
        {protection, protection + 1, 0},
        {port, port + 1, 0},
    };
    uint32_t status = kStatusSuccess;
    for (uint32_t i = 0; i < sizeof steps / sizeof *steps && status == kStatusSuccess; ++i) {
        status = ProgramStep(slice, &steps[i]);
    }
    return status;
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
    return ProgramLocksLast(state, &onceErased);
}

static bool NeedsErase(const Slice* slice) {
    const uint8_t* flash = FlashPortBytes() + slice->address;
    for (uint32_t i = 0; i < slice->length; ++i) {
        if ((slice->data[i] & ~flash[i]) != 0) {
            return true;
        }
    }
    return false;
}

// The scratch sector becomes what the sector is to hold: its content, with the slice over it.
static void Compose(uint8_t* scratch, const Slice* slice, uint32_t sectorAddress, uint32_t sectorBytes) {
    const uint8_t* flash = FlashPortBytes() + sectorAddress;
    for (uint32_t i = 0; i < sectorBytes; ++i) {
        const uint32_t offset = sectorAddress + i - slice->address;
        scratch[i] = offset < slice->length ? slice->data[offset] : flash[i];
    }
}

// The sector is as fresh afterwards as it was before, because what it keeps may be older than the load. Only when the
// slice is all of it nothing is kept.
static uint32_t ProgramRetaining(LoadState* state, const Slice* slice) {
    if (!NeedsErase(slice)) {
        return ProgramLocksLast(state, slice);
    }
    const Workspace* workspace = state->workspace;
    const uint32_t sectorIndex = slice->address / workspace->sectorBytes;
    const Slice whole = {sectorIndex * workspace->sectorBytes, workspace->sectorBytes, workspace->scratch, true};
    Compose(workspace->scratch, slice, whole.address, whole.length);
    const uint32_t status = EraseSector(state, sectorIndex);
    if (status != kStatusSuccess) {
        return status;
    }
    if (slice->length == workspace->sectorBytes) {
        MarkFresh(state, sectorIndex);
    }
    return ProgramLocksLast(state, &whole);
}

static uint32_t ProgramSlice(LoadState* state, uint32_t code, const Slice* slice) {
    if (code == kCommandProgramErase) {
        return ProgramErasing(state, slice);
    }
    return code == kCommandProgramRetain ? ProgramRetaining(state, slice) : ProgramLocksLast(state, slice);
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

// When flash holds what the buffer holds, the buffer changed under our hands, and the chunk as a whole is at fault.
static uint32_t VerifyChunk(CommandBlock* block, const Slice* chunk) {
    if (Crc32(FlashPortBytes() + chunk->address, chunk->length) == block->crc) {
        return kStatusSuccess;
    }
    const uint32_t offset = FirstDifference(chunk);
    block->address += offset < chunk->length ? offset : 0;
    return kStatusVerificationIssue;
}

static uint32_t Program(LoadState* state, CommandBlock* block, const uint8_t* buffer) {
    if (!LiesInFlash(state, block->address, block->length) || block->length > state->workspace->sectorBytes) {
        return kStatusInvalidArguments;
    }
    const bool verifies = (block->command & kVerifyCrcFlag) != 0;
    // A chunk that was damaged on its way is caught here, while the sector still holds what it held.
    if (verifies && Crc32(buffer, block->length) != block->crc) {
        return kStatusVerificationIssue;
    }
    const Slice chunk = {block->address, block->length, buffer, false};
    const uint32_t status = ProgramChunk(state, block->command & ~(uint32_t)kVerifyCrcFlag, chunk);
    return verifies && status == kStatusSuccess ? VerifyChunk(block, &chunk) : status;
}

// The first sector that should be blank after a bank erase and is not; the number of sectors when there is none.
static uint32_t FirstSectorNotErased(const LoadState* state) {
    const uint32_t sectorBytes = state->workspace->sectorBytes;
    for (uint32_t i = 0; i < FlashPortSectorCount(); ++i) {
        const uint32_t end = (i + 1) * sectorBytes;
        if (!FlashPortIsProtected(i) && FirstProgrammed(i * sectorBytes, end) != end) {
            return i;
        }
    }
    return FlashPortSectorCount();
}

static uint32_t BankErase(LoadState* state, const CommandBlock* block) {
    if (block->address != 0 || block->length != 0 || FlashPortSectorCount() == 0) {
        return kStatusInvalidArguments;
    }
    const FsmStatus fsmStatus = FlashPortEraseBank();
    // Flash cannot be read while the controller is busy. The first sector stands for a failure that names none.
    const uint32_t notErased = fsmStatus == kFsmBusy ? 0 : FirstSectorNotErased(state);
    if (fsmStatus != kFsmSuccess || notErased != FlashPortSectorCount()) {
        return EraseFailure(notErased % FlashPortSectorCount(), fsmStatus);
    }
    for (uint32_t i = 0; i < FlashPortSectorCount(); ++i) {
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
    const uint32_t programmed = FirstProgrammed(block->address, end);
    if (programmed == end) {
        return kStatusSuccess;
    }
    block->address = programmed;
    return kStatusVerificationIssue;
}

uint32_t RunCommand(LoadState* state, CommandBlock* block, const uint8_t* buffer) {
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
