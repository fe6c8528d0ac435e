// The smallest host that programs a chip with the flash plug-in: a table of services over one target, here the virtual
// chip. It makes none of the promises of a careful host (docs/host-guide.md) but the one without which a load can fail:
// it lets the flashloader finish before it halts the core.
//
// Usage: minimal-host PLUGIN FLASHLOADER.elf
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "chip/VirtualChip.h"
#include "flashdevice/interface/IFlashDevice2.h"
#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

namespace {

using flash::chip::ChipError;

class MinimalHost final : public flash::IFlashHost {
public:
    MinimalHost(flash::chip::VirtualChip& virtualChip, std::string image)
        : chip(virtualChip), flashloader(std::move(image)) {}

    const char* GetProperty(const char* name) override {
        const auto found = properties.find(name);
        return found == properties.end() ? nullptr : found->second.c_str();
    }
    const char* SetProperty(const char* name, const char* value) override {
        properties[name] = value;
        return nullptr;
    }
    const char* LoadProgram(const char*, const char*, const char*) override {
        return Try([this] {
            const std::vector<std::uint8_t> file = flash::host::LoadFile(flashloader);
            symbols = flash::host::ReadElfSymbols(file, flashloader);
            for (const flash::host::DataRun& run : flash::host::ReadElf(file, flashloader).Runs()) {
                chip.WriteMemory(run.address, run.bytes);
            }
        });
    }
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override {
        const auto address = symbols.Find(name);
        *value = address.value_or(0);
        return address ? nullptr : "no such symbol";
    }
    const char* RunTarget() override {
        return Try([this] { chip.Run(); });
    }
    const char* HaltTarget() override {
        return Try([this] {
            // Both command blocks have a status behind their first 16 bytes; all ones mean "not done yet".
            for (const std::uint32_t offset : {16u, 40u}) {
                if (const auto blocks = symbols.Find("g_cfg"); blocks && chip.IsRunning()) {
                    chip.PauseWhileWordIs(*blocks + offset, 0xFFFFFFFF, std::chrono::seconds(2));
                }
            }
            chip.Halt();
        });
    }
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                           std::size_t size) override {
        return Try([&] {
            chip.ReadMemory(static_cast<std::uint32_t>(address), {static_cast<std::uint8_t*>(buffer), count * size},
                            static_cast<std::uint32_t>(size));
        });
    }
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                            std::size_t size) override {
        return Try([&] {
            chip.WriteMemory(static_cast<std::uint32_t>(address),
                             {static_cast<const std::uint8_t*>(buffer), count * size},
                             static_cast<std::uint32_t>(size));
        });
    }
    const char* ReadRegister(std::uint32_t, std::uint64_t* value) override {
        return Try([&] { *value = chip.ReadIdentificationCode(); });  // the only one that is ever asked for
    }
    const char* WriteRegister(std::uint32_t, std::uint64_t value) override {
        return Try([&] { chip.WriteCoreRegister(flash::chip::CoreRegister::Pc, static_cast<std::uint32_t>(value)); });
    }
    const char* ReportError(const char* text) override {
        std::fprintf(stderr, "%s\n", text);
        ++reportedErrors;
        return nullptr;
    }
    const char* PrintMessage(const char* text) override {
        std::printf("%s\n", text);
        return nullptr;
    }
    const char* GetDirectoryPath() override { return "\\"; }
    const char* WaitMilliseconds(std::uint32_t milliseconds) override {
        return Try([&] { chip.Pause(std::chrono::milliseconds(milliseconds)); });
    }
    const char* SelectCore(const char*) override { return nullptr; }

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

    int reportedErrors = 0;  // the operation may still return success

    std::map<std::string, std::string> properties{{"DeviceInfoRevisionTranslation", "0:1.0:A:1:1.1:B"},
                                                  {"DeviceFlashloaderFile", "lumof-flashloader.elf"},
                                                  {"FlashEraseSetting", "Necessary Sectors Only"},
                                                  {"FlashPageToggle", "0"},
                                                  {"CrcVerify", "1"}};

private:
    template <typename Work>
    const char* Try(Work work) {
        try {
            work();
            return nullptr;
        } catch (const std::exception& exception) {
            error = exception.what();
            return error.c_str();
        }
    }

    flash::chip::VirtualChip& chip;
    std::string flashloader;
    flash::host::SymbolTable symbols;
    std::string error;
};

bool Succeeds(const char* what, const char* error) {
    if (error != nullptr) {
        std::fprintf(stderr, "%s failed: %s\n", what, error);
    }
    return error == nullptr;
}

// Two whole sectors, so that the load is as simple as can be.
bool ProgramAndCompare(flash::IFlashDevice2& device, const flash::chip::VirtualChip& chip) {
    std::vector<unsigned char> data(2 * chip.SectorSize());
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<unsigned char>(i * 7);
    }
    return Succeeds("Starting the load", device.NotifyPhase(1)) &&
           Succeeds("Writing", device.Write(data.data(), 0, static_cast<std::uint32_t>(data.size()))) &&
           Succeeds("Ending the load", device.NotifyPhase(2)) &&
           std::memcmp(chip.Flash().data(), data.data(), data.size()) == 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "Usage: minimal-host PLUGIN FLASHLOADER.elf\n");
        return 2;
    }
    void* module = dlopen(arguments[1], RTLD_NOW);
    void* factory = module == nullptr ? nullptr : dlsym(module, "CreateFlashDevice2");
    if (factory == nullptr) {
        std::fprintf(stderr, "No plug-in: %s\n", dlerror());
        return 4;
    }
    flash::chip::Settings settings;
    settings.generation = flash::chip::Generation::LumoF;
    flash::chip::VirtualChip chip(settings);
    MinimalHost host(chip, arguments[2]);
    flash::IFlashDevice2* device = nullptr;
    if (!Succeeds("Making the device",
                  reinterpret_cast<decltype(&CreateFlashDevice2)>(factory)("LumoF2F352", "", "", &host, &device))) {
        return 4;
    }
    bool isReady = false;
    const char* operations = nullptr;
    const bool isDone = Succeeds("Initialising", device->Initialize(&isReady, &operations)) && isReady &&
                        ProgramAndCompare(*device, chip) && host.reportedErrors == 0;
    std::printf("%s: flash %s, programmed %s\n", arguments[1], host.properties["DeviceInfoFlashSize"].c_str(),
                isDone ? "and compared" : "in vain");
    device->Release();
    dlclose(module);
    return isDone ? 0 : 1;
}
