// One row for each command.
#include "apps/lumoflash/GdbServerMonitor.h"

#include <fmt/format.h>

#include <map>
#include <stdexcept>
#include <vector>

#include "apps/lumoflash/Texts.h"

namespace flash::app {
namespace {

constexpr host::AddressKind kAddressKinds[] = {host::AddressKind::PrimaryBle, host::AddressKind::SecondaryBle,
                                               host::AddressKind::PrimaryIeee, host::AddressKind::SecondaryIeee};

std::string DescribePlan(const Options& options) {
    static const std::map<host::EraseChoice, const char*> kErasing = {
        {host::EraseChoice::Necessary, "erases the sectors that it writes"},
        {host::EraseChoice::Retain, "keeps what else its sectors hold"},
        {host::EraseChoice::All, "erases all unprotected sectors first"},
        {host::EraseChoice::Listed, "erases the listed sectors first"},
        {host::EraseChoice::None, "erases nothing"}};
    static const std::map<host::Verification, const char*> kVerifying = {
        {host::Verification::Crc, "verifies by CRC"},
        {host::Verification::ReadBack, "verifies by reading back"},
        {host::Verification::None, "does not verify"}};
    const host::ProgramOptions& program = options.program;
    std::vector<std::string> parts = {
        kErasing.at(program.erase),
        program.write == host::WriteChoice::All ? "writes all of its sectors" : "writes only what differs",
        kVerifying.at(program.verification),
        !program.keepCcfg   ? "keeps CCFG unless the program brings one"
        : *program.keepCcfg ? "keeps CCFG"
                            : "replaces CCFG",
    };
    if (options.lists.skipped) {
        parts.push_back("skips pages " + *options.lists.skipped);
    }
    if (program.skippedFill) {
        parts.push_back(fmt::format("writes no sector of only 0x{:02X}", *program.skippedFill));
    }
    if (program.closing.IsAny() || options.lists.protect) {
        parts.emplace_back("changes the last sector afterwards");
    }
    return fmt::format("The next load {}, and is {}refused if it would lock the chip\n", fmt::join(parts, ", "),
                       options.isAgreed ? "not " : "");
}

std::string DescribeAddresses(host::Session& session) {
    std::string text;
    for (const host::AddressKind kind : kAddressKinds) {
        text += AddressText(kind, session.ReadAddress(kind));
    }
    return text;
}

std::string Erase(host::Session& session, const Options& options) {
    options.program.keepCcfg.value_or(false) ? session.EraseAllButCcfg() : session.EraseAll();
    return "Erased all unprotected sectors\n";
}

std::string CheckBlank(host::Session& session) {
    session.BlankCheck();
    return "Flash is blank\n";
}

}  // namespace

std::string MonitorHelp() {
    return "help                   these lines\n"
           "reset [halt|init|run]  start from the vectors, and stand or run\n"
           "halt                   stop the core\n"
           "erase                  erase all unprotected sectors\n"
           "blank-check            tell whether all of flash is erased\n"
           "info                   show what is connected\n"
           "mac                    read the radio addresses\n"
           "plan                   tell how the next load programs\n"
           "why                    tell why the last load or command failed\n";
}

std::string RunMonitorCommand(const std::string& command, host::Connection& connection, const Options& options) {
    host::Session& session = connection.GetSession();
    if (command == "help") {
        return MonitorHelp();
    }
    if (command == "erase") {
        return Erase(session, options);
    }
    if (command == "blank-check") {
        return CheckBlank(session);
    }
    if (command == "info") {
        return InfoText(connection) + CcfgText(session.ReadCcfg());
    }
    if (command == "mac") {
        return DescribeAddresses(session);
    }
    if (command == "plan") {
        return DescribePlan(options);
    }
    throw std::invalid_argument(fmt::format("There is no command \"{}\"; \"monitor help\" lists them", command));
}

}  // namespace flash::app
