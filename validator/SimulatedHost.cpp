#include "validator/SimulatedHost.h"

#include <algorithm>
#include <cstdio>

namespace flash::validator {
namespace {

constexpr char kNullText[] = "(null)";

constexpr const char* kServiceNames[] = {
    "GetProperty",      "SetProperty",      "LoadProgram",  "LookUpSymbol",  "RunTarget",   "HaltTarget",
    "ReadMemory",       "WriteMemory",      "ReadRegister", "WriteRegister", "ReportError", "PrintMessage",
    "GetDirectoryPath", "WaitMilliseconds", "SelectCore",   "reserved slot",
};

std::string TextOf(const char* text) { return text == nullptr ? kNullText : text; }

std::string Hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

// A field of CCFG, placed as a device description does: for the generation's reference size.
std::string FieldPlace(const ChipModel& model, std::uint32_t fromEnd, std::uint32_t length) {
    const std::uint32_t referenceSize = model.sectorSize == 0x1000 ? 0x2'0000 : 0x5'8000;
    return Hex(referenceSize - fromEnd) + ":" + std::to_string(length);
}

std::map<std::string, std::string> DefaultProperties(const ChipModel& model) {
    return {
        {"FlashEraseSetting", "Necessary Sectors Only"},
        {"FlashPageToggle", "0"},
        {"FlashPages", ""},
        {"WriteProtectionToggle", "0"},
        {"WriteProtectionText", ""},
        {"ProgramLoadEraseSpecificText", ""},
        {"StandaloneEraseSpecificText", ""},
        {"DeviceFlashloaderFile", "flashloader.out"},
        {"DeviceInfoRevisionTranslation", "0:1.0:RevA:1:2.0:RevB"},
        {"DeviceIeeePrimaryLoc", "0x50001200:8"},
        {"DeviceBlePrimaryLoc", "0x50001208:6"},
        {"DeviceIeeeSecondaryLoc", FieldPlace(model, 0x40, 8)},
        {"DeviceBleSecondaryLoc", FieldPlace(model, 0x38, 6)},
        {"DisableBootloaderLoc", FieldPlace(model, 0x2D, 1)},
        {"DisableCpuDapLoc", FieldPlace(model, 0x29, 1)},
        {"CCFG_PROT_31_0Loc", FieldPlace(model, 0x20, 8)},
    };
}

}  // namespace

const char* NameOf(Service service) { return kServiceNames[static_cast<std::size_t>(service)]; }

std::string HostCall::ToText() const {
    std::string result = NameOf(service);
    for (const std::string& part : {text, secondText, thirdText}) {
        result += " \"" + part + "\"";
    }
    for (const std::uint64_t part : {address, number, value, page}) {
        result += " " + Hex(part);
    }
    return result;
}

SimulatedHost::SimulatedHost(const ChipModel& model) : chip(model), properties(DefaultProperties(model)) {}

// The texts are copied first: a plug-in may hand back the very text that it was given.
HostCall& SimulatedHost::Note(Service service, const char* text, const char* secondText, const char* thirdText) {
    HostCall call{};
    call.service = service;
    call.text = TextOf(text);
    call.secondText = TextOf(secondText);
    call.thirdText = TextOf(thirdText);
    journal.push_back(call);
    DestroyHandedOut();
    return journal.back();
}

void SimulatedHost::NoteReserved(std::uint64_t slot) { Note(Service::Reserved).number = slot; }

void SimulatedHost::DestroyHandedOut() {
    if (handedOut) {
        std::fill(handedOut->begin(), handedOut->end(), '#');
        handedOut.reset();
    }
}

const char* SimulatedHost::HandOut(const std::string& text) {
    handedOut = std::make_unique<std::string>(text);
    return handedOut->c_str();
}

bool SimulatedHost::Fails(Service service) {
    const bool isChosen = failableCalls++ == failingCall || service == failingService;
    hasFailed = hasFailed || isChosen;
    return isChosen;
}

const char* SimulatedHost::Answer(bool isGood, const std::string& error) { return isGood ? nullptr : HandOut(error); }

const char* SimulatedHost::GetProperty(const char* name) {
    const auto property = properties.find(Note(Service::GetProperty, name).text);
    return property == properties.end() ? nullptr : HandOut(property->second);
}

const char* SimulatedHost::SetProperty(const char* name, const char* value) {
    const HostCall& call = Note(Service::SetProperty, name, value);
    if (Fails(Service::SetProperty)) {
        return HandOut(failureText);
    }
    properties[call.text] = call.secondText;
    return nullptr;
}

const char* SimulatedHost::LoadProgram(const char* fileName, const char* options, const char* searchDirectory) {
    Note(Service::LoadProgram, fileName, options, searchDirectory);
    if (Fails(Service::LoadProgram)) {
        return HandOut(failureText);
    }
    chip.LoadFlashloader();
    return nullptr;
}

const char* SimulatedHost::LookUpSymbol(const char* name, std::uint64_t* value) {
    const std::string symbol = Note(Service::LookUpSymbol, name).text;
    if (Fails(Service::LookUpSymbol)) {
        return HandOut(failureText);
    }
    const auto address = chip.AddressOfSymbol(symbol);
    if (address) {
        *value = *address;
    }
    return Answer(address.has_value(), "no symbol " + symbol);
}

const char* SimulatedHost::RunTarget() {
    Note(Service::RunTarget);
    if (Fails(Service::RunTarget)) {
        return HandOut(failureText);
    }
    chip.Run();
    return nullptr;
}

const char* SimulatedHost::HaltTarget() {
    Note(Service::HaltTarget);
    if (Fails(Service::HaltTarget)) {
        return HandOut(failureText);
    }
    chip.Halt();
    return nullptr;
}

const char* SimulatedHost::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                      std::size_t elementSize) {
    HostCall& call = Note(Service::ReadMemory);
    call.address = address;
    call.number = count * elementSize;
    call.value = elementSize;
    call.page = page;
    if (Fails(Service::ReadMemory)) {
        return HandOut(failureText);
    }
    const bool isThere = chip.Read(address, {static_cast<std::uint8_t*>(buffer), count * elementSize});
    return Answer(isThere, "nothing to read at " + Hex(address));
}

