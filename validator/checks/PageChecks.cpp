// Pages that are not programmed: those that the user lists, and those that hold only one byte.
#include "validator/Check.h"

namespace flash::validator {
namespace {

using Texts = std::vector<std::string>;

Texts CommandsSkipping(const ModuleUnderCheck& module, const char* pages, std::uint32_t address, std::size_t length) {
    ReadyDevice ready(module);
    ready.host.properties["FlashPageToggle"] = "1";
    ready.host.properties["FlashPages"] = pages;
    ready.device.MustLoad(Pattern(length), address);
    return CommandTexts(ready.host);
}

void ListedPagesAreSkipped(const ModuleUnderCheck& module) {
    ExpectTexts("commands for 4 pages without 1 and 2", {"0x3@0x0+4096", "0x3@0x3000+4096"},
                CommandsSkipping(module, "1,\t2", 0, 0x4000));
    ExpectTexts("commands with all pages listed", {}, CommandsSkipping(module, "0-31", 0, 0x4000));
    ExpectTexts("commands of a request inside a skipped page", {}, CommandsSkipping(module, "3-5", 0x3100, 0x200));
}

void RequestsMeetRanges(const ModuleUnderCheck& module) {
    ExpectTexts("a request that starts inside a range loses that range's last byte", {"0x3@0x800+2047"},
                CommandsSkipping(module, "1-31", 0x800, 0x1800));
    ExpectTexts("a request that ends inside a range", {"0x3@0x2000+256"},
                CommandsSkipping(module, "1", 0x1000, 0x1100));
}

void PageListIsChecked(const ModuleUnderCheck& module) {
    struct Case {
        const char* list;
        const char* error;
    };
    const Case cases[] = {
        {"1;2", "Invalid option was given \"1;2\".\n"},
        {"4,5-3", "Invalid range was given \"5-3\".\n"},
        {"-3", "Invalid range was given \"-3\".\n"},
        {"7-", "Invalid range was given \"7-\".\n"},
        {"40", "Given page is out of range: \"40\"\nNote that the number of available pages is 32\n"},
        {"30 - 32", "Given page is out of range: \"30-32\"\nNote that the number of available pages is 32\n"},
    };
    for (const Case& c : cases) {
        ReadyDevice ready(module);
        ready.host.properties["StandaloneEraseSpecificText"] = c.list;
        ExpectText("EraseSectors of " + Quoted(c.list), c.error, ready.device.Execute("EraseSectors"));
    }
}

struct FillingDevice : ReadyDevice {
    FillingDevice(const ModuleUnderCheck& module, const char* value) : ReadyDevice(module) {
        host.properties["FlashPagesFilledWith"] = "1";
        host.properties["FlashPagesFilledWithValue"] = value;
    }
};

void FilledPagesAreSkipped(const ModuleUnderCheck& module) {
    FillingDevice filling(module, "0xA5");
    std::vector<std::uint8_t> data(0x3000, 0xA5);
    data[0x1FFF] = 0;
    filling.device.MustLoad(data, 0x4000);
    ExpectTexts("commands for three pages of which the second is not filled", {"0x3@0x5000+4096"},
                CommandTexts(filling.host));
    filling.host.ForgetCalls();
    filling.device.MustNotify(1);
    filling.device.MustWrite(std::vector<std::uint8_t>(0x3000, 0xA5), 0);
    ExpectNumber("flashloader loads when nothing is programmed", 0, filling.host.CallsOf(Service::LoadProgram).size());
}

void UnalignedPiecesGrow(const ModuleUnderCheck& module) {
    FillingDevice filling(module, "0");
    filling.device.MustLoad(Pattern(100), 0x1010);
    ExpectTexts("commands", {"0x3@0x1010+16", "0x3@0x1020+32", "0x3@0x1040+52"}, CommandTexts(filling.host));
}

void FillValueIsChecked(const ModuleUnderCheck& module) {
    struct Case {
        const char* value;
        const char* error;
    };
    const Case cases[] = {
        {"255", "Invalid option was given \"255\".\n"},
        {"a", "Invalid option was given \"a\".\n"},
        {"0x1FF", "Invalid option was given \"0x1FF\". Value must fit in one byte!\n"},
        {"FFh", "Option contains invalid characters: \"FFh\".\n"},
    };
    for (const Case& c : cases) {
        FillingDevice filling(module, c.value);
        ExpectText("Write with the fill value " + Quoted(c.value), c.error, filling.device.Write({1, 2}, 0));
    }
}

void ToldWhetherItVerifies(const ModuleUnderCheck& module) {
    ExpectFalse("no option", ReadyDevice(module).device.HandlesVerification());
    for (const char* option : {"KeepCcfgSetting", "FlashPageToggle", "CrcVerify"}) {
        ReadyDevice ready(module);
        ready.host.properties[option] = "1";
        ExpectTrue(option, ready.device.HandlesVerification());
        ReadyDevice other(module);
        other.host.properties[option] = "yes";
        ExpectFalse(std::string(option) + " \"yes\"", other.device.HandlesVerification());
    }
    ExpectTrue("FlashPagesFilledWith", FillingDevice(module, "1").device.HandlesVerification());
}

}  // namespace

std::vector<Check> PageChecks() {
    constexpr const char* kTopic = "pages";
    return {
        {kTopic, "listed-pages-are-skipped", "Pages named in FlashPages are not programmed.", ListedPagesAreSkipped},
        {kTopic, "requests-meet-ranges", "A request that overlaps a permitted range is cut as documented.",
         RequestsMeetRanges},
        {kTopic, "page-list-is-checked", "A wrong page list is refused with the item in quotes.", PageListIsChecked},
        {kTopic, "filled-pages-are-skipped", "Pages that hold only the fill value are not programmed.",
         FilledPagesAreSkipped},
        {kTopic, "unaligned-pieces-grow", "Before the first sector edge pieces have the address's remainder.",
         UnalignedPiecesGrow},
        {kTopic, "fill-value-is-checked", "A fill value that is no byte is refused.", FillValueIsChecked},
        {kTopic, "told-whether-it-verifies", "HandlesVerification is true when an option looks at the data.",
         ToldWhetherItVerifies},
    };
}

}  // namespace flash::validator
