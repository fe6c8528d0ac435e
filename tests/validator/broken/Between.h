// Stands between a host and the real plug-in's code and passes every call on. A bug puts something else in the place of
// one service or one operation, so that exactly one promise is broken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "flashdevice/interface/IFlashDevice2.h"

namespace flash::broken {

// The 20 bytes of a command block on their way to the target.
struct Block {
    std::uint32_t address;
    std::uint32_t length;
    std::uint32_t command;
    std::uint32_t crc;
    std::uint32_t status;
};

// What a bug may replace; what is empty is passed on.
struct Replacements {
    using Text = const char*;
    std::function<Text(Text deviceName)> create;
    std::function<Text(Text name)> getProperty;
    std::function<Text(Text name, Text value)> setProperty;
    std::function<Text(Text fileName, Text options, Text directory)> loadProgram;
    std::function<Text()> runTarget;
    std::function<Text()> haltTarget;
    std::function<Text(void* buffer, std::size_t count, std::uint64_t address, std::size_t elementSize)> readMemory;
    std::function<Text(std::string bytes, std::uint64_t address)> writeMemory;  // but for blocks
    std::function<Text(Block block, std::uint64_t address)> post;
    std::function<Text(std::uint32_t registerNumber, std::uint64_t* value)> readRegister;
    std::function<Text(Text text)> reportError;
    std::function<Text(Text text)> printMessage;
    std::function<Text(std::uint32_t milliseconds)> waitMilliseconds;
    std::function<Text(Text name)> selectCore;

    std::function<Text(bool* ready, Text* operations)> initialize;
    std::function<Text(std::uint64_t address, bool* result)> isAddressInFlash;
    std::function<Text(std::uint64_t address, std::uint32_t lengthBytes, bool* result)> isRangeInFlash;
    std::function<Text(std::uint64_t dataType)> setTargetDataType;
    std::function<Text(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes)> write;
    std::function<Text(Text name)> execute;
    std::function<Text(std::int64_t phase)> notifyPhase;
    std::function<Text(std::uint64_t address, bool* result)> handlesVerification;
    std::function<void()> release;  // before the device goes
};

class Between final : public IFlashHost, public IFlashDevice2 {
public:
    Between(IFlashHost& realHost, const char* second, const char* third)
        : host(realHost), secondText(second), thirdText(third) {}
    virtual ~Between() = default;

    IFlashHost& host;
    const char* secondText;
    const char* thirdText;
    IFlashDevice2* device = nullptr;
    Replacements instead;
    std::string operation;  // in work: "Write", "NotifyPhase 2", "Execute Erase"
    std::string posted;     // in this operation: the codes of the commands, a digit each
    unsigned pauses = 0;    // in this operation

    // The factory's work.
    const char* Create(const char* deviceName);

