// The chip as a whole: memories, controller and core under one clock, reached over the debug link.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "chip/ChipLog.h"
#include "chip/Controller.h"
#include "chip/CoreControl.h"
#include "chip/EmulatedCore.h"
#include "chip/FaultPlan.h"
#include "chip/FlashArray.h"
#include "chip/FlashController.h"
#include "chip/PageBytes.h"
#include "chip/Random.h"
#include "chip/Sram.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

class VirtualChip::Machine final : public CoreBus {
public:
    explicit Machine(const Settings& chipSettings, std::unique_ptr<Controller> otherController = nullptr);

    // The debug link (DebugLink.cpp)
    void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::uint32_t elementSize);
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::uint32_t elementSize);
    std::uint32_t ReadCoreRegister(CoreRegister number);
    void WriteCoreRegister(CoreRegister number, std::uint32_t value);
    void Halt();
    void Run();
    bool IsRunning();
    std::uint32_t ReadIdentificationCode();

    // Time (Clock.cpp)
    void Pause(Nanoseconds duration);
    bool PauseWhileWordIs(std::uint32_t address, std::uint32_t value, Nanoseconds bound);
    bool PauseUntil(const std::function<bool()>& condition, Nanoseconds bound, Nanoseconds step);

    // Power and reset (Power.cpp)
    void PowerOff();
    void PowerOn();
    void Reset();

    // Debugging (Debugging.cpp)
    void Allow(Execution execution);
    void InsertBreakpoint(std::uint32_t address);
    void RemoveBreakpoint(std::uint32_t address);
    void StepInstruction();
    bool PauseWhileRunning(Nanoseconds bound);
    void Restart();

    // Looking inside (Machine.cpp)
    std::vector<std::uint8_t> PeekMemory(std::uint32_t address, std::uint32_t length) const;
    std::uint32_t PeekWord(std::uint32_t address) const;
    void PlaceInFlash(std::uint32_t address, std::span<const std::uint8_t> bytes);
    const Counters& GetCounters();
    void ObserveSram(std::uint32_t address, std::uint32_t length, std::function<void(const SramWrite&)> newObserver);
    void Arm(Fault fault, std::uint64_t at);
    void ArmBit(void (FlashArray::*defect)(std::uint32_t, unsigned), std::uint32_t address, unsigned bit);

    Settings settings;  // complete, without the initial flash
    Random random;
    ChipLog log;
    FaultPlan faults;
    FlashArray flashArray;
    Nanoseconds now{0};
    CoreState state = CoreState::Halted;
    bool isPowered = false;
    bool isDebugPortDisabled = false;
    std::string troubleText;

private:
    struct Transfer {
        EventKind kind;
        std::uint32_t address;
        std::size_t bytes;
        std::string text;  // what it does, to go behind "cannot"
        bool needsDebugPort = true;
    };
    enum class Region : std::uint8_t { None, Flash, Sram, CcfgWindow, Factory };
    struct Place {
        Region region = Region::None;
        std::uint32_t offset = 0;  // in the region
        std::span<const std::uint8_t> bytes;
    };

    // The core's side
    std::uint32_t LoadRegister(std::uint32_t address, std::uint32_t size) override;
    void StoreRegister(std::uint32_t address, std::uint32_t size, std::uint32_t value) override;
    void OnUnalignedRegisterAccess(std::uint32_t address) override;
    void OnReadOnlyMemoryRead(std::uint32_t address) override;
    void OnUnwrittenSramRead(std::uint32_t address) override;

    std::uint64_t CycleAt(Nanoseconds at) const;
    std::uint32_t LoadRegisterWord(std::uint32_t address, Nanoseconds at);
    ControllerSignals StoreRegisterWord(std::uint32_t address, std::uint32_t value, Nanoseconds at);
    Place Find(std::uint32_t address, std::size_t length) const;

    // The link
    bool IsInRegisterPage(std::uint32_t address, std::size_t bytes) const;
    void RequireReachable(const Transfer& transfer) const;
    void Perform(const Transfer& transfer);
    Nanoseconds DurationOf(const Transfer& transfer) const;
    void RequireRegisterAccess(const Transfer& transfer, std::uint32_t elementSize);
    void CheckRead(const Place& place, std::uint32_t address);
    void WriteSram(const Transfer& transfer, std::span<const std::uint8_t> bytes);
    void RequireHalted(const std::string& text) const;
    void ReadRegisters(std::uint32_t address, std::span<std::uint8_t> bytes);
    void WriteRegisters(std::uint32_t address, std::span<const std::uint8_t> bytes);
    void StoreInSram(std::uint32_t offset, std::span<const std::uint8_t> bytes);

    // The clock
    void AdvanceTo(Nanoseconds target);
    void Step(Nanoseconds target);
    Nanoseconds After(Nanoseconds duration) const;
    void Obey(const ControllerSignals& signals);
    void LetTheWatchdogBite();
    void LockUp(std::uint32_t address, const std::string& text);
    void StopCore(CoreState next);

    // Power
    void LosePower();
    void Boot();

    PageBytes factory;
    Sram sram;
    std::unique_ptr<Controller> controller;
    std::vector<std::uint32_t> registerPages;
    std::unique_ptr<EmulatedCore> core;
    Nanoseconds runStart{0};
    std::uint32_t runAddress = 0;
    CoreControl coreControl;
    ControllerSignals pendingSignals;  // raised by the core's own stores
    std::function<void(const SramWrite&)> observer;
    AddressRange observed;
};

}  // namespace flash::chip
