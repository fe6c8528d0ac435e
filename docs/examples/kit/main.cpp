// A debugger host for makers of hosts: it loads the flash plug-in at run time, on Linux or on Windows, and programs two
// sectors of a chip in memory. Take the class MinimalHost and put your own access to the chip in place of `chip` and
// `flashloader`, which here stand for both it and the program that runs on it.
//
// Usage: minimal-host PLUGIN
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "flashdevice/interface/IFlashDevice2.h"
#include "flashdevice/interface/IFlashHost.h"
#include "validator/simulation/ChipMemory.h"
#include "validator/simulation/SimulatedFlashloader.h"

namespace {

using flash::simulation::ChipMemory;
using flash::simulation::SimulatedFlashloader;

class MinimalHost final : public flash::IFlashHost {
public:
    // The device reads its settings here, and tells here what it found out.
    const char* GetProperty(const char* name) override {
        const auto found = properties.find(name);
        return found == properties.end() ? nullptr : found->second.c_str();
    }
    const char* SetProperty(const char* name, const char* value) override {
        properties[name] = value;
        return nullptr;
    }

    // On a chip: loads the file `name`, whose symbols the device asks for, into its SRAM.
    const char* LoadProgram(const char*, const char*, const char*) override {
        flashloader.Load();
        return nullptr;
    }
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override {
        static const std::map<std::string, std::uint64_t> symbols{{"ResetISR", flash::simulation::kEntryPoint},
                                                                  {"g_cfg", flash::simulation::kBlocks},
                                                                  {"g_currBuf", flash::simulation::kBlockInWork},
                                                                  {"g_buf1", flash::simulation::kBuffers[0]},
                                                                  {"g_buf2", flash::simulation::kBuffers[1]}};
        const auto found = symbols.find(name);
        if (found == symbols.end()) {
            return "The flashloader has no such symbol";
        }
        *value = found->second;
        return nullptr;
    }

    // Both are asked for whatever the chip does: to run while it runs, to halt while it stands. Before a halt the
    // flashloader must be given the time to finish what it was last asked for; this one does.
    const char* RunTarget() override {
        flashloader.Run();
        return nullptr;
    }
    const char* HaltTarget() override {
        flashloader.Halt();
        return nullptr;
    }

    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                           std::size_t elementSize) override {
        flashloader.OnPoll(address);
        return chip.Read(address, {static_cast<std::uint8_t*>(buffer), count * elementSize}) ? nullptr : kNoMemory;
    }
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                            std::size_t elementSize) override {
        const std::size_t lengthBytes = count * elementSize;
        if (!chip.Write(address, {static_cast<const std::uint8_t*>(buffer), lengthBytes})) {
            return kNoMemory;
        }
        flashloader.OnWritten(address, lengthBytes);
        return nullptr;
    }

    // Read: register 1 on the route "Sluice", the identification. Written: the program counter.
    const char* ReadRegister(std::uint32_t, std::uint64_t* value) override {
        *value = flash::simulation::kSecondGeneration.idCode;
        return nullptr;
    }
    const char* WriteRegister(std::uint32_t, std::uint64_t value) override {
        flashloader.SetProgramCounter(value);
        return nullptr;
    }
    const char* SelectCore(const char*) override { return nullptr; }

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
    const char* WaitMilliseconds(std::uint32_t) override { return nullptr; }  // this chip takes no time

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

    std::map<std::string, std::string> properties{{"DeviceInfoRevisionTranslation", "0:1.0:RevA:1:2.0:RevB"},
                                                  {"DeviceFlashloaderFile", "flashloader.elf"},
                                                  {"FlashEraseSetting", "Necessary Sectors Only"},
                                                  {"FlashPageToggle", "0"},
                                                  {"CrcVerify", "1"}};
    ChipMemory chip{flash::simulation::kSecondGeneration};
    int reportedErrors = 0;  // the operation may still return success

private:
    static constexpr char kNoMemory[] = "There is no memory at this address";

    SimulatedFlashloader flashloader{chip};
};

using Factory = decltype(&CreateFlashDevice2);

// Stays loaded until the program ends.
Factory LoadPlugin(const char* path) {
#ifdef _WIN32
    const HMODULE module = LoadLibraryA(path);
    const auto found = module == nullptr ? nullptr : GetProcAddress(module, "CreateFlashDevice2");
    return reinterpret_cast<Factory>(reinterpret_cast<void*>(found));
#else
    void* module = dlopen(path, RTLD_NOW);
    return reinterpret_cast<Factory>(module == nullptr ? nullptr : dlsym(module, "CreateFlashDevice2"));
#endif
}

bool Succeeds(const char* what, const char* error) {
    if (error != nullptr) {
        std::fprintf(stderr, "%s: %s\n", what, error);
    }
    return error == nullptr;
}

bool ProgramAndCompare(flash::IFlashDevice2& device, const MinimalHost& host) {
    std::vector<unsigned char> data(std::size_t{2} * host.chip.sectorSize);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<unsigned char>(i * 7);
    }
    return Succeeds("Starting the load", device.NotifyPhase(1)) &&
           Succeeds("Writing", device.Write(data.data(), 0, static_cast<std::uint32_t>(data.size()))) &&
           Succeeds("Ending the load", device.NotifyPhase(2)) &&
           std::memcmp(host.chip.flash.data(), data.data(), data.size()) == 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "Usage: minimal-host PLUGIN\n");
        return 2;
    }
    const Factory create = LoadPlugin(arguments[1]);
    if (create == nullptr) {
        std::fprintf(stderr, "%s is no flash plug-in\n", arguments[1]);
        return 4;
    }
    MinimalHost host;
    flash::IFlashDevice2* device = nullptr;
    if (!Succeeds("Making the device", create("LumoF2F352", "", "", &host, &device))) {
        return 4;
    }
    bool isReady = false;
    const char* operations = nullptr;
    const bool isDone = Succeeds("Initialising", device->Initialize(&isReady, &operations)) && isReady &&
                        ProgramAndCompare(*device, host) && host.reportedErrors == 0;
    device->Release();
    std::printf("%s: flash %s, programmed %s\n", arguments[1], host.properties["DeviceInfoFlashSize"].c_str(),
                isDone ? "and compared" : "in vain");
    return isDone ? 0 : 1;
}
