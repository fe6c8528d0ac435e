#include "validator/simulation/SimulatedHost.h"

#include <algorithm>

namespace flash::simulation {
namespace {

constexpr char kNullText[] = "(null)";
constexpr std::uint32_t kProgramCounter = 527;

std::string TextOf(const char* text) { return text == nullptr ? kNullText : text; }

// A field of CCFG, placed as a device description does: for the generation's reference size.
std::string FieldPlace(const ChipModel& model, std::uint32_t fromEnd, std::uint32_t length) {
    const std::uint32_t referenceSize = model.sectorSize == 0x1000 ? 0x2'0000 : 0x5'8000;
    return HexText(referenceSize - fromEnd) + ":" + std::to_string(length);
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

SimulatedHost::SimulatedHost(const ChipModel& model)
    : memory(model),
      idCode(model.idCode),
      properties(DefaultProperties(model)),
      symbols({{"ResetISR", kEntryPoint},
               {"g_cfg", kBlocks},
               {"g_currBuf", kBlockInWork},
               {"g_buf1", kBuffers[0]},
               {"g_buf2", kBuffers[1]}}) {}

// The texts are copied first: a plug-in may hand back the very text that it was given.
HostCall& SimulatedHost::Note(Service service, const char* text, const char* secondText, const char* thirdText) {
    HostCall call;
    call.service = service;
    call.text = TextOf(text);
    call.secondText = TextOf(secondText);
    call.thirdText = TextOf(thirdText);
    calls.push_back(call);
    if (handedOut) {
        std::fill(handedOut->begin(), handedOut->end(), '#');
    }
    spoilt = std::move(handedOut);
    return calls.back();
}

const char* SimulatedHost::Failure() {
    const std::optional<std::string> text = failures.Strike(calls.back());
    return text ? HandOut(*text) : nullptr;
}

const char* SimulatedHost::HandOut(const std::string& text) {
    handedOut = std::make_unique<std::string>(text);
    return handedOut->c_str();
}

const char* SimulatedHost::GetProperty(const char* name) {
    const auto property = properties.find(Note(Service::GetProperty, name).text);
    return failures.Strike(calls.back()) || property == properties.end() ? nullptr : HandOut(property->second);
}

const char* SimulatedHost::SetProperty(const char* name, const char* value) {
    const HostCall& call = Note(Service::SetProperty, name, value);
    const char* error = Failure();
    if (error == nullptr) {
        properties[call.text] = call.secondText;
    }
    return error;
}

const char* SimulatedHost::LoadProgram(const char* fileName, const char* options, const char* searchDirectory) {
    Note(Service::LoadProgram, fileName, options, searchDirectory);
    const char* error = Failure();
    if (error == nullptr) {
        flashloader.Load();
    }
    return error;
}

const char* SimulatedHost::LookUpSymbol(const char* name, std::uint64_t* value) {
    const auto symbol = symbols.find(Note(Service::LookUpSymbol, name).text);
    const char* error = Failure();
    if (error != nullptr) {
        return error;
    }
    if (symbol == symbols.end()) {
        return HandOut("no symbol " + calls.back().text);
    }
    *value = symbol->second;
    return nullptr;
}

const char* SimulatedHost::RunTarget() {
    Note(Service::RunTarget);
    const char* error = Failure();
    if (error == nullptr) {
        flashloader.Run();
    }
    return error;
}

const char* SimulatedHost::HaltTarget() {
    Note(Service::HaltTarget);
    const char* error = Failure();
    if (error == nullptr) {
        flashloader.Halt();
    }
    return error;
}

HostCall& SimulatedHost::NoteMemory(Service service, std::size_t count, std::uint64_t address, std::uint16_t page,
                                    std::size_t elementSize) {
    HostCall& call = Note(service);
    call.address = address;
    call.number = count * elementSize;
    call.value = elementSize;
    call.page = page;
    return call;
}

const char* SimulatedHost::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                      std::size_t elementSize) {
    NoteMemory(Service::ReadMemory, count, address, page, elementSize);
    if (const char* error = Failure()) {
        return error;
    }
    flashloader.OnPoll(address);
    const bool isThere = memory.Read(address, {static_cast<std::uint8_t*>(buffer), count * elementSize});
    return isThere ? nullptr : HandOut("nothing to read at " + HexText(address));
}

const char* SimulatedHost::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                       std::size_t elementSize) {
    NoteMemory(Service::WriteMemory, count, address, page, elementSize);
    if (const char* error = Failure()) {
        return error;
    }
    if (!memory.Write(address, {static_cast<const std::uint8_t*>(buffer), count * elementSize})) {
        return HandOut("nothing to write at " + HexText(address));
    }
    flashloader.OnWritten(address, count * elementSize);
    return nullptr;
}

const char* SimulatedHost::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    Note(Service::ReadRegister).number = registerNumber;
    if (const char* error = Failure()) {
        return error;
    }
    if (registerNumber != 1 || route != "Sluice") {
        return HandOut("no register " + std::to_string(registerNumber) + " on route " + route);
    }
    *value = idCode;
    return nullptr;
}

const char* SimulatedHost::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    HostCall& call = Note(Service::WriteRegister);
    call.number = registerNumber;
    call.value = value;
    const char* error = Failure();
    if (error == nullptr && registerNumber == kProgramCounter) {
        flashloader.SetProgramCounter(value);
    }
    return error;
}

const char* SimulatedHost::ReportError(const char* text) {
    const std::string told = Note(Service::ReportError, text).text;
    const char* error = Failure();
    if (error == nullptr) {
        errors.push_back(told);
    }
    return error;
}

const char* SimulatedHost::PrintMessage(const char* text) {
    const std::string told = Note(Service::PrintMessage, text).text;
    const char* error = Failure();
    if (error == nullptr) {
        messages.push_back(told);
    }
    return error;
}

const char* SimulatedHost::GetDirectoryPath() {
    Note(Service::GetDirectoryPath);
    return failures.Strike(calls.back()) || !directory ? nullptr : HandOut(*directory);
}

const char* SimulatedHost::WaitMilliseconds(std::uint32_t milliseconds) {
    Note(Service::WaitMilliseconds).number = milliseconds;
    return Failure();
}

const char* SimulatedHost::SelectCore(const char* name) {
    const std::string chosen = Note(Service::SelectCore, name).text;
    const char* error = Failure();
    if (error == nullptr) {
        route = chosen;
    }
    return error;
}

void SimulatedHost::ForgetCalls() {
    calls.clear();
    messages.clear();
    errors.clear();
    flashloader.ForgetCommands();
}

std::vector<HostCall> SimulatedHost::CallsOf(Service service) const {
    std::vector<HostCall> result;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(result),
                 [service](const HostCall& call) { return call.service == service; });
    return result;
}

bool SimulatedHost::HasPrinted(const std::string& text) const {
    return std::find(messages.begin(), messages.end(), text) != messages.end();
}

}  // namespace flash::simulation
