// Any posts of a host, through the real mailbox, over a controller that fails, tears and lies: each post is answered
// within a bounded number of operations, as a second flashloader answers it, and nothing but flash and the answer
// changes.
//
// An input is text. Its first two characters choose the size of a sector (0 to 3, and 4 times 0 to 3 for the units) and
// the number of sectors less one; then come actions, one letter each, with the arguments that stand at `Session::Act`.
// A digit counts as itself, and every other character by its distance from '0': '/' is -1, or 0xFF.
#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "firmware/clock.h"
#include "firmware/mailbox.h"
#include "tests/fuzz/ByteSource.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/firmware/ModelFlash.h"
#include "tests/fuzz/firmware/SecondFlashloader.h"

namespace flash::fuzz {
namespace {

constexpr std::uint32_t kMostPolls = 48;
constexpr std::uint32_t kSectorSizes[] = {64, 128, 256, 4096};
constexpr Units kUnits[] = {{4, true}, {8, false}, {1, true}, {16, false}};

bool operator==(const ::CommandBlock& some, const ::CommandBlock& other) {
    return some.address == other.address && some.length == other.length && some.command == other.command &&
           some.crc == other.crc && some.status == other.status && some.reserved == other.reserved;
}

::CommandBlock ReadBlock(std::uint32_t index) {
    const volatile ::CommandBlock& block = g_cfg[index];
    return {block.address, block.length, block.command, block.crc, block.status, block.reserved};
}

void Post(std::uint32_t index, std::uint32_t address, std::uint32_t length, std::uint32_t command, std::uint32_t crc) {
    volatile ::CommandBlock& block = g_cfg[index];
    block.address = address;
    block.length = length;
    block.command = command;
    block.crc = crc;
    block.status = kStatusNotDone;
}

class Session {
public:
    explicit Session(ByteSource& byteSource)
        : source(byteSource),
          sizes(Digit()),
          sectorBytes(kSectorSizes[sizes % std::size(kSectorSizes)]),
          units(kUnits[sizes / std::size(kSectorSizes) % std::size(kUnits)]),
          sectorCount(1U + Digit() % (sectorBytes == 4096 ? 8U : 255U)),
          flash(sectorBytes, sectorCount, units),
          second(sectorBytes, sectorCount, units),
          buffers{Bytes(sectorBytes), Bytes(sectorBytes)},
          scratch(sectorBytes),
          workspace{sectorBytes, {buffers[0].data(), buffers[1].data()}, scratch.data(), stackGuard.data()},
          state(std::make_unique<LoadState>()) {
        current = this;
        LoadAgain();
    }
    ~Session() { current = nullptr; }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool IsOver() const { return source.IsEmpty() || polls == kMostPolls; }

    // The low four bits of the letter count, so that every character is an action.
    void Act() {
        switch (source.Byte() % 16) {
            case 'p' % 16:  // sector: protects it, or no more
                return ToggleProtection(Sector());
            case 'a' % 16:  // buffer, sector: the buffer holds what flash holds
                return TakeFromFlash(Buffer());
            case 'b' % 16:  // buffer, offset, value: one byte of the buffer
                return SetByte(Buffer());
            case 'c' % 16:  // a command, see `PostCommand`, and a poll
                PostCommand();
                return Poll();
            case 'd' % 16:  // buffer, first value: data
                return SetPattern(Buffer(), 7);
            case 'e' % 16:  // operations before it, state machine's status, 0 nothing 1 half 2 all is done: a fault
                return PlanFault();
            case 'f' % 16:  // buffer, value: fills it
                return SetPattern(Buffer(), 0);
            case 'w' % 16:  // word of the mailbox, four bytes
                return WriteMailbox();
            case 'h' % 16:  // value, code: meanwhile the host fills the other buffer and posts the other block
                meanwhile = Meanwhile{Digit(), Digit()};
                return;
            case 'i' % 16:  // a poll
                return Poll();
            case 'k' % 16:  // sector, offset, bits: those are never cleared
                return StickBits(Sector());
            case 'l' % 16:  // another load of the flashloader
                return LoadAgain();
            case 'n' % 16:  // address, length, command, crc, four bytes each: a command, and a poll
                PostAnything();
                return Poll();
            case 'o' % 16:  // sector, first value, step: an old program in flash
                return PlaceInFlash(Sector());
            default:  // a line feed among others
                return;
        }
    }

