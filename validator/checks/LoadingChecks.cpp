// The module as a file, and its devices beside each other.
#include <algorithm>

#include "validator/Check.h"
#include "validator/Resources.h"

namespace flash::validator {
namespace {

void ExportsOnlyTheFactory(const ModuleUnderCheck& module) {
    std::vector<std::string> names = module.ExportedNames();
    // What linkers and runtimes put beside the code is nobody's interface.
    std::erase_if(names, [](const std::string& name) { return name.starts_with("_"); });
    ExpectTexts("exported names", {"CreateFlashDevice2"}, names);
}

void DevicesAreIndependent(const ModuleUnderCheck& module) {
    ReadyDevice first(module, kFirstGeneration);
    ReadyDevice second(module, kSecondGeneration);
    first.host.ForgetCalls();
    second.device.MustLoad(Pattern(0x2000), 0);
    ExpectNumber("calls of the first device's host while the second works", 0, first.host.calls.size());
    first.device.MustLoad(Pattern(0x1000), 0x1000);
    ExpectBytes("flash of the second device", Pattern(0x2000), FlashBytes(second.host, 0, 0x2000));
}

void ReleaseLeavesTheHostAlone(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.device.MustLoad(Pattern(100), 0);
    ready.host.ForgetCalls();
    ExpectText("Release", "no text", Quoted(ready.device.Release()));
    ExpectNumber("host calls of Release", 0, ready.host.calls.size());
}

void UseOneDevice(const ModuleUnderCheck& module) {
    ReadyDevice ready(module);
    ready.host.properties["CrcVerify"] = "1";
    ready.device.MustLoad(Pattern(3000), 0x800);
    ready.device.MustExecute("ReadSecIeee");
    ready.device.Execute("no such operation");
}

void CanBeUnloaded(const ModuleUnderCheck& module) {
    UseOneDevice(module);
    module.Unload();
}

constexpr std::size_t kCycles = 50;

// What is held after 50 devices, and after 100.
struct HeldResources {
    explicit HeldResources(const ModuleUnderCheck& module) {
        UseDevices(module);
        before = MeasureResources();
        UseDevices(module);
        after = MeasureResources();
    }
    static void UseDevices(const ModuleUnderCheck& module) {
        for (std::size_t i = 0; i < kCycles; ++i) {
            UseOneDevice(module);
        }
    }
    Resources before;
    Resources after;
};

void LiveMemoryIsSteady(const ModuleUnderCheck& module) {
    constexpr std::size_t kSmallestBlock = 16;
    const HeldResources held(module);
    Expect(held.after.liveBytes < held.before.liveBytes + kCycles * kSmallestBlock,
           "as much live memory after 100 devices as after 50: " + std::to_string(held.before.liveBytes) + " bytes",
           std::to_string(held.after.liveBytes) + " bytes");
}

void StartsNoThread(const ModuleUnderCheck& module) {
    const HeldResources held(module);
    ExpectNumber("threads, as many as before the module was loaded", module.ThreadsBefore(), held.after.threads);
    if (!held.before.handles || !held.after.handles) {
        throw NotPossible{"this system does not count a process's handles"};
    }
    ExpectNumber("open handles after 100 devices, as many as after 50", *held.before.handles, *held.after.handles);
}

}  // namespace

std::vector<Check> LoadingChecks() {
    constexpr const char* kTopic = "loading";
    return {
        {kTopic, "exports-only-the-factory", "The module exports CreateFlashDevice2 and nothing else.",
         ExportsOnlyTheFactory},
        {kTopic, "devices-are-independent", "Two devices at a time use their own hosts and keep their own state.",
         DevicesAreIndependent},
        {kTopic, "release-leaves-the-host-alone", "Release returns null and calls no host service.",
         ReleaseLeavesTheHostAlone},
        {kTopic, "can-be-unloaded",
         "After its devices are released the module is unloaded, without a crash and in time.", CanBeUnloaded},
        {kTopic, "live-memory-is-steady", "Devices made, used and released leave no memory behind.",
         LiveMemoryIsSteady},
        {kTopic, "starts-no-thread", "The plug-in starts no thread and leaves no handle open.", StartsNoThread},
    };
}

}  // namespace flash::validator
