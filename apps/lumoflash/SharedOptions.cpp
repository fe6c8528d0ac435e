#include "apps/lumoflash/SharedOptions.h"

#include <CLI/CLI.hpp>

#include "apps/lumoflash/OptionKinds.h"

namespace flash::app {

void AddFiles(CLI::App& command, RawOptions& raw) {
    TakeAllWords(*command.add_option("FILE", raw.files,
                                     "ELF, Intel HEX, Motorola S-record or raw binary; FILE@ADDRESS for a raw one, "
                                     "- for standard input"))
        .required();
    command.add_option("--base", raw.base, "Address of the first byte of raw files without one of their own");
    command.add_option("--format", raw.format, "elf, hex, srec or bin, instead of looking at the file");
}

void AddClosing(CLI::App& command, Options& options, RawOptions& raw) {
    host::ClosingChanges& closing = options.program.closing;
    command.add_option("--ble", raw.ble, "New secondary BLE address, for example C2:00:00:00:00:01");
    command.add_option("--ieee", raw.ieee, "New secondary IEEE address of eight bytes");
    command.add_option("--protect", raw.protect, "Write-protect pages, for example 0-3,7");
    AddFlag(command, "--disable-bootloader", closing.disableBootloader, "Disable the boot loader");
    AddFlag(command, "--disable-debug", closing.disableDebug, "Disable the debug port for good");
}

void AddLoad(CLI::App& command, Options& options, RawOptions& raw) {
    command.add_option("--erase", raw.erase, "necessary, retain, all, sectors:LIST or none")->capture_default_str();
    command.add_option("--verify", raw.verify, "crc, readback or none")->capture_default_str();
    command.add_option("--write", raw.write, "changed: only sectors that do not hold yet what they should; or all")
        ->capture_default_str();
    AddFlag(command, "--keep-ccfg", raw.keepCcfg, "Keep the chip's customer configuration area");
    AddFlag(command, "--replace-ccfg", raw.replaceCcfg,
            "Do not keep it, even if the files have none; the same as --keep-ccfg=false");
    command.add_option("--skip-pages", raw.skipPages, "Neither erase nor write these pages, for example 0-3,7");
    command.add_option("--skip-fill", raw.skipFill, "Do not write sectors of only this byte value");
    AddFlag(command, "--retain-ble", options.program.closing.retainBle, "Keep the secondary BLE address");
    AddFlag(command, "--retain-ieee", options.program.closing.retainIeee, "Keep the secondary IEEE address");
    AddClosing(command, options, raw);
}

void AddDryRun(CLI::App& command, Options& options) {
    AddFlag(command, "--dry-run,-n", options.isDryRun, "Show the plan and touch nothing");
}

void AddRange(CLI::App& command, RawOptions& raw) {
    command.add_option("--range", raw.range, "ADDRESS:LENGTH, only these bytes of flash");
}

}  // namespace flash::app
