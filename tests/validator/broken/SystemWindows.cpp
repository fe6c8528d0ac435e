// The processes are the test program itself, told by an argument what to do.
#include <windows.h>

#include <array>
#include <filesystem>

#include "tests/validator/broken/System.h"

namespace flash::broken {
namespace {

std::string PathOf(HMODULE module) {
    std::array<char, 32768> path{};
    return {path.data(), GetModuleFileNameA(module, path.data(), path.size())};
}

void Start(const std::string& what, DWORD flags) {
    std::string line = "\"" + PathOf(nullptr) + "\" " + what;
    STARTUPINFOA start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION started{};
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr, &start, &started) != 0) {
        CloseHandle(started.hThread);
        CloseHandle(started.hProcess);
    }
}

}  // namespace

std::string NameOfModule() {
    static const int place = 0;
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&place), &module);
    return std::filesystem::path(PathOf(module)).stem().string();
}

void StartAProcess() { Start("__wait", 0); }

void StartADaemon() { Start("__wait", DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP); }

void LetOthersTakeMemory() {
    for (int other = 0; other < 4; ++other) {
        Start("__take", CREATE_NEW_PROCESS_GROUP);
    }
    for (;;) {
        Sleep(1000);
    }
}

void OpenSomething() { CreateEventA(nullptr, FALSE, FALSE, nullptr); }

}  // namespace flash::broken