    // ---- The flash port.

    const ModelFlash& Flash() const { return flash; }
    bool IsProtected(std::uint32_t sector) const {
        FuzzRequire(sector < sectorCount, "protection is asked of sectors of flash");
        return flash.protectedSectors.contains(sector);
    }
    FsmStatus EraseSector(std::uint32_t address) {
        Begin();
        FuzzRequire(address < flash.bytes.size() && address % sectorBytes == 0, "an erase names a sector of flash");
        return flash.EraseSector(address);
    }
    FsmStatus EraseBank() {
        Begin();
        return flash.EraseBank();
    }
    FsmStatus ProgramUnits(std::uint32_t address, const std::uint8_t* data, std::uint32_t count) {
        const std::uint64_t end = std::uint64_t{address} + std::uint64_t{count} * units.bytes;
        FuzzRequire(address % units.bytes == 0 && count > 0 && end <= flash.bytes.size(), "a run lies in flash");
        FuzzRequire(address / sectorBytes == (end - 1) / sectorBytes, "a run lies in one sector");
        FsmStatus fsmStatus = kFsmSuccess;
        for (; count > 0 && fsmStatus == kFsmSuccess; --count, address += units.bytes, data += units.bytes) {
            if (!std::all_of(data, data + units.bytes, [](std::uint8_t byte) { return byte == 0xFF; })) {
                Begin();
                fsmStatus = flash.ProgramUnit(address, data);
            }
        }
        return fsmStatus;
    }
    const FlashTraits* Traits() {
        const std::uint32_t last = sectorCount - 1;
        const std::uint32_t end = sectorCount * sectorBytes;
        locks[0] = {end - (last < 32 ? 0x20 : 0x1C) + last % 32 / 8, static_cast<std::uint8_t>(1U << last % 8)};
        locks[1] = {end - 0x29, 0xFF};
        traits = {units.bytes, units.areRewritable, 1, 2, locks.data()};
        return &traits;
    }

    static Session* current;

private:
    struct Meanwhile {
        std::uint8_t fill;
        std::uint8_t command;
    };

    std::uint8_t Digit() { return static_cast<std::uint8_t>(source.Byte() - '0'); }
    std::uint32_t Distance() { return static_cast<std::uint32_t>(static_cast<std::int8_t>(Digit())); }
    std::uint32_t Sector() { return Digit() % sectorCount; }
    Bytes& Buffer() { return buffers[Digit() % 2]; }

    // ---- What the host does.

    void ToggleProtection(std::uint32_t sector) {
        for (ModelFlash* each : {&flash, &second.flash}) {
            if (each->protectedSectors.erase(sector) == 0) {
                each->protectedSectors.insert(sector);
            }
        }
    }

    void TakeFromFlash(Bytes& buffer) {
        std::copy_n(flash.bytes.begin() + Sector() * sectorBytes, sectorBytes, buffer.begin());
    }

    void SetByte(Bytes& buffer) {
        const std::uint32_t offset = Digit() % sectorBytes;
        buffer[offset] = Digit();
    }

    void SetPattern(Bytes& buffer, std::uint32_t step) {
        const std::uint8_t first = Digit();
        for (std::uint32_t i = 0; i < sectorBytes; ++i) {
            buffer[i] = static_cast<std::uint8_t>(first + i * step);
        }
    }

