// A host whose services do nothing, with success, and give no value: for hosts that need only a few of them. A call of
// a reserved slot ends the program.
#pragma once

#include <cstdio>
#include <cstdlib>

#include "flashdevice/interface/IFlashHost.h"

namespace flash::test {

class StubHost : public IFlashHost {
public:
    const char* GetProperty(const char*) override { return nullptr; }
    const char* SetProperty(const char*, const char*) override { return nullptr; }
    const char* LoadProgram(const char*, const char*, const char*) override { return nullptr; }
    const char* LookUpSymbol(const char*, std::uint64_t*) override { return nullptr; }
    const char* RunTarget() override { return nullptr; }
    void Reserved5() final { Abort(5); }
    const char* HaltTarget() override { return nullptr; }
    void Reserved7() final { Abort(7); }
    void Reserved8() final { Abort(8); }
    void Reserved9() final { Abort(9); }
    const char* ReadMemory(void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override { return nullptr; }
    const char* WriteMemory(const void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override {
        return nullptr;
    }
    void Reserved12() final { Abort(12); }
    const char* ReadRegister(std::uint32_t, std::uint64_t*) override { return nullptr; }
    const char* WriteRegister(std::uint32_t, std::uint64_t) override { return nullptr; }
    void Reserved15() final { Abort(15); }
    void Reserved16() final { Abort(16); }
    void Reserved17() final { Abort(17); }
    void Reserved18() final { Abort(18); }
    const char* ReportError(const char*) override { return nullptr; }
    const char* PrintMessage(const char*) override { return nullptr; }
    const char* GetDirectoryPath() override { return ""; }
    const char* WaitMilliseconds(std::uint32_t) override { return nullptr; }
    void Reserved23() final { Abort(23); }
    void Reserved24() final { Abort(24); }
    void Reserved25() final { Abort(25); }
    void Reserved26() final { Abort(26); }
    const char* SelectCore(const char*) override { return nullptr; }

private:
    [[noreturn]] static void Abort(int slot) {
        std::fprintf(stderr, "the plug-in called the reserved host slot %d\n", slot);
        std::abort();
    }
};

}  // namespace flash::test
