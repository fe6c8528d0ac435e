// The options of each command, with CLI11.
#include "apps/lumoflash/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <map>
#include <memory>

#include "apps/lumoflash/Completion.h"
#include "apps/lumoflash/Config.h"
#include "apps/lumoflash/ConfigChoice.h"
#include "apps/lumoflash/FieldOptions.h"
#include "apps/lumoflash/GlobalOptions.h"
#include "apps/lumoflash/Help.h"
#include "apps/lumoflash/LineOptions.h"
#include "apps/lumoflash/OptionKinds.h"
#include "apps/lumoflash/PoolOptions.h"
#include "apps/lumoflash/PropertyOptions.h"
#include "apps/lumoflash/RawOptions.h"
#include "apps/lumoflash/SharedOptions.h"
#include "apps/lumoflash/ValueNames.h"
#include "apps/lumoflash/Version.h"

namespace flash::app {
namespace {

class CommandLine {
public:
    CommandLine() : app("Programs the flash of Lumo microcontrollers through a flash plug-in.", "lumoflash") {
        app.require_subcommand(1);
        app.set_version_flag("--version,-V", VersionText());
        app.formatter(MakeHelpFormatter());
        app.footer(
            "Exit codes: 0 done, 1 operation failed, 2 usage or bad input, 3 difference or not blank,\n"
            "4 chip or plug-in not reachable, 130 interrupted. `lumoflash help COMMAND` shows a command.\n"
            "Example:\n  lumoflash --device LumoF2F352 --probe virtual:chip.bin program app.elf");
        AddGlobalOptions(app, options, raw);
        AddProgram();
        AddVerify();
        AddRead();
        AddErase();
        AddRange(*AddCommand(app, Command::BlankCheck, "blank-check", "Tells whether flash is erased.", "blank-check"),
                 raw);
        AddCommand(app, Command::Info, "info", "Shows what is connected.", "info");
        AddMac();
        AddClosing(*AddCommand(app, Command::Ccfg, "ccfg", "Shows the customer configuration area, or changes it.",
                               "ccfg --protect 0-3 --yes"),
                   options, raw);
        AddCommand(app, Command::Devices, "devices", "Lists the parts that are known.", "devices");
        AddValidatePlugin();
        AddCommand(app, Command::Reset, "reset", "Resets the core and lets it run from its vectors.", "reset");
        AddGdbServer();
        const auto add = [this](auto& parent, auto command, const auto&... texts) {
            return AddCommand(parent, command, texts...);
        };
        AddPool(app, add, options, raw);
        AddLine(app, add, options);
        NameValues(app);
    }

    CommandText Describe() const { return app::Describe(app); }

    ParsedCommandLine Parse(int argumentCount, const char* const* arguments) {
        try {
            // CLI11 takes its arguments back to front.
            std::vector<std::string> reversed = AsParsed({arguments + 1, arguments + argumentCount});
            RequireValuesBehindEquals(reversed);
            std::reverse(reversed.begin(), reversed.end());
            app.parse(reversed);
            ApplyConfig();
            options.properties = ReadProperties(raw);
            ApplyProperties();
        } catch (const CLI::ParseError& error) {
            return {std::nullopt, HelpFor(app, error)};
        }
        Finish();
        return {options, std::nullopt};
    }

    // Reads the value as if the entry's command were given, so that a mistake shows before the day on which it counts.
    void Try(const ConfigEntry& entry) {
        ApplyValues(OptionOf(entry), entry.values, entry.place);
        // Another one would ask for what the file need not say.
        options.command = entry.command == CommandName(Command::Ccfg) ? Command::Ccfg : Command::Devices;
        options.device = "any";
        try {
            Finish();
        } catch (const host::Failure& failure) {
            Refuse(fmt::format("{}: {}", entry.place, InWords(failure.Text())));
        }
    }

private:
    CLI::App* AddCommand(CLI::App& parent, Command command, const std::string& name, const std::string& description,
                         const std::string& example) {
        CLI::App* added = parent.add_subcommand(name, description);
        added->footer("Example:\n  lumoflash --device LumoF2F352 --probe virtual:chip.bin " + example);
        added->fallthrough();
        added->final_callback([this, command] { options.command = command; });
        commands[command] = added;
        return added;
    }