    // Code, with bit 6 set (a capital letter) also the flag; sector; offset; what the length counts from, as below;
    // that distance; what is wrong with the CRC.
    void PostCommand() {
        const std::uint8_t code = source.Byte();
        const std::uint32_t command = code % 16 + ((code & 0x40) != 0 ? 0x10U : 0U);
        const std::uint32_t sector = Digit();
        const std::uint32_t address = sector * sectorBytes + Distance();
        const std::uint32_t kind = Digit() % 4;
        const std::uint32_t distance = Distance();
        const std::uint32_t lengths[] = {distance, sectorBytes + distance, sectorCount * sectorBytes + distance,
                                         distance * sectorBytes - 1};
        const Bytes& buffer = buffers[g_currBuf];
        const std::uint32_t checked = std::min(lengths[kind], sectorBytes);
        const std::uint32_t crc = SlowCrc32(Bytes(buffer.begin(), buffer.begin() + checked));
        Post(g_currBuf, address, lengths[kind], command, crc ^ Digit());
    }

    void PostAnything() {
        const std::uint32_t address = source.Word();
        const std::uint32_t length = source.Word();
        const std::uint32_t command = source.Word();
        Post(g_currBuf, address, length, command, source.Word());
    }

    void WriteMailbox() {
        const std::uint32_t wordIndex = Digit() % (2 * kBlockWords);
        volatile ::CommandBlock& block = g_cfg[wordIndex / kBlockWords];
        volatile std::uint32_t* const words[kBlockWords] = {&block.address, &block.length, &block.command,
                                                            &block.crc,     &block.status, &block.reserved};
        *words[wordIndex % kBlockWords] = source.Word();
    }

    void PlanFault() {
        const std::uint32_t operation = 1U + Digit();
        const auto fsmStatus = static_cast<FsmStatus>(Digit());
        const Fault fault{static_cast<Fault::Effect>(Digit() % 3), fsmStatus};
        flash.PlanFault(operation, fault);
        second.flash.PlanFault(operation, fault);
    }

    void StickBits(std::uint32_t sector) {
        const std::uint32_t address = sector * sectorBytes + Digit() % sectorBytes;
        flash.stuckBits[address] = second.flash.stuckBits[address] = Digit();
    }

    void PlaceInFlash(std::uint32_t sector) {
        const std::uint8_t first = Digit();
        const std::uint32_t step = Digit();
        for (std::uint32_t i = 0; i < sectorBytes; ++i) {
            flash.bytes[sector * sectorBytes + i] = static_cast<std::uint8_t>(first + i * step);
        }
        for (std::uint32_t i = 0; !units.areRewritable && i < sectorBytes; i += units.bytes) {
            flash.usedUnits.insert(sector * sectorBytes + i);
        }
        second.flash.bytes = flash.bytes;
        second.flash.usedUnits = flash.usedUnits;
    }

    void LoadAgain() {
        FuzzRequire(BeginLoad(state.get(), &workspace) == 0, "this port is usable");
        second.LoadAgain();
        for (volatile ::CommandBlock& block : g_cfg) {
            block.address = 0;
            block.length = 0;
            block.command = 0;
            block.crc = 0;
            block.status = 0;
            block.reserved = 0xA5A5'A5A5;
        }
        g_currBuf = 0;
    }

    // ---- What the flashloader does.

    void Begin() {
        ++operations;
        FuzzRequire(operations <= sectorCount + 2 * sectorBytes + 16, "a command ends after a bounded number of steps");
        FuzzRequire(g_cfg[index].status == kStatusNotDone && g_currBuf == index, "the answer comes last");
        if (meanwhile) {
            std::fill(buffers[index ^ 1].begin(), buffers[index ^ 1].end(), meanwhile->fill);
            Post(index ^ 1, 0, 0, meanwhile->command, 0);
            untouchedBuffers[index ^ 1] = buffers[index ^ 1];
            otherBlock = ReadBlock(index ^ 1);
            meanwhile.reset();
        }
    }

