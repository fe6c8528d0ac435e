#include "validator/ModuleUnderCheck.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <bit>
#include <exception>
#include <typeinfo>

#include "validator/Expectation.h"

namespace flash::validator {
namespace {

constexpr char kFactoryName[] = "CreateFlashDevice2";

// Runs one call into the module.
template <typename Call>
const char* Guarded(const std::string& operation, Call call) {
    const std::string expected = operation + ": no exception leaves it";
    try {
        return call();
    } catch (const std::exception& error) {
        Fail(expected, std::string(typeid(error).name()) + ": " + Quoted(error.what()));
    } catch (...) {
        Fail(expected, "an exception of another family than the standard one");
    }
}

void MustSucceed(const std::string& operation, const char* error) {
    Expect(error == nullptr, operation + ": success", Quoted(error));
}

// The table that an entry of the module's dynamic section names; the loader has put its address there.
template <typename T>
const T* FindTable(const ElfW(Dyn) * entries, ElfW(Sxword) tag) {
    for (; entries->d_tag != DT_NULL; ++entries) {
        if (entries->d_tag == tag) {
            return std::bit_cast<const T*>(entries->d_un.d_ptr);
        }
    }
    Fail("a GNU symbol table", "none");
}

// The GNU hash table has no count of symbols: the last one ends the highest bucket's chain.
std::uint32_t CountSymbols(const std::uint32_t* table) {
    const std::uint32_t bucketCount = table[0];
    const std::uint32_t firstHashed = table[1];
    const std::uint32_t* buckets = table + 4 + table[2] * (sizeof(ElfW(Addr)) / sizeof(std::uint32_t));
    const std::uint32_t* chains = buckets + bucketCount;
    std::uint32_t last = 0;
    for (std::uint32_t i = 0; i < bucketCount; ++i) {
        last = buckets[i] > last ? buckets[i] : last;
    }
    while (last >= firstHashed && last != 0 && (chains[last - firstHashed] & 1) == 0) {
        ++last;
    }
    return last < firstHashed ? firstHashed : last + 1;
}

}  // namespace

ModuleUnderCheck::ModuleUnderCheck(const std::string& modulePath)
    : handle(dlopen(modulePath.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) {
        const char* reason = dlerror();
        throw NotLoadable{reason == nullptr ? "unknown reason" : reason};
    }
    factory = reinterpret_cast<Factory>(dlsym(handle, kFactoryName));
    if (factory == nullptr) {
        throw NotLoadable{std::string("it has no ") + kFactoryName};
    }
}

void ModuleUnderCheck::Unload() const {
    const bool isDone = dlclose(handle) == 0;
    Expect(isDone, "the module is unloaded", isDone ? "" : Quoted(dlerror()));
}

std::vector<std::string> ModuleUnderCheck::ExportedNames() const {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) {
        return {};
    }
    const auto* symbols = FindTable<ElfW(Sym)>(map->l_ld, DT_SYMTAB);
    const auto* text = FindTable<char>(map->l_ld, DT_STRTAB);
    const std::uint32_t count = CountSymbols(FindTable<std::uint32_t>(map->l_ld, DT_GNU_HASH));
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < count; ++i) {
        const ElfW(Sym)& symbol = symbols[i];
        const bool isLocal = ELF64_ST_BIND(symbol.st_info) == STB_LOCAL;
        if (symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS && !isLocal) {
            names.emplace_back(text + symbol.st_name);
        }
    }
    return names;
}

DeviceUnderCheck::DeviceUnderCheck(const ModuleUnderCheck& module, const char* name, IFlashHost& host,
                                   const char* secondText, const char* thirdText) {
    MustSucceed(kFactoryName, Guarded(kFactoryName, [&] {
                    return module.GetFactory()(name, secondText, thirdText, &host, &device);
                }));
    Expect(device != nullptr, std::string(kFactoryName) + ": a device", "none");
}

DeviceUnderCheck::~DeviceUnderCheck() {
    try {
        Release();
    } catch (const UnmetExpectation&) {
        // A check that cares calls `Release` itself.
    }
}

const char* DeviceUnderCheck::Release() {
    IFlashDevice2* ended = device;
    device = nullptr;
    return ended == nullptr ? nullptr : Guarded("Release", [&] { return ended->Release(); });
}

const char* DeviceUnderCheck::Initialize(bool* ready, const char** operations) {
    return Guarded("Initialize", [&] { return device->Initialize(ready, operations); });
}

const char* DeviceUnderCheck::IsAddressInFlash(std::uint64_t address, bool* result) {
    return Guarded("IsAddressInFlash", [&] { return device->IsAddressInFlash(address, result); });
}

const char* DeviceUnderCheck::IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) {
    return Guarded("IsRangeInFlash", [&] { return device->IsRangeInFlash(address, lengthBytes, result); });
}

const char* DeviceUnderCheck::SetTargetDataType(std::uint64_t dataType) {
    return Guarded("SetTargetDataType", [&] { return device->SetTargetDataType(dataType); });
}

const char* DeviceUnderCheck::Write(const std::vector<std::uint8_t>& data, std::uint64_t address) {
    const auto length = static_cast<std::uint32_t>(data.size());
    return Guarded("Write", [&] { return device->Write(data.data(), address, length); });
}

const char* DeviceUnderCheck::Execute(const char* operation) {
    return Guarded("Execute", [&] { return device->Execute(operation); });
}

const char* DeviceUnderCheck::NotifyPhase(std::int64_t phase) {
    return Guarded("NotifyPhase", [&] { return device->NotifyPhase(phase); });
}

const char* DeviceUnderCheck::HandlesVerification(std::uint64_t address, bool* result) {
    return Guarded("HandlesVerification", [&] { return device->HandlesVerification(address, result); });
}

void DeviceUnderCheck::Initialize() {
    bool isReady = false;
    const char* operations = nullptr;
    MustSucceed("Initialize", Initialize(&isReady, &operations));
}

bool DeviceUnderCheck::IsInFlash(std::uint64_t address) {
    bool isInFlash = false;
    MustSucceed("IsAddressInFlash", IsAddressInFlash(address, &isInFlash));
    return isInFlash;
}

bool DeviceUnderCheck::IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes) {
    bool isInFlash = false;
    MustSucceed("IsRangeInFlash", IsRangeInFlash(address, lengthBytes, &isInFlash));
    return isInFlash;
}

bool DeviceUnderCheck::HandlesVerification() {
    bool isHandled = false;
    MustSucceed("HandlesVerification", HandlesVerification(0, &isHandled));
    return isHandled;
}

void DeviceUnderCheck::MustWrite(const std::vector<std::uint8_t>& data, std::uint32_t address) {
    MustSucceed("Write", Write(data, address));
}

void DeviceUnderCheck::MustExecute(const char* operation) {
    MustSucceed("Execute " + Quoted(operation), Execute(operation));
}

void DeviceUnderCheck::MustNotify(std::int64_t phase) {
    MustSucceed("NotifyPhase " + std::to_string(phase), NotifyPhase(phase));
}

void DeviceUnderCheck::MustLoad(const std::vector<std::uint8_t>& data, std::uint32_t address) {
    MustNotify(1);
    MustWrite(data, address);
    MustNotify(2);
}

}  // namespace flash::validator
