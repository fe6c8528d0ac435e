// The way of a host's data into flash: what is programmed at all, with which erase, in which chunks. While the target
// programs one chunk from its buffer, the next one travels into the other.
#include <algorithm>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/mailbox/CommandBlock.h"
#include "flashdevice/programming/CcfgData.h"
#include "flashdevice/programming/Crc32.h"
#include "flashdevice/programming/EraseMode.h"
#include "flashdevice/programming/PageList.h"
#include "flashdevice/programming/RequestPieces.h"

namespace flash {
namespace {

constexpr char kProgramLoadEraseText[] = "ProgramLoadEraseSpecificText";
constexpr char kBufferFailed[] =
    "Failed to write data to temporary buffer in RAM before programming device FLASH memory.";

}  // namespace

void FlashDeviceLumo::ProgramData(const std::uint8_t* data, std::uint32_t address, std::uint32_t length) {
    if (!sectorRanges.empty() || PageSkipActive()) {
        ProgramSectorRanges(data, address, length);
    } else if (FillSkipActive()) {
        ProgramUnfilledPieces(data, address, length);
    } else {
        ProgramRange(data, address, length);
    }
}

bool FlashDeviceLumo::HandlesVerification() {
    return KeepCcfgActive() || PageSkipActive() || FillSkipActive() || CrcVerifyActive();
}

void FlashDeviceLumo::ProgramSectorRanges(const std::uint8_t* data, std::uint32_t address, std::uint32_t length) {
    for (const std::string& sectors : sectorRanges) {
        const RequestPart part = PartInRange(address, length, ParseSectorRange(sectors, sectorSize));
        const std::uint32_t given = length - part.offset;
        if (part.length <= given) {
            if (part.meets) {
                ProgramRange(data + part.offset, address + part.offset, part.length);
            }
        } else {
            // One byte beyond the host's data: sent as erased flash, never read.
            std::vector<std::uint8_t> padded(part.length, 0xFF);
            std::copy_n(data + part.offset, given, padded.begin());
            ProgramRange(padded.data(), address + part.offset, part.length);
        }
        if (part.isWhole) {
            return;
        }
    }
}

void FlashDeviceLumo::ProgramUnfilledPieces(const std::uint8_t* data, std::uint32_t address, std::uint32_t length) {
    std::uint32_t offset = 0;
    while (offset < length) {
        const std::uint8_t* piece = data + offset;
        const std::uint32_t pieceLength = FillPieceLength(address + offset, length - offset, sectorSize);
        const bool isFilled =
            std::all_of(piece, piece + pieceLength, [&](std::uint8_t byte) { return byte == fillValue; });
        if (!isFilled) {
            ProgramRange(piece, address + offset, pieceLength);
        }
        offset += pieceLength;
    }
}

void FlashDeviceLumo::ProgramRange(const std::uint8_t* data, std::uint32_t address, std::uint32_t length) {
    HoldCcfg();
    if (GetEraseMode() == EraseMode::AllUnprotectedSectors && !bankEraseDone) {
        MassErase();
    }
    const bool isTrimmed = KeepCcfgActive() && !ccfgData->data.empty();
    const std::uint32_t lengthLeft = isTrimmed ? TrimForCcfg(address, length) : length;
    if (!ProgramChunks(data, address, lengthLeft)) {
        // Only reported, on purpose: to the host the write succeeded.
        ReportErrorText("Something went wrong programming device");
        return;
    }
    if (KeepCcfgActive() && address + length - 1 > ccfgData->address) {
        RestoreCcfg();
    }
}

bool FlashDeviceLumo::ProgramChunks(const std::uint8_t* data, std::uint32_t address, std::uint32_t length) {
    LoadFlashloader();
    auto command = static_cast<std::uint32_t>(ChooseProgramCommand());
    std::uint32_t chunkNumber = 1;
    for (std::uint32_t offset = 0; offset < length; ++chunkNumber) {
        const std::uint8_t* chunk = data + offset;
        const std::uint32_t chunkLength = std::min(length - offset, sectorSize);
        WriteToBuffer(chunk, chunkLength, kBufferFailed);
        std::uint32_t crc = 0;
        if (CrcVerifyActive()) {
            crc = Crc32({chunk, chunkLength});
            command |= kVerifyCrcFlag;  // and stays for the rest of the request, on purpose
        }
        const CommandBlock block{command, address + offset, chunkLength, crc};
        PostCommand(block);
        PrintChunk(chunkNumber, block);
        offset += chunkLength;
        if (WaitForCommand() != kStatusSuccess) {
            PrintUnfinishedCommand(block);
            FailTimedOut();
        }
    }
    if (WaitForPostedCommand() != kStatusSuccess) {
        FailTimedOut();
    }
    return true;
}

Command FlashDeviceLumo::ChooseProgramCommand() {
    switch (GetEraseMode()) {
        case EraseMode::NecessarySectorsRetain:
            return Command::ProgramRetain;
        case EraseMode::NecessarySectors:
            return Command::ProgramErase;
        case EraseMode::SpecificSectors:
            EraseSectorRanges(kProgramLoadEraseText);
            return Command::Program;
        case EraseMode::NoErase:
        case EraseMode::AllUnprotectedSectors:
            break;
    }
    return Command::Program;
}

void FlashDeviceLumo::PrintChunk(std::uint32_t chunkNumber, const CommandBlock& block) {
    if (!IsVerbose()) {
        return;
    }
    const auto number = static_cast<int>(chunkNumber);
    const auto length = static_cast<int>(block.length);
    const auto usedBlock = static_cast<int>(currentBlock ^ 1);  // that of the post
    if (CrcVerifyActive()) {
        PrintFormatted("  Chunk %d: addr=0x%08X, length=%d, crc=0x%08X (using block %d)", number, block.address, length,
                       block.crc, usedBlock);
    } else {
        PrintFormatted("  Chunk %d: addr=0x%08X, length=%d (using block %d)", number, block.address, length, usedBlock);
    }
}

bool FlashDeviceLumo::CrcVerifyActive() { return IsOptionOn("CrcVerify"); }

}  // namespace flash
