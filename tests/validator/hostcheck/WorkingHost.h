// A host that keeps every rule, to be broken in one place: its services can be overridden, and its work is made of
// steps.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "flashdevice/boundary/PluginFactory.h"
#include "validator/hostcheck/CheckModule.h"
#include "validator/simulation/SimulatedHost.h"

namespace flash::hostcheck {

// Each service goes to the simulated host behind it, or first to the hook that a test sets: a hook that gives a text,
// or null, has answered.
class WorkingHost final : public IFlashHost {
public:
    using Answer = std::optional<const char*>;
    static constexpr std::nullopt_t kGoOn = std::nullopt;

    struct Memory {
        unsigned char* bytes;
        std::size_t count;
        std::uint64_t address;
        std::size_t size;
    };

    WorkingHost() : chip(simulation::kSecondGeneration) {
        chip.properties["StandaloneEraseSpecificText"] = "0-1";
        chip.flashloader.AnswerCommand(5, simulation::AnswerAfterPolls(3));  // still in work when nobody waits
    }

    const char* GetProperty(const char* name) override {
        return Ask(
            onGet, [&] { return chip.GetProperty(name); }, name);
    }
    const char* SetProperty(const char* name, const char* value) override {
        return Ask(
            onSet, [&] { return chip.SetProperty(name, value); }, name, value);
    }
    const char* LoadProgram(const char* file, const char* options, const char* directory) override {
        return Ask(
            onLoad, [&] { return chip.LoadProgram(file, options, directory); }, directory);
    }
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override {
        return Ask(
            onLookUp, [&] { return chip.LookUpSymbol(name, value); }, name, value);
    }
    const char* RunTarget() override {
        return Ask(onRun, [&] { return chip.RunTarget(); });
    }
    const char* HaltTarget() override {
        return Ask(onHalt, [&] { return chip.HaltTarget(); });
    }
    // The hook sees what was read.
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t size) override {
        const std::vector<unsigned char> before(static_cast<unsigned char*>(buffer),
                                                static_cast<unsigned char*>(buffer) + count * size);
        const char* error = chip.ReadMemory(buffer, count, address, page, size);
        if (onRead && error == nullptr) {
            onRead({static_cast<unsigned char*>(buffer), count, address, size}, before);
        }
        return error;
    }
    // The hook comes behind the write, and may spoil the plug-in's buffer.
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t size) override {
        const char* error = chip.WriteMemory(buffer, count, address, page, size);
        if (onWritten) {
            onWritten({static_cast<unsigned char*>(const_cast<void*>(buffer)), count, address, size});
        }
        return error;
    }
    const char* ReadRegister(std::uint32_t number, std::uint64_t* value) override {
        return Ask(
            onReadRegister, [&] { return chip.ReadRegister(number, value); }, value);
    }
    const char* WriteRegister(std::uint32_t number, std::uint64_t value) override {
        return Ask(
            onWriteRegister, [&] { return chip.WriteRegister(number, value); }, value);
    }
    const char* ReportError(const char* text) override { return chip.ReportError(text); }
    const char* PrintMessage(const char* text) override {
        return Ask(onPrint, [&] { return chip.PrintMessage(text); });
    }
    const char* GetDirectoryPath() override { return chip.GetDirectoryPath(); }
    const char* WaitMilliseconds(std::uint32_t milliseconds) override {
        return Ask(onWait, [&] { return chip.WaitMilliseconds(milliseconds); });
    }
    const char* SelectCore(const char* name) override {
        return Ask(
            onSelect, [&] { return chip.SelectCore(name); }, name);
    }

    void Reserved5() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    void Reserved12() override {}
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    void Reserved23() override {}
    void Reserved24() override {}
    void Reserved25() override {}
    void Reserved26() override {}

    simulation::SimulatedHost chip;
    std::function<Answer(std::string)> onGet, onLoad, onSelect;
    std::function<Answer(std::string, const char*)> onSet;
    std::function<Answer(std::string, std::uint64_t*)> onLookUp;
    std::function<Answer()> onRun, onHalt, onPrint, onWait;
    std::function<void(Memory, const std::vector<unsigned char>& before)> onRead;
    std::function<void(Memory)> onWritten;
    std::function<Answer(std::uint64_t*)> onReadRegister;
    std::function<Answer(std::uint64_t)> onWriteRegister;

private:
    template <typename Hook, typename Usual, typename... Arguments>
    const char* Ask(const Hook& hook, Usual usual, Arguments... arguments) {
        const Answer answer = hook ? hook(arguments...) : kGoOn;
        return answer ? *answer : usual();
    }
};

// What a host does with a device, step by step; a broken host leaves one out, or does it otherwise.
class Work {
public:
    Work(CheckModule& checker, IFlashHost& services) : module(checker), host(services) {}

    const char* Create(const char* name = "LumoF20") { return module.Create(name, "", "", &host, &device); }
    const char* Initialize() {
        bool isReady = false;
        const char* names = nullptr;
        return device->Initialize(&isReady, &names);
    }
    const char* Write(std::uint64_t address, std::size_t lengthBytes) {
        const std::vector<unsigned char> data(lengthBytes + 1, 0x42);
        return device->Write(data.data(), address, static_cast<std::uint32_t>(lengthBytes));
    }
    void Ask() {
        bool result = false;
        device->IsAddressInFlash(0, &result);
        device->IsRangeInFlash(0, 0x2000, &result);
        device->HandlesVerification(0, &result);
    }
    void Load() {
        if (device->NotifyPhase(1) == nullptr) {
            Write(0, 0x4000) == nullptr ? Write(0x4000, 0x2000) : nullptr;
            device->NotifyPhase(2);
        }
    }
    void LoadBlindly() {
        device->NotifyPhase(1);
        Write(0, 0x4000);
        Write(0x4000, 0x2000);
        device->NotifyPhase(2);
    }
    void Operate() {
        device->Execute("BlankCheck");
        device->Execute("EraseSectors");
        device->Execute("ReadPriBle");
        device->Execute("Erase");
    }
    const char* Start() {
        const char* error = Create();
        return error == nullptr ? Initialize() : error;
    }
    void All() {
        if (Start() == nullptr) {
            Ask();
            Load();
            Operate();
        }
        device->Release();
    }

    CheckModule& module;
    IFlashHost& host;
    IFlashDevice2* device = nullptr;
};

}  // namespace flash::hostcheck
