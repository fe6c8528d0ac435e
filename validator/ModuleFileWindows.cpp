// By LoadLibrary; the names are read from the export table of the image as the loader has mapped it.
#include <windows.h>

#include <cstdint>
#include <cstring>

#include "validator/ModuleFile.h"

namespace flash::validator {
namespace {

std::string WordsOf(DWORD error) {
    char text[512];
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text, sizeof text, nullptr);
    const std::string words(text, length);
    const std::size_t end = words.find_last_not_of(" .\r\n");
    return (end == std::string::npos ? "the loader refuses it" : words.substr(0, end + 1)) + " (error " +
           std::to_string(error) + ")";
}

// A value at so many bytes from the image's beginning.
template <typename T>
T At(const char* image, std::size_t offset) {
    T value;
    std::memcpy(&value, image + offset, sizeof value);
    return value;
}

}  // namespace

ModuleFile::ModuleFile(const std::string& path)
    : handle(LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {  // what it needs may lie beside it
    if (handle == nullptr) {
        throw NotLoadable{WordsOf(GetLastError())};
    }
}

void* ModuleFile::Find(const char* name) const {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

std::vector<std::string> ModuleFile::ExportedNames() const {
    const auto* image = static_cast<const char*>(handle);
    const auto start = At<IMAGE_DOS_HEADER>(image, 0).e_lfanew;
    const auto headers = At<IMAGE_NT_HEADERS>(image, static_cast<std::size_t>(start));
    const DWORD place = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    if (place == 0) {
        return {};
    }
    const auto table = At<IMAGE_EXPORT_DIRECTORY>(image, place);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < table.NumberOfNames; ++i) {
        names.emplace_back(image + At<DWORD>(image, table.AddressOfNames + i * sizeof(DWORD)));
    }
    return names;
}

std::string ModuleFile::Unload() const {
    return FreeLibrary(static_cast<HMODULE>(handle)) != 0 ? "" : WordsOf(GetLastError());
}

}  // namespace flash::validator
