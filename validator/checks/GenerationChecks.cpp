// The factory: which generation a name means, and what becomes of its arguments.
#include <exception>

#include "validator/Check.h"

namespace flash::validator {
namespace {

// A chip of one sector tells the sector size: its flash ends there.
std::uint32_t SectorSizeFor(const ModuleUnderCheck& module, const char* name) {
    NewDevice made(module, {0x1000, 1, 0, 0}, name);
    if (made.device.IsInFlash(0x1001)) {
        return made.device.IsInFlash(0x2001) ? 0 : 0x2000;
    }
    return made.device.IsInFlash(0xFFF) ? 0x1000 : 0;
}

void SixthCharacterSelects(const ModuleUnderCheck& module) {
    for (const char digit : {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'}) {
        const std::string name = std::string("LumoX") + digit + "24";
        const bool isSecond = digit == '2' || digit == '4';
        ExpectNumber("sector size of \"" + name + "\"", isSecond ? 0x2000 : 0x1000,
                     SectorSizeFor(module, name.c_str()));
    }
}

void NameWithoutDigitThrows(const ModuleUnderCheck& module) {
    struct Case {
        const char* name;
        const char* text;
    };
    const Case cases[] = {
        {"Lumo", "invalid string position"}, {"LumoD", "invalid stoi argument"}, {"LumoDx", "invalid stoi argument"}};
    for (const Case& c : cases) {
        SimulatedHost host;
        IFlashDevice2* device = nullptr;
        std::string thrown = "nothing";
        try {
            module.GetFactory()(c.name, "", "", &host, &device);
        } catch (const std::exception& error) {
            thrown = error.what();
        }
        ExpectText(std::string("thrown for the name ") + Quoted(c.name), c.text, thrown);
    }
}

void FactoryLeavesTheHostAlone(const ModuleUnderCheck& module) {
    for (const char* name : {kFirstName, kSecondName}) {
        NewDevice made(module, kFirstGeneration, name);
        ExpectNumber("host calls of the factory", 0, made.host.calls.size());
    }
}

std::vector<HostCall> StartUpJournal(const ModuleUnderCheck& module, const char* second, const char* third) {
    SimulatedHost host;
    DeviceUnderCheck device(module, kFirstName, host, second, third);
    device.Initialize();
    return host.calls;
}

void OtherTextsHaveNoEffect(const ModuleUnderCheck& module) {
    Expect(StartUpJournal(module, "", "") == StartUpJournal(module, "LumoF24", "0x40000000"),
           "the same host calls whatever the second and third text are", "other host calls");
}

void NameIsCopied(const ModuleUnderCheck& module) {
    SimulatedHost host({0x1000, 32, 1, 0x0000'0001});
    std::string name = "LumoD10R2";
    DeviceUnderCheck device(module, name.c_str(), host);
    name.assign(name.size(), '#');
    device.Initialize();
    ExpectText("RAM size of a device named with R2, after the host's text is gone", "10 KB",
               host.properties["DeviceInfoRAMSize"]);
}

}  // namespace

std::vector<Check> GenerationChecks() {
    constexpr const char* kTopic = "generation";
    return {
        {kTopic, "sixth-character-selects", "2 and 4 are the second generation, every other digit the first.",
         SixthCharacterSelects},
        {kTopic, "name-without-digit-throws", "A name without a sixth digit throws the text conversion's exception.",
         NameWithoutDigitThrows},
        {kTopic, "factory-leaves-the-host-alone", "Making a device calls no host service.", FactoryLeavesTheHostAlone},
        {kTopic, "other-texts-have-no-effect", "The factory's second and third text change nothing.",
         OtherTextsHaveNoEffect},
        {kTopic, "name-is-copied", "The device keeps its own copy of its name.", NameIsCopied},
    };
}

}  // namespace flash::validator