    void AddProgram() {
        CLI::App& command =
            *AddCommand(app, Command::Program, "program", "Programs files into flash and verifies them.",
                        "program app.elf --verify readback");
        AddFiles(command, raw);
        AddLoad(command, options, raw);
        AddDryRun(command, options);
        AddRecording(command, options, raw);
        TakeOneAtATime(*command.add_option("--only-chip", raw.onlyChips,
                                           "Program no chip but that of this primary IEEE address; may be repeated"));
        AddFlag(command, "--run", options.runsAfterwards, "Reset the core and let it run when all is done");
        command.add_option("--picture", options.pictureFile, "Write a picture of what happens to flash here, as SVG");
        command.add_option("--report", options.reportFile, "Write a page about the run here, as HTML");
    }

    void AddVerify() {
        CLI::App& command =
            *AddCommand(app, Command::Verify, "verify", "Compares flash with files, byte by byte.", "verify app.elf");
        AddFiles(command, raw);
        command.add_option("--by", raw.by, "target: a routine of its own compares; or link: all is read")
            ->capture_default_str();
        AddRange(command, raw);
    }

    void AddRead() {
        CLI::App& command = *AddCommand(app, Command::Read, "read", "Reads flash into a file.",
                                        "read --out flash.bin --range 0:0x2000");
        command.add_option("--out,-o", options.outFile, "The file; - for standard output (required)");
        AddRange(command, raw);
        command.add_option("--format", raw.outFormat, "bin, hex or srec, instead of by the file's ending");
    }

    void AddErase() {
        CLI::App& command =
            *AddCommand(app, Command::Erase, "erase", "Erases all of flash, or some sectors.", "erase --sectors 4-7");
        command.add_option("--sectors", raw.sectors, "Only these, for example 0-3,7");
        AddFlag(command, "--keep-ccfg", options.keepCcfg, "Keep the customer configuration area");
        AddDryRun(command, options);
    }

    void AddMac() {
        CLI::App* mac = app.add_subcommand("mac", "Reads and writes the radio addresses.");
        mac->require_subcommand(1);
        mac->fallthrough();
        mac->footer("Example:\n  lumoflash --device LumoF2F352 --probe virtual:chip.bin mac read");
        CLI::App* read =
            AddCommand(*mac, Command::MacRead, "read", "Reads all addresses, or those named.", "mac read sec-ble");
        TakeAllWords(*read->add_option("KIND", raw.kinds, "pri-ble, sec-ble, pri-ieee, sec-ieee"));
        CLI::App* write = AddCommand(*mac, Command::MacWrite, "write", "Writes a secondary address.",
                                     "mac write ble C2:00:00:00:00:01");
        write->add_option("KIND", raw.macKind, "ble or ieee")->required();
        write->add_option("ADDRESS", raw.newAddress, "Most significant byte first")->required();
    }

    void AddValidatePlugin() {
        CLI::App& command = *AddCommand(app, Command::ValidatePlugin, "validate-plugin",
                                        "Checks any flash plug-in through its binary interface; needs no chip.", "");
        command.footer("Example:\n  lumoflash validate-plugin ./libflashdevice.so");
        validator::ValidatePluginOptions& validation = options.validation;
        CLI::Option* path =
            command.add_option("PATH", validation.modulePath, "The plug-in's module (required but for --list)");
        TakeOneAtATime(*command.add_option("--check", validation.checkNames, "Only this check; may be repeated"));
        AddFlag(command, "--list", validation.isListing, "Show the checks, run none")->excludes(path);
        command.add_option("--time-limit", raw.timeLimit, "Seconds of computing for one check, 1 to 3600")
            ->capture_default_str();
    }

