// Loading with dlopen, and the one place where the plug-in's texts and exceptions become ours.
#include "host/plugin/PluginModule.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <exception>

#include "host/Failure.h"

namespace flash::host {
namespace {

[[noreturn]] void FailUnreachable(const FieldText& text) { throw Failure(FailureKind::Unreachable, text); }

std::string LoaderError() {
    const char* text = dlerror();
    return text == nullptr ? "no reason given" : text;
}

// What a user may read of it, behind our own words.
std::string Detail(const std::string& text) {
    const std::string said = ReadPluginText(text).said;
    return said.empty() ? "" : "\nThe plug-in said: " + said;
}

// Runs one operation; whatever comes back but null, and whatever it throws, is a PluginError.
template <typename Operation>
void Call(const char* name, Operation operation) {
    const char* error = nullptr;
    try {
        error = operation();
    } catch (const std::exception& exception) {
        throw PluginError(
            {fmt::format("the plug-in's {} let an exception out", name), ReadPluginText(exception.what()).said});
    } catch (...) {
        throw PluginError({fmt::format("the plug-in's {} let an exception of unknown type out", name), ""});
    }
    if (error != nullptr) {
        throw PluginError(ReadPluginText(error));
    }
}

}  // namespace

PluginModule::PluginModule(const std::filesystem::path& modulePath) : path(modulePath) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        FailUnreachable(fmt::format("There is no plug-in at {}; give its path with ", path.string()) + Field::Plugin);
    }
    // An absolute path, so that the loader never searches its own folders.
    handle = dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        FailUnreachable(fmt::format("Cannot load the plug-in {}: {}", path.string(), LoaderError()));
    }
    void* symbol = dlsym(handle, kFactoryName);
    if (symbol == nullptr) {
        const std::string reason = LoaderError();
        dlclose(handle);
        FailUnreachable(
            fmt::format("{} is no flash plug-in: it does not export {} ({})", path.string(), kFactoryName, reason));
    }
    factory = reinterpret_cast<Factory>(symbol);
}

PluginModule::~PluginModule() { dlclose(handle); }

PluginDevice::PluginDevice(const PluginModule& module, const std::string& partName, IFlashHost& host) {
    const std::string attempt =
        fmt::format("The plug-in {} cannot make a device for \"{}\"", module.Path().string(), partName);
    const char* error = nullptr;
    try {
        error = module.GetFactory()(partName.c_str(), "", "", &host, &device);
    } catch (const std::exception& exception) {
        FailUnreachable(attempt + ": it takes no such name, whose sixth character must be a digit" +
                        Detail(exception.what()));
    } catch (...) {
        FailUnreachable(fmt::format("{}: its factory let an exception of unknown type out", attempt));
    }
    if (error != nullptr) {
        const PluginAnswer answer = ReadPluginText(error);
        FailUnreachable(attempt + ": " + answer.cause + (answer.said == answer.cause ? "" : Detail(error)));
    }
    if (device == nullptr) {
        FailUnreachable(fmt::format("{}: its factory reported success but gave none", attempt));
    }
}

PluginDevice::~PluginDevice() {
    try {
        device->Release();
    } catch (...) {  // nothing that a module throws while it ends may take the host with it
    }
}

std::string PluginDevice::Initialize() {
    bool isReady = false;
    const char* operations = nullptr;
    Call("Initialize", [&] { return device->Initialize(&isReady, &operations); });
    if (!isReady) {
        throw PluginError({"the plug-in's device is not ready, although it says no error", ""});
    }
    return operations == nullptr ? "" : operations;
}

bool PluginDevice::IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes) {
    bool result = false;
    Call("IsRangeInFlash", [&] { return device->IsRangeInFlash(address, lengthBytes, &result); });
    return result;
}

void PluginDevice::Write(const std::uint8_t* data, std::uint64_t address, std::uint32_t lengthBytes) {
    Call("Write", [&] { return device->Write(data, address, lengthBytes); });
}

void PluginDevice::Execute(const std::string& operation) {
    Call("Execute", [&] { return device->Execute(operation.c_str()); });
}

void PluginDevice::NotifyPhase(std::int64_t phase) {
    Call("NotifyPhase", [&] { return device->NotifyPhase(phase); });
}

bool PluginDevice::HandlesVerification(std::uint64_t address) {
    bool result = false;
    Call("HandlesVerification", [&] { return device->HandlesVerification(address, &result); });
    return result;
}

}  // namespace flash::host
