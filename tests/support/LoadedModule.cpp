#include "tests/support/LoadedModule.h"

#include <cstdlib>
#include <stdexcept>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace flash::test {
namespace {

#if defined(_WIN32)
void* Open(const std::string& path) { return LoadLibraryA(path.c_str()); }
void Close(void* handle) { FreeLibrary(static_cast<HMODULE>(handle)); }
void* Find(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
std::string Reason() { return "error " + std::to_string(GetLastError()); }
#else
void* Open(const std::string& path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }
void Close(void* handle) { dlclose(handle); }
void* Find(void* handle, const char* name) { return dlsym(handle, name); }
std::string Reason() { return dlerror(); }
#endif

}  // namespace

LoadedModule::LoadedModule() : LoadedModule(BuiltPath()) {}

LoadedModule::LoadedModule(const std::string& path) : handle(Open(path)), create(nullptr) {
    if (handle == nullptr) {
        throw std::runtime_error("cannot load " + path + ": " + Reason());
    }
    create = reinterpret_cast<CreateFunction*>(Find(handle, "CreateFlashDevice2"));
    if (create == nullptr) {
        Close(handle);
        throw std::runtime_error(path + " does not export CreateFlashDevice2");
    }
}

LoadedModule::~LoadedModule() { Close(handle); }

std::string LoadedModule::BuiltPath() {
    const char* other = std::getenv("FLASH_TEST_MODULE");
    return other != nullptr ? other : FLASH_MODULE_PATH;
}

const char* LoadedModule::Create(const char* deviceName, const char* secondText, const char* thirdText,
                                 IFlashHost* host, IFlashDevice2** device) const {
    return create(deviceName, secondText, thirdText, host, device);
}

DevicePointer MakeDevice(const char* deviceName, IFlashHost* host) {
    static const LoadedModule module;
    IFlashDevice2* device = nullptr;
    const char* error = module.Create(deviceName, "", "", host, &device);
    if (error != nullptr) {
        throw std::runtime_error(error);
    }
    return DevicePointer(device);
}

}  // namespace flash::test