    void AddGdbServer() {
        CLI::App& command = *AddCommand(app, Command::GdbServer, "gdbserver",
                                        "Lets GDB, and what uses it, program and debug the chip.", "gdbserver");
        command.add_option("--listen", options.server.listen, "HOST:PORT; port 0 takes a free one")
            ->capture_default_str();
        AddFlag(command, "--stdio", options.server.isStdio, "Speak over standard input and output");
        AddFlag(command, "--once", options.server.isOnce, "End with the first client");
        command.add_option("--packet-size", raw.packetSize, "Bytes of the longest packet")->capture_default_str();
        AddLoad(command, options, raw);
    }

    // Fills options that the command line does not have.
    void ApplyConfig() {
        const std::optional<ConfigChoice> config = ChooseConfig(raw.config);
        if (!config) {
            return;
        }
        options.configFile = config->file;
        options.isConfigNamed = config->isNamed;
        CommandLine trial;
        for (const ConfigEntry& entry : ReadConfig(config->file)) {
            if (!config->isNamed) {
                RequireNoCode(entry, config->file);
            }
            CLI::App& owner = OwnerOf(entry);
            CLI::Option* option = &OptionOf(entry);
            if (entry.option == "yes") {
                Refuse(entry.place + ": yes is said on the command line alone, by whoever starts the command");
            }
            if (&owner != &app) {
                trial.Try(entry);
            }
            if (entry.option == "set") {
                std::ranges::for_each(entry.values, [&](const auto& text) { CheckProperty(text, entry.place); });
                std::ranges::copy(entry.values, std::back_inserter(raw.configProperties.checked));
            } else if (entry.option == "property") {
                std::ranges::copy(entry.values, std::back_inserter(raw.configProperties.unchecked));
            } else if ((&owner == &app || owner.parsed()) && option->count() == 0) {
                ApplyValues(*option, entry.values, entry.place);
            }
        }
    }

    CLI::Option& OptionOf(const ConfigEntry& entry) {
        CLI::App& owner = OwnerOf(entry);
        CLI::Option* option = owner.get_option_no_throw("--" + entry.option);
        if (option == nullptr || entry.option == "config" || entry.option == "help" || entry.option == "version") {
            RefuseUnknownOption(entry, owner);
        }
        return *option;
    }

    void Finish() {
        const auto isGiven = [this](Command command, const std::string& option) {
            return commands.at(command)->count(option) != 0;
        };
        FinishOptions(raw, isGiven, options);
    }

    CLI::App& OwnerOf(const ConfigEntry& entry) {
        if (entry.command.empty()) {
            return app;
        }
        for (const auto& [command, owner] : commands) {
            if (CommandName(command) == entry.command) {
                return *owner;
            }
        }
        Refuse(fmt::format("{}: there is no command {}", entry.place, entry.command));
    }

    // Where the command has an option for a property; one that is given by its name wins.
    void ApplyProperties() {
        for (const OptionValue& given : OptionsOf(options.properties)) {
            CLI::Option* option = commands.at(options.command)->get_option_no_throw(given.option);
            option = option == nullptr ? app.get_option_no_throw(given.option) : option;
            if (option != nullptr && option->count() == 0) {
                ApplyValues(*option, {given.value}, "--set");
            }
        }
    }

    CLI::App app;
    std::map<Command, CLI::App*> commands;
    Options options;
    RawOptions raw;
};

}  // namespace

ParsedCommandLine ParseCommandLine(int argumentCount, const char* const* arguments) {
    if (argumentCount > 1 && std::string_view(arguments[1]) == "__complete") {
        return {std::nullopt, AnswerShell(DescribeCommandLine(), {arguments + 2, arguments + argumentCount})};
    }
    return CommandLine().Parse(argumentCount, arguments);
}

std::function<void(const ConfigEntry& entry)> MakeEntryCheck() {
    return [trial = std::make_shared<CommandLine>()](const ConfigEntry& entry) { trial->Try(entry); };
}

CommandText DescribeCommandLine() { return CommandLine().Describe(); }

}  // namespace flash::app
