// A check's process is the program itself, started with arguments that say so, in a job that ends with it.
#include <windows.h>

#include <psapi.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>
#include <vector>

#include "validator/CheckProcess.h"
#include "validator/Expectation.h"

namespace flash::validator {
namespace {

constexpr char kCheckWord[] = "__check";
constexpr DWORD kLookUpMilliseconds = 5;
constexpr DWORD kComputingOver = 0x4F766572;  // an exit code that nobody else has

void Require(BOOL isDone, const char* what) {
    if (isDone == 0) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
    }
}

class Handle {
public:
    explicit Handle(HANDLE given = nullptr) : handle(given) {}
    ~Handle() { Close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    void Close() {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
        handle = nullptr;
    }
    HANDLE Get() const { return handle; }
    HANDLE* Place() { return &handle; }

private:
    HANDLE handle;
};

std::string OwnPath() {
    std::array<char, 32768> path{};
    const DWORD length = GetModuleFileNameA(nullptr, path.data(), path.size());
    return {path.data(), length};
}

std::string Described(DWORD code) {
    constexpr struct {
        DWORD code;
        const char* name;
    } kNames[] = {{EXCEPTION_ACCESS_VIOLATION, "access violation"},
                  {EXCEPTION_STACK_OVERFLOW, "stack overflow"},
                  {EXCEPTION_ILLEGAL_INSTRUCTION, "illegal instruction"},
                  {EXCEPTION_INT_DIVIDE_BY_ZERO, "division by zero"},
                  {0xC0000374, "damaged heap"},
                  {0xE06D7363, "a C++ exception of another compiler that nobody caught"},
                  {0x20474343, "a C++ exception that nobody caught"}};
    for (const auto& known : kNames) {
        if (known.code == code) {
            return "exception " + Hex(code) + " (" + known.name + ")";
        }
    }
    const bool isException = code >= 0xC0000000;
    return isException ? "exception " + Hex(code) : "an exit of the process with code " + std::to_string(code);
}

// What the check's process inherits, and nothing else of this one.
class Inheritance {
public:
    Inheritance() {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        Require(CreatePipe(readEnd.Place(), writeEnd.Place(), &inherited, 0), "CreatePipe");
        Require(SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0), "SetHandleInformation");
        *nowhere.Place() = CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       &inherited, OPEN_EXISTING, 0, nullptr);
        handles = {writeEnd.Get(), nowhere.Get()};
        SIZE_T bytes = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
        place.resize(bytes);
        start.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(place.data());
        Require(InitializeProcThreadAttributeList(start.lpAttributeList, 1, 0, &bytes), "attributes");
        Require(UpdateProcThreadAttribute(start.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                          sizeof handles, nullptr, nullptr),
                "attributes");
        start.StartupInfo.cb = sizeof start;
        start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        start.StartupInfo.hStdInput = start.StartupInfo.hStdOutput = start.StartupInfo.hStdError = nowhere.Get();
    }
    ~Inheritance() { DeleteProcThreadAttributeList(start.lpAttributeList); }
    Inheritance(const Inheritance&) = delete;
    Inheritance& operator=(const Inheritance&) = delete;

    Handle readEnd, writeEnd, nowhere;
    STARTUPINFOEXA start{};

private:
    std::array<HANDLE, 2> handles{};
    std::vector<char> place;
};

// All that is in it ends with it. Its bound of memory is the system's and comes after ours, which can be told.
HANDLE MakeJob(const RunLimits& limits) {
    const HANDLE job = CreateJobObjectA(nullptr, nullptr);
    Require(job != nullptr ? TRUE : FALSE, "CreateJobObject");
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION bounds{};
    bounds.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_JOB_MEMORY | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    bounds.JobMemoryLimit = (std::size_t{limits.mebibytes} * 2 + 256) << 20;
    Require(SetInformationJobObject(job, JobObjectExtendedLimitInformation, &bounds, sizeof bounds), "job");
    return job;
}

std::uint64_t MemoryOf(HANDLE process) {
    PROCESS_MEMORY_COUNTERS counters{};
    return GetProcessMemoryInfo(process, &counters, sizeof counters) != 0 ? counters.PagefileUsage : 0;
}

double SecondsOf(const FILETIME& time) {
    const std::uint64_t ticks = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    return static_cast<double>(ticks) / 1e7;
}

