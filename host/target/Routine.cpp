#include "host/target/Routine.h"

#include <fmt/format.h>

#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

namespace flash::host {
namespace {

std::string WhereItIs(const CoreState& state) {
    if (state.isRunning) {
        return "the core is running";
    }
    const std::string note = state.note.empty() ? "" : ", " + state.note;
    return state.programCounter ? fmt::format("the core is at 0x{:08X}{}", *state.programCounter, note)
                                : "the core is halted" + note;
}

}  // namespace

std::uint32_t Routine::Find(std::string_view symbol) const {
    const auto address = symbols.Find(symbol);
    if (!address) {
        throw RoutineError(fmt::format("{} has no symbol \"{}\"", name, symbol));
    }
    return *address;
}

Routine ReadRoutine(const std::filesystem::path& file) {
    try {
        const std::vector<std::uint8_t> content = LoadFile(file);
        return {file.filename().string(), ReadElf(content, file.string()).Runs(),
                ReadElfSymbols(content, file.string())};
    } catch (const ProgramFileError& error) {
        throw RoutineError(error.what());
    }
}

void LoadRoutine(Probe& probe, const Routine& routine) {
    probe.SelectRoute("Cortex");
    probe.Halt();
    for (const DataRun& run : routine.runs) {
        probe.WriteMemory(run.address, run.bytes, 1);
    }
}

void CallRoutine(Probe& probe, const Routine& routine, const RoutineCall& call) {
    constexpr std::uint32_t kThumbBit = 1;
    probe.WriteMemory(call.argumentAddress, call.arguments, 1);
    probe.WriteRegister(kProgramCounterRegister, call.entry & ~kThumbBit);
    probe.Run();
    const bool isDone = probe.PauseWhileWordIs(call.doneAddress, 0, call.bound);
    if (!isDone) {
        const CoreState state = probe.ReadCoreState();
        probe.Halt();
        throw RoutineError(
            fmt::format("{} did not end within {} ms: {}", routine.name, call.bound.count() / 1000, WhereItIs(state)));
    }
    probe.Halt();
}

}  // namespace flash::host
