// Error texts: what they say, and how long they live.
#include "validator/Check.h"

namespace flash::validator {
namespace {

void DataTypesAreUnsupported(const ModuleUnderCheck& module) {
    NewDevice made(module);
    const char* earlier = made.device.Execute("earlier");
    const std::string text = earlier == nullptr ? "" : earlier;
    for (const std::uint64_t type : {std::uint64_t{0}, std::uint64_t{1}, ~std::uint64_t{0}}) {
        ExpectText("SetTargetDataType", "Unsupported target data type", made.device.SetTargetDataType(type));
    }
    ExpectText("the text of the earlier failure", text, earlier);
}

void ErrorTextOutlivesSuccess(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    const char* error = ready.device.Execute("nothing of the kind");
    ready.device.MustLoad(Pattern(5000), 0);
    ready.device.MustExecute("BlankCheck");
    ready.device.IsInFlash(0);
    ExpectText("the failure's text after operations that succeeded",
               "Unsupported Operation Code: 'nothing of the kind'", error);
}

void LaterFailureReplacesTheText(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    const char* first = ready.device.Execute("aaaa");
    const char* second = ready.device.Execute("bbbb");
    ExpectText("the second failure", "Unsupported Operation Code: 'bbbb'", second);
    ExpectText("the first pointer after the second failure", "Unsupported Operation Code: 'bbbb'", first);
}

void HostTextsComeBackUnchanged(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    const std::string text = "100% of \"it\"\n is %s wrong";
    ready.host.failures.FailNth(Service::HaltTarget, 1, text);
    ExpectText("a failing halt", text, ready.device.NotifyPhase(1));
    const std::string longText(3000, 'x');
    ready.host.failures.FailNth(Service::HaltTarget, 1, longText);
    ExpectText("a failing halt with a text of 3000 characters", longText, ready.device.NotifyPhase(2));
}

void MissingPropertyIsNamed(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties.erase("FlashEraseSetting");
    ExpectText("Write", "Unknown property \"FlashEraseSetting\"", ready.device.Write(Pattern(16), 0));
    ready.host.properties.erase("FlashPageToggle");
    ExpectText("NotifyPhase", "Unknown property \"FlashPageToggle\"", ready.device.NotifyPhase(1));
}

}  // namespace

std::vector<Check> TextChecks() {
    constexpr const char* kTopic = "texts";
    return {
        {kTopic, "data-types-are-unsupported", "SetTargetDataType fails with a constant of its own.",
         DataTypesAreUnsupported},
        {kTopic, "error-text-outlives-success", "An error text stays readable until the next failure.",
         ErrorTextOutlivesSuccess},
        {kTopic, "later-failure-replaces-the-text", "The pointer of the first failure shows the second one's text.",
         LaterFailureReplacesTheText},
        {kTopic, "host-texts-come-back-unchanged", "A host's error text is the operation's, to the letter.",
         HostTextsComeBackUnchanged},
        {kTopic, "missing-property-is-named", "A missing mandatory property is named in quotes.",
         MissingPropertyIsNamed},
    };
}

}  // namespace flash::validator
