// What is told when the controller fails or lies, and what is left when power is lost.
#include <fmt/format.h>

#include <algorithm>

#include "apps/check_flashloader/Checks.h"

namespace flash::flashloader_check {
namespace {

using chip::Fault;

// The work of one load over an old program, across two sectors. Gives the first status that is not 0.
std::uint32_t DoWork(Bench& bench) {
    const std::uint32_t start = bench.SectorBytes() - 30;
    std::uint32_t status = 0;
    for (std::uint32_t chunk = 0; chunk < 4 && status == 0; ++chunk) {
        status = bench.Program(0x13, start + 21 * chunk, Pattern(21, chunk)).status;
    }
    return status;
}

std::uint64_t CountOperations(const Image& image, Bytes& flash) {
    Bench bench(image, OldFlash(image));
    RequireEqual(DoWork(bench), 0, "status of a load");
    flash = bench.Flash();
    return bench.Operations();
}

void TellsAFailedOperation(const Image& image) {
    Bytes flash;
    const std::uint64_t operations = CountOperations(image, flash);
    for (std::uint64_t n = 1; n <= operations; n += image.stride) {
        Bench bench(image, OldFlash(image));
        bench.chip.Arm(Fault::OperationFails, n);
        const std::uint32_t status = DoWork(bench);
        Require((status & 0xFFFF) == 0x102 || (status & 0xFFFF) == 0x103,
                fmt::format("0x102 or 0x103 when operation {} fails", n), fmt::format("0x{:X}", status));
        RequireEqual(status >> 16 & 0xFF, 4, "status of the state machine");
    }
}

void NamesTheSectorThatFails(const Image& image) {
    Bench bench(image, OldFlash(image));
    bench.chip.Arm(Fault::OperationFails);
    RequireEqual(bench.Run({2 * bench.SectorBytes(), 0, 5}).status, 0x102 | 4u << 16 | 2u << 24,
                 "status of a failed erase of sector 2");
}

void EndsInTime(const Image& image) {
    for (const std::uint64_t n : {1u, 3u}) {
        Bench bench(image, OldFlash(image));
        bench.chip.Arm(Fault::StuckBusy, n);
        RequireEqual(DoWork(bench) >> 16 & 0xFF, 1, "status of the state machine when an operation never ends");
        Require(bench.chip.Count(chip::Violation::WatchdogBite) == 0, "a watchdog that is fed", "a bite");
    }
}

void BelievesNoErase(const Image& image) {
    Bench bench(image, OldFlash(image));
    bench.chip.Arm(Fault::OperationDoesNothing);
    RequireEqual(bench.Run({0, 0, 5}).status & 0xFFFF, 0x102, "status of an erase that only says success");
}

void ChecksWhatFlashHolds(const Image& image) {
    Bench bench(image);
    bench.FlipABitOf(0x123);
    const Bytes chunk(64, 0x21);
    const Answer answer = bench.Program(0x12, 0x100, chunk);
    RequireEqual(answer.status, 0x106, "status when a bit of flash flips");
    const Bytes flash = bench.Flash();
    const auto wrong = std::ranges::mismatch(chunk, std::span(flash).subspan(0x100, chunk.size())).in1;
    RequireEqual(answer.address, static_cast<std::uint64_t>(0x100 + (wrong - chunk.begin())),
                 "address of the byte that is wrong");
}

void TakesTheNextBlockAfterAFailure(const Image& image) {
    Bench bench(image, OldFlash(image));
    bench.chip.Arm(Fault::OperationFails);
    bench.Run({0, 0, 5});
    RequireEqual(bench.Run({0, 0, 5}).status, 0, "status of the command after one that failed");
}

void MakesGoodALossOfPower(const Image& image) {
    Bytes expected;
    const std::uint64_t operations = CountOperations(image, expected);
    for (const Fault fault :
         {Fault::PowerLossBeforeOperation, Fault::PowerLossInsideOperation, Fault::PowerLossAfterOperation}) {
        for (std::uint64_t n = 1; n <= operations; n += image.stride) {
            Bench bench(image, OldFlash(image));
            bench.chip.Arm(fault, n);
            try {
                DoWork(bench);
            } catch (const chip::ChipError&) {  // without power there is no chip
            } catch (const Broken&) {           // nor an answer
            }
            Require(!bench.chip.IsPowered(), "a loss of power", "none");
            bench.chip.PowerOn();
            bench.Load();
            bench.Start();
            const std::string what =
                fmt::format("{}, {} of {}, and the load once more", chip::Name(fault), n, operations);
            RequireEqual(DoWork(bench), 0, what);
            RequireFlash(bench, expected, what);
            bench.RequireNoViolation();
        }
    }
}

}  // namespace

std::vector<Check> MishapChecks() {
    return {
        {"tells-a-failed-operation", "A failed operation gives 0x102 or 0x103 with the state machine's status.",
         TellsAFailedOperation},
        {"names-the-sector-that-fails", "A failed erase names its sector.", NamesTheSectorThatFails},
        {"ends-in-time", "An operation that never ends is told within the host's 2 s.", EndsInTime},
        {"believes-no-erase", "An erase counts only when the sector reads blank.", BelievesNoErase},
        {"checks-what-flash-holds", "With flag 0x10 a wrong byte of flash gives 0x106 and its address.",
         ChecksWhatFlashHolds},
        {"takes-the-next-block-after-a-failure", "After a failure the next block is taken as usual.",
         TakesTheNextBlockAfterAFailure},
        {"makes-good-a-loss-of-power", "A load that lost its power anywhere can be done again.", MakesGoodALossOfPower},
    };
}

}  // namespace flash::flashloader_check
