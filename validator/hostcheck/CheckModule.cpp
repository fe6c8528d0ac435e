// Devices are kept until the module goes, so that calls of a released one are noticed and harm nothing.
#include "validator/hostcheck/CheckModule.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

namespace flash::hostcheck {
namespace {

bool HasDigitAtSix(const char* name) {
    return name != nullptr && std::string_view(name).size() > 5 && name[5] >= '0' && name[5] <= '9';
}

}  // namespace

CheckModule::CheckModule(Factory pluginFactory, const Plan& checkPlan) : factory(pluginFactory), plan(checkPlan) {
    if (!plan.reportFile.empty()) {
        findings.OnNews([this] { WriteReport(Moment::SoFar); });
    }
}

CheckModule::~CheckModule() { End(); }

const char* CheckModule::Create(const char* deviceName, const char* secondText, const char* thirdText, IFlashHost* host,
                                IFlashDevice2** device) {
    const std::lock_guard lock(mutex);
    if (!plan.complaint.empty()) {
        findings.Note(plan.complaint);
    }
    const std::string shown = deviceName == nullptr ? "null" : "\"" + std::string(deviceName) + "\"";
    findings.See(Rule::FactoryName, HasDigitAtSix(deviceName), shown);
    findings.See(Rule::FactoryHost, host != nullptr, "null");
    findings.See(Rule::FactoryPlace, device != nullptr, "null");
    if (!HasDigitAtSix(deviceName)) {  // throws as a plug-in does
        return factory(deviceName, secondText, thirdText, host, device);
    }
    if (host == nullptr || device == nullptr) {
        return "The factory was given no services, or no place for the device";
    }
    const std::string empty = EmptySlots(host);
    findings.See(Rule::HostTable, empty.empty(), empty);
    return plan.MustFail("create") ? "The checker fails this call on purpose" : CreateWatched(deviceName, host, device);
}

const char* CheckModule::CreateWatched(const char* deviceName, IFlashHost* host, IFlashDevice2** device) {
    auto watched = std::make_unique<WatchedDevice>(factory, deviceName, host, findings, plan);
    if (const char* error = watched->Create()) {
        return error;
    }
    *device = watched.get();
    devices.push_back(std::move(watched));
    return nullptr;
}

void CheckModule::End() {
    const std::lock_guard lock(mutex);
    if (std::exchange(hasEnded, true)) {
        return;
    }
    for (const auto& device : devices) {
        findings.See(Rule::DeviceReleased, device->IsReleased(), "a device was still there when the module went");
    }
    if (plan.reportFile.empty()) {
        std::fputs(findings.ToText().c_str(), stderr);
        return;
    }
    if (!WriteReport(Moment::AtTheEnd)) {
        std::fprintf(stderr, "The report could not be written to %s\n%s", plan.reportFile.c_str(),
                     findings.ToText().c_str());
    }
}

bool CheckModule::WriteReport(Moment moment) {
    const std::lock_guard lock(reportMutex);
    const std::string text = plan.reportFile.ends_with(".json") ? findings.ToJson(moment) : findings.ToText(moment);
    std::FILE* file = std::fopen(plan.reportFile.c_str(), "wb");
    const bool isWritten = file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return (file == nullptr || std::fclose(file) == 0) && isWritten;
}

}  // namespace flash::hostcheck