const char* SimulatedHost::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                       std::size_t elementSize) {
    HostCall& call = Note(Service::WriteMemory);
    call.address = address;
    call.number = count * elementSize;
    call.value = elementSize;
    call.page = page;
    if (Fails(Service::WriteMemory)) {
        return HandOut(failureText);
    }
    const bool isThere = chip.Write(address, {static_cast<const std::uint8_t*>(buffer), count * elementSize});
    return Answer(isThere, "nothing to write at " + Hex(address));
}

const char* SimulatedHost::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    Note(Service::ReadRegister).number = registerNumber;
    if (Fails(Service::ReadRegister)) {
        return HandOut(failureText);
    }
    const bool isIdCode = registerNumber == 1 && route == "Sluice";
    if (isIdCode) {
        *value = chip.model.idCode;
    }
    return Answer(isIdCode, "no register " + std::to_string(registerNumber) + " on route " + route);
}

const char* SimulatedHost::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    HostCall& call = Note(Service::WriteRegister);
    call.number = registerNumber;
    call.value = value;
    return Fails(Service::WriteRegister) ? HandOut(failureText) : nullptr;
}

const char* SimulatedHost::ReportError(const char* text) {
    errors.push_back(Note(Service::ReportError, text).text);
    if (Fails(Service::ReportError)) {
        return HandOut(failureText);
    }
    return nullptr;
}

const char* SimulatedHost::PrintMessage(const char* text) {
    messages.push_back(Note(Service::PrintMessage, text).text);
    if (Fails(Service::PrintMessage)) {
        return HandOut(failureText);
    }
    return nullptr;
}

const char* SimulatedHost::GetDirectoryPath() {
    Note(Service::GetDirectoryPath);
    return HandOut(directory);
}

const char* SimulatedHost::WaitMilliseconds(std::uint32_t milliseconds) {
    Note(Service::WaitMilliseconds).number = milliseconds;
    return Fails(Service::WaitMilliseconds) ? HandOut(failureText) : nullptr;
}

const char* SimulatedHost::SelectCore(const char* name) {
    const std::string chosen = Note(Service::SelectCore, name).text;
    if (Fails(Service::SelectCore)) {
        return HandOut(failureText);
    }
    route = chosen;
    return nullptr;
}

void SimulatedHost::ForgetCalls() {
    journal.clear();
    messages.clear();
    errors.clear();
    chip.ForgetCommands();
    failableCalls = 0;
    failingCall.reset();
    failingService.reset();
    hasFailed = false;
}

std::vector<HostCall> SimulatedHost::CallsOf(Service service) const {
    std::vector<HostCall> calls;
    std::copy_if(journal.begin(), journal.end(), std::back_inserter(calls),
                 [service](const HostCall& call) { return call.service == service; });
    return calls;
}

bool SimulatedHost::HasPrinted(const std::string& text) const {
    return std::find(messages.begin(), messages.end(), text) != messages.end();
}

}  // namespace flash::validator