class CheckProcess {
public:
    CheckProcess(const Check& check, const std::string& modulePath, const RunLimits& limits) : job(MakeJob(limits)) {
        const auto number = reinterpret_cast<std::uintptr_t>(inheritance.writeEnd.Get());
        const std::string program = OwnPath();
        // A file's name has no quotes.
        std::string line = "\"" + program + "\" " + kCheckWord + " " + check.name + " \"" + modulePath + "\" " +
                           std::to_string(number) + " " + std::to_string(limits.cpuSeconds);
        PROCESS_INFORMATION started{};
        Require(CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                               CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                               &inheritance.start.StartupInfo, &started),
                "CreateProcess");
        *process.Place() = started.hProcess;
        const Handle thread(started.hThread);
        Require(AssignProcessToJobObject(job.Get(), process.Get()), "AssignProcessToJobObject");
        ResumeThread(thread.Get());
        inheritance.writeEnd.Close();
    }
    ~CheckProcess() {
        TerminateJobObject(job.Get(), 1);
        WaitForSingleObject(process.Get(), INFINITE);
    }
    CheckProcess(const CheckProcess&) = delete;
    CheckProcess& operator=(const CheckProcess&) = delete;

    End Wait(const RunLimits& limits, const std::atomic<bool>& isInterrupted) {
        using Clock = std::chrono::steady_clock;
        const auto deadline = Clock::now() + std::chrono::seconds(limits.wallSeconds);
        while (WaitForSingleObject(process.Get(), kLookUpMilliseconds) == WAIT_TIMEOUT) {
            Receive();
            if (isInterrupted) {
                return End::Interrupted;
            }
            if (Clock::now() >= deadline) {
                return End::TimeOver;
            }
            if (UsedMebibytes() > limits.mebibytes) {
                return End::MemoryOver;
            }
        }
        Receive();
        return ExitCode() == 0 ? End::OfItself : ExitCode() == kComputingOver ? End::ComputingOver : End::Crash;
    }

    DWORD ExitCode() const {
        DWORD code = 0;
        Require(GetExitCodeProcess(process.Get(), &code), "GetExitCodeProcess");
        return code;
    }
    const std::string& Message() const { return message; }

private:
    void Receive() {
        DWORD waiting = 0;
        while (PeekNamedPipe(inheritance.readEnd.Get(), nullptr, 0, nullptr, &waiting, nullptr) != 0 && waiting != 0) {
            std::array<char, 4096> bytes;
            DWORD count = 0;
            if (ReadFile(inheritance.readEnd.Get(), bytes.data(), bytes.size(), &count, nullptr) == 0) {
                return;
            }
            message.append(bytes.data(), count);
        }
    }

    // Of the check's process and what it has started.
    std::uint64_t UsedMebibytes() const {
        // The system's array of one goes on behind its type's end.
        alignas(JOBOBJECT_BASIC_PROCESS_ID_LIST) std::array<std::byte, 4096> place{};
        const auto* found = reinterpret_cast<const JOBOBJECT_BASIC_PROCESS_ID_LIST*>(place.data());
        if (QueryInformationJobObject(job.Get(), JobObjectBasicProcessIdList, place.data(), place.size(), nullptr) ==
            0) {
            return MemoryOf(process.Get()) >> 20;
        }
        std::uint64_t bytes = 0;
        const ULONG_PTR* const numbers = found->ProcessIdList;
        for (DWORD i = 0; i < found->NumberOfProcessIdsInList; ++i) {
            const auto number = static_cast<DWORD>(numbers[i]);
            const Handle other(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, number));
            bytes += other.Get() == nullptr ? 0 : MemoryOf(other.Get());
        }
        return bytes >> 20;
    }

    Inheritance inheritance;
    const Handle job;
    Handle process;
    std::string message;
};

// The check's process looks at its own clock: not every system tells it to another one.
DWORD WINAPI EndWhenComputingIsOver(void* limit) {
    for (;;) {
        FILETIME made{}, ended{}, inSystem{}, inProgram{};
        GetProcessTimes(GetCurrentProcess(), &made, &ended, &inSystem, &inProgram);
        if (SecondsOf(inSystem) + SecondsOf(inProgram) > static_cast<double>(reinterpret_cast<std::uintptr_t>(limit))) {
            TerminateProcess(GetCurrentProcess(), kComputingOver);
        }
        Sleep(50);
    }
}

// No window asks whoever is not there what to do about a crash.
LONG WINAPI EndWithItsCode(EXCEPTION_POINTERS* exception) {
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

ProcessEnd RunInProcess(const Check& check, const std::string& modulePath, const RunLimits& limits,
                        const std::atomic<bool>& isInterrupted) {
    CheckProcess process(check, modulePath, limits);
    const End end = process.Wait(limits, isInterrupted);
    return {end, end == End::Crash ? Described(process.ExitCode()) : "", process.Message()};
}

std::optional<int> RunAsCheck(int argumentCount, char** arguments) {
    if (argumentCount != 6 || std::string_view(arguments[1]) != kCheckWord) {
        return std::nullopt;
    }
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    SetUnhandledExceptionFilter(EndWithItsCode);
    const Check* check = FindCheck(arguments[2]);
    if (check == nullptr) {
        return 1;
    }
    const auto pipe = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::strtoull(arguments[4], nullptr, 10)));
    const auto seconds = static_cast<std::uintptr_t>(std::strtoull(arguments[5], nullptr, 10));
    CreateThread(nullptr, 0, EndWhenComputingIsOver, reinterpret_cast<void*>(seconds), 0, nullptr);
    const std::string message = Perform(*check, arguments[3]);
    DWORD count = 0;
    const BOOL isSent = WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &count, nullptr);
    // The module is not unloaded: how it ends is the result of one check, and not of each.
    TerminateProcess(GetCurrentProcess(), isSent != 0 ? 0 : 1);
    return 1;
}

}  // namespace flash::validator
