#include "tests/support/FakeHost.h"

#include <algorithm>
#include <utility>

namespace flash::test {
namespace {

constexpr std::uint32_t kProgramCounter = 527;

HostCall MemoryCall(Slot slot, std::size_t count, std::uint64_t address, std::uint16_t page, std::size_t elementSize) {
    HostCall call{slot, {}};
    call.number = address;
    call.count = count;
    call.elementSize = elementSize;
    call.page = page;
    return call;
}

HostCall NumberCall(Slot slot, std::uint64_t number, std::uint64_t value = 0) {
    HostCall call{slot, {}};
    call.number = number;
    call.value = value;
    return call;
}

}  // namespace

void FakeHost::FailNth(Slot slot, std::size_t n, const std::string& text) { Plan({slot, "", n, false, text}); }

void FakeHost::FailNthOfAny(std::size_t n, const std::string& text) { Plan({std::nullopt, "", n, false, text}); }

void FakeHost::FailAllFrom(std::size_t n, const std::string& text) { Plan({std::nullopt, "", n, true, text}); }

void FakeHost::HideProperty(const std::string& name, std::size_t n) { Plan({Slot::GetProperty, name, n, false, ""}); }

void FakeHost::Plan(Failure failure) {
    lastFailure.reset();
    failures.push_back(std::move(failure));
}

void FakeHost::ClearRecord() {
    calls.clear();
    messages.clear();
    errors.clear();
}

std::size_t FakeHost::CountOf(Slot slot) const {
    return static_cast<std::size_t>(
        std::count_if(calls.begin(), calls.end(), [&](const HostCall& call) { return call.slot == slot; }));
}

const char* FakeHost::Begin(HostCall call) {
    if (lent) {
        std::fill(lent->begin(), lent->end(), '#');
    }
    spoilt = std::move(lent);
    const char* error = PlannedError(call);
    if (isRecording) {
        calls.push_back(std::move(call));
    }
    return error;
}

const char* FakeHost::PlannedError(const HostCall& call) {
    for (auto failure = failures.begin(); failure != failures.end(); ++failure) {
        const bool matches = (!failure->slot || *failure->slot == call.slot) &&
                             (failure->property.empty() || failure->property == call.texts.at(0));
        if (!matches || --failure->callsLeft != 0) {
            continue;
        }
        lastFailure = call.slot;
        const bool isLater = !failure->slot && failure->strikes++ != 0;
        const char* error = Lend(failure->text + (isLater ? " +" + std::to_string(failure->strikes - 1) : ""));
        if (failure->isLasting) {
            failure->callsLeft = 1;
        } else {
            failures.erase(failure);
        }
        return error;
    }
    return nullptr;
}

const char* FakeHost::Lend(const std::string& text) {
    lent = std::make_unique<std::string>(text);
    return lent->c_str();
}

const char* FakeHost::GetProperty(const char* name) {
    if (Begin({Slot::GetProperty, {name}}) != nullptr) {
        return nullptr;
    }
    const auto found = properties.find(name);
    return found == properties.end() ? nullptr : Lend(found->second);
}

const char* FakeHost::SetProperty(const char* name, const char* value) {
    const char* error = Begin({Slot::SetProperty, {name, value}});
    if (error == nullptr) {
        properties[name] = value;
    }
    return error;
}

const char* FakeHost::LoadProgram(const char* fileName, const char* options, const char* directoryPath) {
    const char* error = Begin({Slot::LoadProgram, {fileName, options, directoryPath}});
    if (error == nullptr && program != nullptr) {
        program->OnLoad();
    }
    return error;
}

const char* FakeHost::LookUpSymbol(const char* name, std::uint64_t* value) {
    const char* error = Begin({Slot::LookUpSymbol, {name}});
    if (error != nullptr) {
        return error;
    }
    if (!givesValues) {
        return nullptr;
    }
    const auto found = symbols.find(name);
    if (found == symbols.end()) {
        return Lend("No symbol " + std::string(name));
    }
    *value = found->second;
    return nullptr;
}

const char* FakeHost::RunTarget() {
    const char* error = Begin({Slot::RunTarget, {}});
    if (error == nullptr && program != nullptr) {
        program->OnRun();
    }
    return error;
}

const char* FakeHost::HaltTarget() {
    const char* error = Begin({Slot::HaltTarget, {}});
    if (error == nullptr && program != nullptr) {
        program->OnHalt();
    }
    return error;
}

const char* FakeHost::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                 std::size_t elementSize) {
    const char* error = Begin(MemoryCall(Slot::ReadMemory, count, address, page, elementSize));
    if (error == nullptr && givesValues) {
        const auto start = static_cast<std::uint32_t>(address);
        if (program != nullptr) {
            program->OnMemoryRead(start, count * elementSize);
        }
        memory.Read(start, buffer, count * elementSize);
    }
    return error;
}

const char* FakeHost::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                  std::size_t elementSize) {
    const char* error = Begin(MemoryCall(Slot::WriteMemory, count, address, page, elementSize));
    if (error == nullptr) {
        const auto start = static_cast<std::uint32_t>(address);
        memory.Write(start, buffer, count * elementSize);
        if (program != nullptr) {
            program->OnMemoryWritten(start, count * elementSize);
        }
    }
    return error;
}

const char* FakeHost::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    const char* error = Begin(NumberCall(Slot::ReadRegister, registerNumber));
    if (error != nullptr) {
        return error;
    }
    if (!givesValues) {
        return nullptr;
    }
    const auto found = routerRegisters.find(registerNumber);
    if (found == routerRegisters.end()) {
        return Lend("No register " + std::to_string(registerNumber));
    }
    *value = found->second;
    return nullptr;
}

const char* FakeHost::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    const char* error = Begin(NumberCall(Slot::WriteRegister, registerNumber, value));
    if (error == nullptr && program != nullptr && registerNumber == kProgramCounter) {
        program->OnProgramCounterWritten(value);
    }
    return error;
}

const char* FakeHost::ReportError(const char* text) {
    const char* error = Begin({Slot::ReportError, {text}});
    if (error == nullptr) {
        errors.emplace_back(text);
    }
    return error;
}

const char* FakeHost::PrintMessage(const char* text) {
    const char* error = Begin({Slot::PrintMessage, {text}});
    if (error == nullptr) {
        messages.emplace_back(text);
    }
    return error;
}

const char* FakeHost::GetDirectoryPath() {
    const char* error = Begin({Slot::GetDirectoryPath, {}});
    return error != nullptr || !directory ? nullptr : Lend(*directory);
}

const char* FakeHost::WaitMilliseconds(std::uint32_t milliseconds) {
    return Begin(NumberCall(Slot::WaitMilliseconds, milliseconds));
}

const char* FakeHost::SelectCore(const char* name) {
    const char* error = Begin({Slot::SelectCore, {name}});
    if (error == nullptr) {
        core = name;
    }
    return error;
}

}  // namespace flash::test
