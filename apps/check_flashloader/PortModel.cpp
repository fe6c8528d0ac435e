// The chip's clock leads: what the model has not lived through yet passes before each access. An access takes time of
// the model's own, by which the core is held up.
#include "apps/check_flashloader/PortModel.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

namespace flash::flashloader_check {
namespace {

using chip::ControllerSignals;
using chip::Fault;
using chip::Nanoseconds;

struct PowerLoss {};

template <typename Function>
void Find(void* library, const std::filesystem::path& file, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(library, name));
    if (function == nullptr) {
        throw std::runtime_error(
            fmt::format("{} has no function {}; firmware/check/model.h lists what a model has", file.string(), name));
    }
}

std::optional<Mishap> MishapOf(Fault fault) {
    switch (fault) {
        case Fault::OperationFails:
            return kOperationFails;
        case Fault::StuckBusy:
            return kOperationNeverEnds;
        case Fault::PowerLossBeforeOperation:
            return kPowerLostBefore;
        case Fault::PowerLossInsideOperation:
            return kPowerLostInside;
        case Fault::PowerLossAfterOperation:
            return kPowerLostAfter;
        case Fault::OperationDoesNothing:
            return kOperationDoesNothing;
        default:
            return std::nullopt;
    }
}

class ModelledController final : public chip::Controller {
public:
    ModelledController(const ModelLibrary& modelLibrary, std::uint32_t address)
        : model(modelLibrary), flashAddress(address) {
        model.begin();
    }

    std::vector<std::uint32_t> RegisterPages() const override {
        const std::uint32_t* const first = model.registerPages();
        const std::uint32_t* last = first;
        while (*last != 0) {
            ++last;
        }
        return {first, last};
    }
    std::uint32_t FlashAddress() const override { return flashAddress; }

    void Attach(std::span<std::uint8_t> bytes) override {
        Place(0, bytes);
        chipFlash = bytes;
    }
    void Place(std::uint32_t address, std::span<const std::uint8_t> bytes) override {
        // A model takes what is placed for programmed, so what is blank is not placed.
        constexpr std::size_t kPiece = 512;
        for (std::size_t at = 0; at < bytes.size(); at += kPiece) {
            const auto piece = bytes.subspan(at, std::min(kPiece, bytes.size() - at));
            if (!std::ranges::all_of(piece, [](std::uint8_t byte) { return byte == 0xFF; })) {
                model.place(address + static_cast<std::uint32_t>(at), piece.data(),
                            static_cast<std::uint32_t>(piece.size()));
            }
        }
    }
    bool Arm(Fault fault, std::uint64_t at) override {
        const std::optional<Mishap> mishap = MishapOf(fault);
        if (mishap) {
            model.arm(static_cast<std::uint32_t>(at), *mishap);
        }
        return mishap.has_value();
    }

    void PowerUp() override { model.powerUp(); }

    std::uint32_t Load(std::uint32_t address, Nanoseconds now) override {
        std::uint32_t value = 0;
        pending = Access(now, [&] { value = model.readRegister(address); });
        return value;
    }
    ControllerSignals Store(std::uint32_t address, std::uint32_t value, Nanoseconds now) override {
        return Access(now, [&] { model.writeRegister(address, value); });
    }

    bool IsBusy() const override { return false; }  // the model counts what breaks a rule
    Nanoseconds LoadStall(std::uint32_t, Nanoseconds now) const override { return StoreStall(now); }
    Nanoseconds StoreStall(Nanoseconds now) const override { return std::max(Nanoseconds::zero(), Now() - now); }
    Nanoseconds WatchdogBites(Nanoseconds) const override { return Nanoseconds::max(); }
    Nanoseconds NextEvent() const override { return Nanoseconds::max(); }
    ControllerSignals AdvanceTo(Nanoseconds now) override {
        const ControllerSignals before = std::exchange(pending, {});
        const ControllerSignals after = Access(now, [] {});
        return {.powerIsLost = before.powerIsLost || after.powerIsLost,
                .watchdogBites = before.watchdogBites || after.watchdogBites};
    }
    void Abort(Nanoseconds) override {}

private:
    Nanoseconds Now() const { return Nanoseconds(static_cast<Nanoseconds::rep>(model.nanoseconds())); }

    template <typename Work>
    ControllerSignals Access(Nanoseconds now, Work work) {
        ControllerSignals signals;
        const std::uint32_t bites = model.watchdogBites();
        try {
            if (now > Now()) {
                model.pass(static_cast<std::uint64_t>((now - Now()).count()));
            }
            work();
        } catch (const PowerLoss&) {
            signals.powerIsLost = true;
        }
        std::copy_n(model.flash(), chipFlash.size(), chipFlash.begin());
        signals.watchdogBites = model.watchdogBites() != bites;
        return signals;
    }

    const ModelLibrary& model;
    std::uint32_t flashAddress;
    std::span<std::uint8_t> chipFlash;
    ControllerSignals pending;  // of loads, which have no way to tell
};

}  // namespace

ModelLibrary::ModelLibrary(const std::filesystem::path& file) {
    void* const library = dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(fmt::format("Cannot load the model: {}", dlerror()));
    }
    Find(library, file, "ModelBegin", begin);
    Find(library, file, "ModelPowerUp", powerUp);
    Find(library, file, "ModelArm", arm);
    Find(library, file, "ModelProtectSector", protectSector);
    Find(library, file, "ModelFlashBytes", flashBytes);
    Find(library, file, "ModelSectorBytes", sectorBytes);
    Find(library, file, "ModelFlash", flash);
    Find(library, file, "ModelPlace", place);
    Find(library, file, "ModelOperations", operations);
    Find(library, file, "ModelRulesBroken", rulesBroken);
    Find(library, file, "ModelWatchdogBites", watchdogBites);
    Find(library, file, "ModelNanoseconds", nanoseconds);
    Find(library, file, "ModelPass", pass);
    Find(library, file, "ModelTicksPerMillisecond", ticksPerMillisecond);
    Find(library, file, "ModelRegisterPages", registerPages);
    Find(library, file, "ReadRegister", readRegister);
    Find(library, file, "WriteRegister", writeRegister);
}

std::unique_ptr<chip::Controller> ControllerFrom(const ModelLibrary& library, std::uint32_t flashAddress) {
    return std::make_unique<ModelledController>(library, flashAddress);
}

}  // namespace flash::flashloader_check

// Called by the model, from inside of one of its functions: none of them goes on.
extern "C" __attribute__((visibility("default"))) void ModelPowerIsLost() {
    throw flash::flashloader_check::PowerLoss{};
}
