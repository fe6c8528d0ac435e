// Texts are handed over as copies that are overwritten when the service has returned, so that a host that keeps the
// pointer reads something else.
#include "validator/hostcheck/HostCalls.h"

#include <algorithm>

#include "validator/hostcheck/Memory.h"

namespace flash::hostcheck {
namespace {

struct Slot {
    std::size_t number;
    const char* name;
};

constexpr Slot kSlots[] = {{0, "GetProperty"},       {1, "SetProperty"},       {2, "LoadProgram"},
                           {3, "LookUpSymbol"},      {4, "RunTarget"},         {6, "HaltTarget"},
                           {10, "ReadMemory"},       {11, "WriteMemory"},      {13, "ReadRegister"},
                           {14, "WriteRegister"},    {19, "ReportError"},      {20, "PrintMessage"},
                           {21, "GetDirectoryPath"}, {22, "WaitMilliseconds"}, {27, "SelectCore"}};

void Spoil(std::string& text) { std::fill(text.begin(), text.end(), '?'); }

}  // namespace

std::string EmptySlots(const IFlashHost* host) {
    std::string empty;
    for (const Slot& slot : kSlots) {
        if (FunctionInSlot(host, slot.number) == nullptr) {
            empty += (empty.empty() ? "slot " : ", slot ") + std::to_string(slot.number) + " " + slot.name;
        }
    }
    return empty;
}

HostCalls::HostCalls(IFlashHost* services, Findings& found)
    : host(services), findings(found), firstFunction(FunctionInSlot(services, 0)) {}

bool HostCalls::IsHostAlive() const { return firstFunction == nullptr || FunctionInSlot(host, 0) == firstFunction; }

void HostCalls::EndOperation() {
    SeeLent("later");
    ForgetText();
}

void HostCalls::SeeLent(const char* when) {
    if (lent.place != nullptr) {
        findings.See(
            lent.rule, lent.text.StillStandsAt(lent.place),
            std::string(lent.service) + " gave \"" + lent.text.Text() + "\", and something else stood there " + when);
    }
}

// A text that is already freed is noticed when its memory is used for something else, so that is made to happen.
void HostCalls::Lend(Rule rule, const char* service, const char* place) {
    lent.rule = rule;
    lent.service = service;
    lent.place = place;
    if (place != nullptr) {
        lent.text.Take(place);
        UseFreedMemory();
        SeeLent("at once");
    }
}

template <typename Call>
const char* HostCalls::Ask(std::size_t slot, const char* service, const char* refusal, Call call) {
    EndOperation();
    if (FunctionInSlot(host, slot) == nullptr) {
        return refusal;
    }
    try {
        const char* answer = call();
        findings.See(Rule::ServiceNeverThrows, true, "");
        return answer;
    } catch (...) {  // whatever it is: it must not reach the plug-in
        findings.See(Rule::ServiceNeverThrows, false, std::string(service) + " threw");
        return refusal;
    }
}

template <typename Call>
const char* HostCalls::ErrorOf(std::size_t slot, const char* service, Call call) {
    const char* answer = Ask(slot, service, "The host has no such service, or it threw", call);
    if (answer == nullptr) {
        return nullptr;
    }
    Lend(Rule::ErrorTextLives, service, answer);
    error = lent.text.Text();
    findings.See(Rule::ErrorTextSays, !error.empty(), std::string(service) + " failed with an empty text");
    return error.c_str();
}

std::optional<std::string> HostCalls::GetProperty(const std::string& name) {
    std::string lentName = name;
    const char* text = Ask(0, "GetProperty", nullptr, [&] { return host->GetProperty(lentName.c_str()); });
    Spoil(lentName);
    Lend(Rule::PropertyTextLives, "GetProperty", text);
    return text == nullptr ? std::nullopt : std::optional(lent.text.Text());
}

const char* HostCalls::SetProperty(std::string& name, std::string& value) {
    return ErrorOf(1, "SetProperty", [&] { return host->SetProperty(name.c_str(), value.c_str()); });
}

const char* HostCalls::LoadProgram(std::string fileName, std::string options, std::string directory) {
    return ErrorOf(2, "LoadProgram",
                   [&] { return host->LoadProgram(fileName.c_str(), options.c_str(), directory.c_str()); });
}

const char* HostCalls::LookUpSymbol(std::string name, std::uint64_t* value) {
    return ErrorOf(3, "LookUpSymbol", [&] { return host->LookUpSymbol(name.c_str(), value); });
}

const char* HostCalls::RunTarget() {
    return ErrorOf(4, "RunTarget", [&] { return host->RunTarget(); });
}

const char* HostCalls::HaltTarget() {
    return ErrorOf(6, "HaltTarget", [&] { return host->HaltTarget(); });
}

const char* HostCalls::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                  std::size_t elementSize) {
    return ErrorOf(10, "ReadMemory", [&] { return host->ReadMemory(buffer, count, address, page, elementSize); });
}

const char* HostCalls::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                   std::size_t elementSize) {
    return ErrorOf(11, "WriteMemory", [&] { return host->WriteMemory(buffer, count, address, page, elementSize); });
}

const char* HostCalls::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    return ErrorOf(13, "ReadRegister", [&] { return host->ReadRegister(registerNumber, value); });
}

const char* HostCalls::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    return ErrorOf(14, "WriteRegister", [&] { return host->WriteRegister(registerNumber, value); });
}

const char* HostCalls::ReportError(std::string text) {
    return ErrorOf(19, "ReportError", [&] { return host->ReportError(text.c_str()); });
}

const char* HostCalls::PrintMessage(std::string text) {
    return ErrorOf(20, "PrintMessage", [&] { return host->PrintMessage(text.c_str()); });
}

std::optional<std::string> HostCalls::GetDirectoryPath() {
    const char* text = Ask(21, "GetDirectoryPath", nullptr, [&] { return host->GetDirectoryPath(); });
    Lend(Rule::PropertyTextLives, "GetDirectoryPath", text);
    return text == nullptr ? std::nullopt : std::optional(lent.text.Text());
}

const char* HostCalls::WaitMilliseconds(std::uint32_t milliseconds) {
    return ErrorOf(22, "WaitMilliseconds", [&] { return host->WaitMilliseconds(milliseconds); });
}

const char* HostCalls::SelectCore(std::string name) {
    return ErrorOf(27, "SelectCore", [&] { return host->SelectCore(name.c_str()); });
}

}  // namespace flash::hostcheck
