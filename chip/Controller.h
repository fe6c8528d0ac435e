// A flash controller as the chip reaches it: its own one, or one that somebody else has modelled. Registers, an
// operation on its way, and the flash that it changes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "chip/VirtualChip.h"

namespace flash::chip {

// What a step of the controller asks of the rest of the chip.
struct ControllerSignals {
    bool powerIsLost = false;
    bool coreStops = false;
    bool watchdogBites = false;
};

class Controller {
public:
    virtual ~Controller() = default;
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // The pages that its registers lie in, and where the core reads flash.
    virtual std::vector<std::uint32_t> RegisterPages() const = 0;
    virtual std::uint32_t FlashAddress() const { return 0; }

    // The chip's own bytes of flash, which are to read as the controller's from then on.
    virtual void Attach(std::span<std::uint8_t>) {}
    // As a factory would.
    virtual void Place(std::uint32_t, std::span<const std::uint8_t>) {}
    // False when the chip's own plan of faults is to strike.
    virtual bool Arm(Fault, std::uint64_t) { return false; }

    // Whatever ran before must have been aborted.
    virtual void PowerUp() = 0;

    // An address that is no register of the controller, or not in this direction, is a misuse: reads as 0, does
    // nothing.
    virtual std::uint32_t Load(std::uint32_t address, Nanoseconds now) = 0;
    virtual ControllerSignals Store(std::uint32_t address, std::uint32_t value, Nanoseconds now) = 0;

    // An operation changes flash right now, whatever the registers say.
    virtual bool IsBusy() const = 0;
    // How long the access before held up the core.
    virtual Nanoseconds LoadStall(std::uint32_t address, Nanoseconds now) const = 0;
    virtual Nanoseconds StoreStall(Nanoseconds) const { return Nanoseconds::zero(); }

    // When the core has run for too long unfed since then; `Nanoseconds::max()` without a watchdog, and for one that
    // tells by a signal.
    virtual Nanoseconds WatchdogBites(Nanoseconds runningSince) const = 0;

    // When the running operation ends; `Nanoseconds::max()` if none does.
    virtual Nanoseconds NextEvent() const = 0;
    // Ends the running operation if its time has come.
    virtual ControllerSignals AdvanceTo(Nanoseconds now) = 0;
    // Tears the running operation, if any: a reset or a loss of power from outside.
    virtual void Abort(Nanoseconds now) = 0;

protected:
    Controller() = default;
};

}  // namespace flash::chip
