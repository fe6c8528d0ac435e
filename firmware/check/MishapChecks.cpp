// What is told, and what is left, when an operation fails, power is lost or time passes.
#include <algorithm>
#include <string>

#include "firmware/check/PortCheck.h"

namespace flash::check {
namespace {

// The work of one load, from flash that an older program has filled. Gives the first status that is not 0.
std::uint32_t DoWork(Loader& loader, std::uint32_t command) {
    const std::uint32_t start = ModelSectorBytes() - 30;
    std::uint32_t status = command == 2 ? loader.Run(5, 0, 2 * ModelSectorBytes() - 1).status : 0;
    for (std::uint32_t chunk = 0; chunk < 4 && status == 0; ++chunk) {
        status = loader.Program(command | 0x10, start + 21 * chunk, Pattern(21, chunk)).status;
    }
    return status;
}

void PrepareWork() {
    ModelBegin();
    FillFlash(0, 3 * ModelSectorBytes(), 0x00);
}

std::uint32_t CountOperations(std::uint32_t command) {
    PrepareWork();
    Loader loader;
    PrepareWork();
    loader.Load();
    Expect(DoWork(loader, command), 0u, "a load with command " + std::to_string(command));
    return ModelOperations();
}

void BeginLoad(Loader& loader, std::uint32_t operation, Mishap mishap) {
    PrepareWork();
    loader.Load();
    ModelArm(operation, mishap);
}

void AFailedOperationIsTold() {
    for (const Mishap mishap : {kOperationFails, kOperationNeverEnds}) {
        for (const std::uint32_t command : {2u, 3u, 4u}) {
            const std::uint32_t operations = CountOperations(command);
            const std::uint32_t most = mishap == kOperationFails ? 100 / Step(5) : 5 - Step(3);
            const std::uint32_t step = operations > most ? operations / most : 1;
            for (std::uint32_t n = 1; n <= operations; n += step) {
                Loader loader;
                BeginLoad(loader, n, mishap);
                const std::uint32_t status = DoWork(loader, command);
                const std::string what = "operation " + std::to_string(n) + " of command " + std::to_string(command);
                Expect((status & 0xFFFF) == 0x102 || (status & 0xFFFF) == 0x103, true, what + " fails");
                Expect(status >> 16 & 0xFF, mishap == kOperationFails ? 4u : 1u, what + ": state machine status");
            }
        }
    }
}

// Done again after a loss of power, a load leaves what it leaves without one. Command 4 may lose what it was to keep.
void PowerMayBeLostAnywhere() {
    for (const Mishap mishap : {kPowerLostBefore, kPowerLostInside, kPowerLostAfter}) {
        for (const std::uint32_t command : {2u, 3u}) {
            const std::uint32_t operations = CountOperations(command);
            const Bytes expected = Flash();
            for (std::uint32_t n = 1; n <= operations; n += Step(5)) {
                Loader loader;
                BeginLoad(loader, n, mishap);
                bool isLost = false;
                try {
                    DoWork(loader, command);
                } catch (const PowerLoss&) {
                    isLost = true;
                }
                ModelPowerUp();
                loader.Load();
                const std::string what = "power lost at operation " + std::to_string(n);
                Expect(isLost, true, what);
                Expect(DoWork(loader, command), 0u, what + ", again");
                ExpectFlash(expected, what + ", again");
            }
        }
    }
}

// With flag 0x10, which `DoWork` sets. A wrong byte of what the chunks leave alone is nobody's promise.
void ALieIsNoticed() {
    for (const Mishap mishap : {kOperationDoesNothing, kOperationFlipsABit}) {
        for (const std::uint32_t command : {2u, 3u, 4u}) {
            const std::uint32_t operations = CountOperations(command);
            const Bytes expected = Flash();
            for (std::uint32_t n = 1; n <= operations; n += Step(5)) {
                Loader loader;
                BeginLoad(loader, n, mishap);
                const bool isTold = DoWork(loader, command) != 0;
                const std::string what = "a lie of operation " + std::to_string(n) + " of command " +
                                         std::to_string(command) + " is told, or has done no harm";
                const std::uint32_t start = ModelSectorBytes() - 30;
                const bool isHarmless =
                    std::equal(expected.begin() + start, expected.begin() + start + 4 * 21, ModelFlash() + start);
                Expect(isTold || isHarmless, true, what);
            }
        }
    }
}

void TheWatchdogIsFed() {
    Loader loader;
    FillFlash(0, ModelFlashBytes(), 0x00);
    loader.Run(5, 0, ModelFlashBytes() - 1);
    for (int millisecond = 0; millisecond < 500; ++millisecond) {
        loader.Idle();
        ModelPass(1'000'000);
    }
}

}  // namespace

std::vector<Check> MishapChecks() {
    return {
        {"a-failed-operation-is-told", AFailedOperationIsTold},
        {"power-may-be-lost-anywhere", PowerMayBeLostAnywhere},
        {"a-lie-is-noticed", ALieIsNoticed},
        {"the-watchdog-is-fed", TheWatchdogIsFed},
    };
}

}  // namespace flash::check