    void Poll() {
        ++polls;
        operations = 0;
        index = g_currBuf;
        FuzzRequire(index < 2, "there are two blocks");
        const ::CommandBlock block = ReadBlock(index);
        otherBlock = ReadBlock(index ^ 1);
        untouchedBuffers = buffers;
        const std::size_t operationsBefore = flash.operations.size();
        const bool isPosted = block.status == kStatusNotDone;

        const bool hasAnswered = MailboxPoll(state.get());

        FuzzRequire(hasAnswered == isPosted, "a posted block is answered, and no other");
        FuzzRequire(buffers == untouchedBuffers, "the buffers are the host's");
        FuzzRequire(ReadBlock(index ^ 1) == otherBlock, "the other block is the host's");
        if (isPosted) {
            CompareWithSecond(block, operationsBefore);
        } else {
            FuzzRequire(operations == 0 && ReadBlock(index) == block && g_currBuf == index,
                        "without a post nothing is done");
        }
    }

    void CompareWithSecond(const ::CommandBlock& posted, std::size_t operationsBefore) {
        const Answer answer = second.Run(posted, buffers[index]);
        ::CommandBlock expected = posted;
        expected.address = answer.address;
        expected.status = answer.status;
        const ::CommandBlock found = ReadBlock(index);
        FuzzRequire(found.status == expected.status, "both flashloaders answer with the same status");
        FuzzRequire(found == expected, "both flashloaders leave the same address, and all else as it was");
        FuzzRequire(g_currBuf == (index ^ 1), "the blocks are taken in turn");
        const std::vector<Operation>& asked = second.flash.operations;
        const auto from = static_cast<std::ptrdiff_t>(operationsBefore);
        FuzzRequire(
            std::equal(flash.operations.begin() + from, flash.operations.end(), asked.begin() + from, asked.end()),
            "both flashloaders ask for the same operations");
        FuzzRequire(flash.bytes == second.flash.bytes, "both flashloaders leave the same in flash");
    }

    static constexpr std::uint32_t kBlockWords = sizeof(::CommandBlock) / 4;

    ByteSource& source;
    std::uint8_t sizes;
    std::uint32_t sectorBytes;
    Units units;
    std::uint32_t sectorCount;
    std::array<FlashLock, 2> locks{};
    FlashTraits traits{};
    ModelFlash flash;
    SecondFlashloader second;
    // Each in a block of memory of its own, so that a sanitizer sees an access beside it.
    std::array<Bytes, 2> buffers;
    Bytes scratch;
    std::array<std::uint32_t, kGuardWords> stackGuard{};
    Workspace workspace;
    std::unique_ptr<LoadState> state;

    std::optional<Meanwhile> meanwhile;  // at the next operation
    std::uint32_t polls = 0;

    // Of the poll that is running:
    std::uint32_t index = 0;
    std::uint32_t operations = 0;
    std::array<Bytes, 2> untouchedBuffers;
    ::CommandBlock otherBlock{};
};

Session* Session::current = nullptr;

}  // namespace
}  // namespace flash::fuzz

using flash::fuzz::Session;

extern "C" {
const std::uint8_t* FlashPortBytes() { return Session::current->Flash().bytes.data(); }
std::uint32_t FlashPortSectorCount() { return Session::current->Flash().sectorCount; }
bool FlashPortIsProtected(std::uint32_t sectorIndex) { return Session::current->IsProtected(sectorIndex); }
FsmStatus FlashPortEraseSector(std::uint32_t sectorAddress) { return Session::current->EraseSector(sectorAddress); }
FsmStatus FlashPortEraseBank() { return Session::current->EraseBank(); }
FsmStatus FlashPortProgramUnits(std::uint32_t unitAddress, const std::uint8_t* bytes, std::uint32_t unitCount) {
    return Session::current->ProgramUnits(unitAddress, bytes, unitCount);
}
bool FlashPortIsBlank(std::uint32_t unitAddress) { return !Session::current->Flash().usedUnits.contains(unitAddress); }
void FlashPortBegin() {}
void FlashPortIdle() {}
const FlashTraits* FlashPortTraits() { return Session::current->Traits(); }
void ClockStart() {}
std::uint32_t ClockTicks() { return 0; }

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    flash::fuzz::ByteSource source(data, size);
    Session session(source);
    while (!session.IsOver()) {
        session.Act();
    }
    return 0;
}
}
