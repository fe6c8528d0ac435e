// Names of commands, and what depends on the chip.
#include "apps/lumoflash/Options.h"

namespace flash::app {

std::string CommandName(Command command) {
    static const std::map<Command, std::string> names{{Command::Program, "program"},
                                                      {Command::Verify, "verify"},
                                                      {Command::Read, "read"},
                                                      {Command::Erase, "erase"},
                                                      {Command::BlankCheck, "blank-check"},
                                                      {Command::Info, "info"},
                                                      {Command::MacRead, "mac read"},
                                                      {Command::MacWrite, "mac write"},
                                                      {Command::Ccfg, "ccfg"},
                                                      {Command::Devices, "devices"},
                                                      {Command::ValidatePlugin, "validate-plugin"},
                                                      {Command::Reset, "reset"},
                                                      {Command::GdbServer, "gdbserver"},
                                                      {Command::LineRun, "line run"},
                                                      {Command::LineReport, "line report"},
                                                      {Command::PoolCreate, "pool create"},
                                                      {Command::PoolImport, "pool import"},
                                                      {Command::PoolStatus, "pool status"},
                                                      {Command::PoolShow, "pool show"},
                                                      {Command::PoolReconcile, "pool reconcile"},
                                                      {Command::PoolExport, "pool export"}};
    return names.at(command);
}

bool ChangesChip(const Options& options) {
    switch (options.command) {
        case Command::Program:
        case Command::Erase:
            return !options.isDryRun;
        case Command::MacWrite:
        case Command::GdbServer:
            return true;
        case Command::Ccfg:
            return options.program.closing.IsAny() || options.lists.protect;
        default:
            return false;
    }
}

host::ProbeSpec ProbeOf(const Options& options) {
    host::ProbeSpec spec = options.probe;
    if (options.checksWrites && spec.kind != "gdb") {
        throw host::Failure(
            host::FailureKind::BadInput,
            "--check-writes: what is written is in doubt only with a GDB server, --probe gdb:HOST:PORT");
    }
    if (options.checksWrites) {
        spec.keys["check-writes"] = "yes";
    }
    return spec;
}

host::ProgramOptions ProgramOptionsFor(const Options& options, std::uint32_t sectorCount) {
    host::ProgramOptions program = options.program;
    if (program.erase == host::EraseChoice::Listed) {
        program.erasedSectors = host::ParseSectorList(options.lists.erased, sectorCount, host::Field::ErasedSectors);
    }
    if (options.lists.skipped) {
        program.skippedSectors =
            host::ParseSectorList(*options.lists.skipped, sectorCount, host::Field::SkippedSectors);
    }
    if (options.lists.protect) {
        program.closing.protect = host::ParseSectorList(*options.lists.protect, sectorCount, host::Field::Protect);
    }
    return program;
}

}  // namespace flash::app
