// The virtual chip's controller as the model of a port: the same rules and faults as on the chip, without its core.
#include <algorithm>
#include <numeric>
#include <optional>

#include "chip/FlashController.h"
#include "firmware/check/model.h"
#include "firmware/clock.h"
#include "firmware/registers.h"

namespace {

using namespace flash::chip;

constexpr std::uint32_t kSectors = 8;
constexpr std::uint32_t kSectorBytes = 4096;
constexpr Nanoseconds kAccess = std::chrono::microseconds(1);  // of a register

Settings DoubleWords() {
    Settings settings;
    settings.controller = {.unitBytes = 8,
                           .isWrittenOnce = true,
                           .pageBytes = 2048,
                           .protectsWithOnes = true,
                           .watchdog = std::chrono::milliseconds(100)};
    settings.timing.wordProgram = std::chrono::microseconds(90);
    return settings;
}

class Model {
public:
    void PowerUp() {
        faults.DisarmAll();
        controller.Abort(now);
        controller.PowerUp();
        runningSince = now;
    }
    void Pass(Nanoseconds duration) {
        now += duration;
        Obey(controller.AdvanceTo(now));
        if (now >= controller.WatchdogBites(runningSince)) {
            log.AddViolation(Violation::WatchdogBite, 0, now);
            runningSince = now;
        }
    }
    static void Obey(const ControllerSignals& signals) {
        if (signals.powerIsLost) {
            ModelPowerIsLost();
        }
    }
    std::uint32_t RulesBroken() const {
        const std::uint64_t all =
            std::accumulate(log.counters.violations.begin(), log.counters.violations.end(), std::uint64_t{0});
        const std::uint64_t allowed = log.Count(Violation::OperationOnProtected) + log.Count(Violation::WatchdogBite);
        return static_cast<std::uint32_t>(all - allowed);
    }

    Settings settings = DoubleWords();
    Random random{1};
    FaultPlan faults;
    ChipLog log{kSectors};
    FlashArray array{kSectors, kSectorBytes};
    FlashController controller{array, settings, faults, log, random};
    Nanoseconds now{0};
    Nanoseconds runningSince{0};
};

std::optional<Model> model;

}  // namespace

extern "C" {

void ModelBegin() {
    model.emplace();
    model->PowerUp();
}

void ModelPowerUp() { model->PowerUp(); }

void ModelArm(std::uint32_t operation, Mishap mishap) {
    constexpr Fault kFaults[] = {Fault::OperationFails,           Fault::StuckBusy,
                                 Fault::PowerLossBeforeOperation, Fault::PowerLossInsideOperation,
                                 Fault::PowerLossAfterOperation,  Fault::OperationDoesNothing,
                                 Fault::OperationDoesNothing};
    model->faults.Arm(kFaults[mishap], operation);
}

// By its bit in CCFG, which is sampled at power-up.
void ModelProtectSector(std::uint32_t address) {
    const std::uint32_t at = model->array.Length() - kProtect0BeforeEnd;
    model->array.Bytes()[at] = static_cast<std::uint8_t>(~(1U << address / kSectorBytes));
    model->array.MarkWhatIsNotOnes(at, 1);
    model->PowerUp();
}

std::uint32_t ModelFlashBytes() { return model ? model->array.Length() : kSectors * kSectorBytes; }
std::uint32_t ModelSectorBytes() { return kSectorBytes; }
const std::uint8_t* ModelFlash() { return model->array.Bytes().data(); }

void ModelPlace(std::uint32_t address, const std::uint8_t* bytes, std::uint32_t length) {
    std::copy_n(bytes, length, model->array.Bytes().begin() + address);
    model->array.MarkWhatIsNotOnes(address, length);
}

std::uint32_t ModelOperations() { return static_cast<std::uint32_t>(model->log.counters.flashOperations); }
std::uint32_t ModelRulesBroken() { return model->RulesBroken(); }
std::uint32_t ModelWatchdogBites() { return static_cast<std::uint32_t>(model->log.Count(Violation::WatchdogBite)); }
std::uint64_t ModelNanoseconds() { return static_cast<std::uint64_t>(model->now.count()); }
void ModelPass(std::uint64_t nanoseconds) { model->Pass(Nanoseconds(nanoseconds)); }

std::uint32_t ReadRegister(std::uint32_t address) {
    model->Pass(kAccess);
    return model->controller.Load(address, model->now);
}

void WriteRegister(std::uint32_t address, std::uint32_t value) {
    model->Pass(kAccess);
    Model::Obey(model->controller.Store(address, value, model->now));
}

const std::uint8_t* FlashMemory() { return model->array.Bytes().data(); }

std::uint32_t ModelTicksPerMillisecond() { return 48'000; }
const std::uint32_t* ModelRegisterPages() {
    static constexpr std::uint32_t kPages[] = {kControllerPage, 0};
    return kPages;
}

void ClockStart() {}
std::uint32_t ClockTicks() {
    return static_cast<std::uint32_t>(ModelNanoseconds() * ModelTicksPerMillisecond() / 1'000'000) & kClockMask;
}
}