    const char* GetProperty(const char* name) override {
        return instead.getProperty ? instead.getProperty(name) : host.GetProperty(name);
    }
    const char* SetProperty(const char* name, const char* value) override {
        return instead.setProperty ? instead.setProperty(name, value) : host.SetProperty(name, value);
    }
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override {
        return instead.loadProgram ? instead.loadProgram(fileName, options, directory)
                                   : host.LoadProgram(fileName, options, directory);
    }
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override { return host.LookUpSymbol(name, value); }
    const char* RunTarget() override { return instead.runTarget ? instead.runTarget() : host.RunTarget(); }
    void Reserved5() override {}
    const char* HaltTarget() override { return instead.haltTarget ? instead.haltTarget() : host.HaltTarget(); }
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override {
        return instead.readMemory ? instead.readMemory(buffer, count, address, elementSize)
                                  : host.ReadMemory(buffer, count, address, page, elementSize);
    }
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                            std::size_t) override {
        if (count != sizeof(Block)) {
            const std::string bytes(static_cast<const char*>(buffer), count);
            return instead.writeMemory ? instead.writeMemory(bytes, address) : Send(bytes, address);
        }
        Block block{};
        std::memcpy(&block, buffer, sizeof block);
        const char* error = instead.post ? instead.post(block, address) : Post(block, address);
        posted += static_cast<char>('0' + (block.command & 0xF));
        return error;
    }
    const char* Send(const std::string& bytes, std::uint64_t address) {
        return host.WriteMemory(bytes.data(), bytes.size(), address, 1, 1);
    }
    const char* Post(const Block& block, std::uint64_t address) {
        return host.WriteMemory(&block, sizeof block, address, 1, 1);
    }
    void Reserved12() override {}
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override {
        return instead.readRegister ? instead.readRegister(registerNumber, value)
                                    : host.ReadRegister(registerNumber, value);
    }
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override {
        return host.WriteRegister(registerNumber, value);
    }
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    const char* ReportError(const char* message) override {
        return instead.reportError ? instead.reportError(message) : host.ReportError(message);
    }
    const char* PrintMessage(const char* message) override {
        return instead.printMessage ? instead.printMessage(message) : host.PrintMessage(message);
    }
    const char* GetDirectoryPath() override { return host.GetDirectoryPath(); }
    const char* WaitMilliseconds(std::uint32_t milliseconds) override {
        ++pauses;
        return instead.waitMilliseconds ? instead.waitMilliseconds(milliseconds) : host.WaitMilliseconds(milliseconds);
    }
    void Reserved23() override {}
    void Reserved24() override {}
    void Reserved25() override {}
    void Reserved26() override {}
    const char* SelectCore(const char* name) override {
        return instead.selectCore ? instead.selectCore(name) : host.SelectCore(name);
    }

    const char* Initialize(bool* ready, const char** operations) override {
        Begin("Initialize");
        return instead.initialize ? instead.initialize(ready, operations) : device->Initialize(ready, operations);
    }
    const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
        Begin("IsAddressInFlash");
        return instead.isAddressInFlash ? instead.isAddressInFlash(address, result)
                                        : device->IsAddressInFlash(address, result);
    }
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
        Begin("IsRangeInFlash");
        return instead.isRangeInFlash ? instead.isRangeInFlash(address, lengthBytes, result)
                                      : device->IsRangeInFlash(address, lengthBytes, result);
    }
    const char* SetTargetDataType(std::uint64_t dataType) override {
        Begin("SetTargetDataType");
        return instead.setTargetDataType ? instead.setTargetDataType(dataType) : device->SetTargetDataType(dataType);
    }
    const char* Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) override {
        Begin("Write");
        return instead.write ? instead.write(data, address, lengthBytes) : device->Write(data, address, lengthBytes);
    }
    const char* Execute(const char* name) override {
        Begin(std::string("Execute ") + name);
        return instead.execute ? instead.execute(name) : device->Execute(name);
    }
    const char* NotifyPhase(std::int64_t phase) override {
        Begin("NotifyPhase " + std::to_string(phase));
        return instead.notifyPhase ? instead.notifyPhase(phase) : device->NotifyPhase(phase);
    }
    const char* HandlesVerification(std::uint64_t address, bool* result) override {
        Begin("HandlesVerification");
        return instead.handlesVerification ? instead.handlesVerification(address, result)
                                           : device->HandlesVerification(address, result);
    }
    const char* Release() override {
        if (instead.release) {
            instead.release();
        }
        device->Release();
        delete this;
        return nullptr;
    }

private:
    void Begin(const std::string& name) {
        operation = name;
        posted.clear();
        pauses = 0;
    }
};

// One bug, by the name of the check that must see it, or by a name of its own.
struct Bug {
    const char* name;
    void (*plant)(Between& between);
};

// Nothing for a name that none of the files has.
using Planting = std::function<void(Between&)>;
Planting FindTextBug(std::string_view name);
Planting FindCommandBug(std::string_view name);
Planting FindCallBug(std::string_view name);

template <typename Bugs>
Planting FindIn(const Bugs& bugs, std::string_view name) {
    for (const Bug& bug : bugs) {
        if (name == bug.name) {
            return bug.plant;
        }
    }
    return nullptr;
}

}  // namespace flash::broken
