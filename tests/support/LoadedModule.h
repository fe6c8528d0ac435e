// The built module, loaded at run time as any host loads it, and calls through the raw tables of its devices, as a host
// from another compiler makes them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "flashdevice/interface/IFlashDevice2.h"

namespace flash::test {

using CreateFunction = const char*(const char*, const char*, const char*, IFlashHost*, IFlashDevice2**);

class LoadedModule {
public:
    // The module of this build, or another file. Throws when it cannot be loaded.
    LoadedModule();
    explicit LoadedModule(const std::string& path);
    ~LoadedModule();
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    // The environment variable FLASH_TEST_MODULE names another one, such as a twin with a bug.
    static std::string BuiltPath();

    // Its export; throws whatever the export throws.
    const char* Create(const char* deviceName, const char* secondText, const char* thirdText, IFlashHost* host,
                       IFlashDevice2** device) const;

private:
    void* handle;
    CreateFunction* create;
};

struct ReleaseDevice {
    void operator()(IFlashDevice2* device) const { device->Release(); }
};
using DevicePointer = std::unique_ptr<IFlashDevice2, ReleaseDevice>;

// A device of the built module, which stays loaded. Throws the error text when there is none.
DevicePointer MakeDevice(const char* deviceName, IFlashHost* host);

// Calls slot `slot` of an object's table: its first word points to the table, and the object is the first argument.
template <typename... Arguments>
#if defined(__clang__)
__attribute__((no_sanitize("function")))
#endif
const char*
CallSlot(void* object, std::size_t slot, Arguments... arguments) {
    using Table = const char* (**)(void*, Arguments...);
    return (*static_cast<Table*>(object))[slot](object, arguments...);
}

}  // namespace flash::test
