// Reading the values, one group of options after the other.
#include "apps/lumoflash/RawOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "apps/lumoflash/PoolOptions.h"
#include "host/Numbers.h"
#include "host/backends/OpenProbe.h"
#include "host/gdb/Endpoint.h"

namespace flash::app {
namespace {

using host::AddressKind;
using host::EraseChoice;
using host::Field;
using host::FileFormat;
using host::Verification;

const std::string kListedSectors = "sectors:";

struct Bounds {
    std::uint32_t least, most;
};

constexpr Bounds kWord{0, 0xFFFF'FFFF};
constexpr Bounds kByte{0, 0xFF};
constexpr Bounds kTimeLimit{1, 3600};  // seconds
constexpr Bounds kPacketBytes{512, 65536};

std::uint32_t NumberIn(const std::string& text, Bounds bounds, const std::string& option) {
    const std::optional<std::uint32_t> number = host::ParseNumber(text);
    if (!number || *number < bounds.least || *number > bounds.most) {
        Refuse(fmt::format("{}: \"{}\" is not a number from {} to {} (decimal, or hexadecimal after 0x)", option, text,
                           bounds.least, bounds.most));
    }
    return *number;
}

template <typename Value>
using Words = std::vector<std::pair<std::string, Value>>;

template <typename Value>
Value ParseWord(const std::string& text, const Words<Value>& words, const std::string& option) {
    std::string known;
    for (const auto& [word, value] : words) {
        if (word == text) {
            return value;
        }
        known += known.empty() ? "" : ", ";
        known += word;
    }
    Refuse(fmt::format("{}: \"{}\" is none of {}", option, text, known));
}

const Words<AddressKind> kAddressKinds{{"pri-ble", AddressKind::PrimaryBle},
                                       {"sec-ble", AddressKind::SecondaryBle},
                                       {"pri-ieee", AddressKind::PrimaryIeee},
                                       {"sec-ieee", AddressKind::SecondaryIeee}};

class Finisher {
public:
    Finisher(const RawOptions& typed, const IsGiven& given, Options& finished)
        : raw(typed), isGiven(given), options(finished) {}

    void Finish() {
        FinishGlobal();
        FinishFiles();
        FinishProgram();
        FinishChips();
        FinishClosing();
        FinishRead();
        FinishRange();
        FinishMac();
        FinishValidation();
        FinishErase();
        FinishGdbServer();
        FinishPoolOptions(raw, options);
    }

private:
    bool Given(Command command, const std::string& option) const { return isGiven(command, option); }

    void FinishGlobal() {
        options.probe = host::ParseProbe(raw.probe);
        if (options.isJson && options.isQuiet) {
            Refuse("--json and --quiet exclude each other");
        }
        const bool needsPart = options.command != Command::Devices && options.command != Command::ValidatePlugin &&
                               !IsOfLine(options.command) && !IsOfPool(options.command);
        if (options.device.empty() && needsPart) {
            Refuse("Which part is it? Give --device NAME; `lumoflash devices` lists them");
        }
    }

    void FinishFiles() {
        std::ranges::transform(raw.files, std::back_inserter(options.files), host::ParseProgramSource);
        if (std::ranges::count_if(options.files, &host::ProgramSource::IsStandardInput) > 1) {
            Refuse("FILE: standard input (-) can be read only once");
        }
        if (!raw.base.empty()) {
            options.fileOptions.binaryBase = NumberIn(raw.base, kWord, "--base");
        }
        if (!raw.format.empty()) {
            options.fileOptions.format = host::ParseFileFormat(raw.format);
            if (!options.fileOptions.format) {
                Refuse(fmt::format("--format: \"{}\" is none of elf, hex, srec, bin", raw.format));
            }
        }
    }

    void FinishProgram() {
        host::ProgramOptions& program = options.program;
        const bool isListed = raw.erase.starts_with(kListedSectors);
        program.erase = ParseWord<EraseChoice>(isListed ? "sectors:LIST" : raw.erase,
                                               {{"necessary", EraseChoice::Necessary},
                                                {"retain", EraseChoice::Retain},
                                                {"all", EraseChoice::All},
                                                {"sectors:LIST", EraseChoice::Listed},
                                                {"none", EraseChoice::None}},
                                               "--erase");
        options.lists.erased = isListed ? raw.erase.substr(kListedSectors.size()) : "";
        program.verification = ParseWord<Verification>(
            raw.verify,
            {{"crc", Verification::Crc}, {"readback", Verification::ReadBack}, {"none", Verification::None}},
            "--verify");
        program.write = ParseWord<host::WriteChoice>(
            raw.write, {{"changed", host::WriteChoice::Changed}, {"all", host::WriteChoice::All}}, "--write");
        options.verifyBy = ParseWord<host::VerifyBy>(
            raw.by, {{"target", host::VerifyBy::Target}, {"link", host::VerifyBy::Link}}, "--by");
        if (raw.keepCcfg && raw.replaceCcfg) {
            Refuse("--keep-ccfg and --replace-ccfg exclude each other");
        }
        const Command command = options.command == Command::GdbServer ? Command::GdbServer : Command::Program;
        if (raw.replaceCcfg || Given(command, "--keep-ccfg")) {
            program.keepCcfg = raw.keepCcfg;
        }
        if (Given(command, "--skip-pages")) {
            options.lists.skipped = raw.skipPages;
        }
        if (Given(command, "--skip-fill")) {
            program.skippedFill = static_cast<std::uint8_t>(NumberIn(raw.skipFill, kByte, "--skip-fill"));
        }
    }

    void FinishChips() {
        for (const std::string& text : raw.onlyChips) {
            options.onlyChips.push_back(host::ParseRadioAddress(text, host::kIeeeAddressBytes, Field::OnlyChip));
        }
    }

    void FinishClosing() {
        host::ClosingChanges& closing = options.program.closing;
        const bool hasOwn = options.command == Command::Ccfg || options.command == Command::GdbServer;
        const Command command = hasOwn ? options.command : Command::Program;
        if (Given(command, "--ble")) {
            closing.ble = host::ParseRadioAddress(raw.ble, host::kBleAddressBytes, Field::Ble);
        }
        if (Given(command, "--ieee")) {
            closing.ieee = host::ParseRadioAddress(raw.ieee, host::kIeeeAddressBytes, Field::Ieee);
        }
        if (Given(command, "--protect")) {
            options.lists.protect = raw.protect;
        }
    }

    void FinishRead() {
        if (options.command == Command::Read && options.outFile.empty()) {
            Refuse("Where do the bytes go? Give --out FILE; - is standard output");
        }
        if (options.command == Command::Read && options.isJson && options.outFile == "-") {
            Refuse("--json and --out - exclude each other: both write to standard output");
        }
        options.outFormat = host::FileFormatOfName(options.outFile.string()).value_or(FileFormat::Binary);
        if (Given(Command::Read, "--format")) {
            options.outFormat = ParseWord<FileFormat>(
                raw.outFormat,
                {{"bin", FileFormat::Binary}, {"hex", FileFormat::IntelHex}, {"srec", FileFormat::SRecord}},
                "--format");
        }
        if (options.outFormat == FileFormat::Elf) {
            Refuse(fmt::format("--out {}: read writes no ELF; choose another ending, or --format bin, hex or srec",
                               options.outFile.string()));
        }
    }

    void FinishRange() {
        const Command commands[] = {Command::Read, Command::Verify, Command::BlankCheck};
        if (std::ranges::none_of(commands, [&](Command command) { return Given(command, "--range"); })) {
            return;
        }
        const std::size_t colon = raw.range.find(':');
        if (colon == std::string::npos) {
            Refuse(fmt::format("--range: \"{}\" is not ADDRESS:LENGTH", raw.range));
        }
        options.range = {NumberIn(raw.range.substr(0, colon), kWord, "--range"),
                         NumberIn(raw.range.substr(colon + 1), kWord, "--range")};
    }

    void FinishMac() {
        if (options.command == Command::MacRead) {
            for (const std::string& kind : raw.kinds) {
                options.addressKinds.push_back(ParseWord(kind, kAddressKinds, "mac read"));
            }
            for (const auto& [word, kind] : kAddressKinds) {
                if (raw.kinds.empty()) {
                    options.addressKinds.push_back(kind);
                }
            }
        } else if (options.command == Command::MacWrite) {
            const auto kind = ParseWord<AddressKind>(
                raw.macKind, {{"ble", AddressKind::SecondaryBle}, {"ieee", AddressKind::SecondaryIeee}}, "mac write");
            const bool isBle = kind == AddressKind::SecondaryBle;
            options.addressKinds = {kind};
            options.newAddress = host::ParseRadioAddress(
                raw.newAddress, isBle ? host::kBleAddressBytes : host::kIeeeAddressBytes, Field::Address);
        }
    }

    void FinishValidation() {
        validator::ValidatePluginOptions& validation = options.validation;
        validation.limits.cpuSeconds = NumberIn(raw.timeLimit, kTimeLimit, "--time-limit");
        validation.limits.wallSeconds = 6 * validation.limits.cpuSeconds;
        if (options.command == Command::ValidatePlugin && validation.modulePath.empty() && !validation.isListing) {
            Refuse("Which plug-in is it? Give the path of its module, or --list");
        }
    }

    void FinishErase() {
        if (Given(Command::Erase, "--sectors")) {
            options.sectors = raw.sectors;
            if (options.keepCcfg) {
                Refuse("--keep-ccfg goes with erasing all of flash; with --sectors leave the last sector out instead");
            }
        }
    }

    void FinishGdbServer() {
        options.server.packetBytes = NumberIn(raw.packetSize, kPacketBytes, "--packet-size");
        try {
            host::gdb::ParseEndpoint(options.server.listen);
        } catch (const std::invalid_argument& error) {
            Refuse(fmt::format("--listen: {}", error.what()));
        }
        if (options.command == Command::GdbServer && options.isJson) {
            Refuse("--json has nothing to tell of a gdbserver: its standard output is one line, or the protocol");
        }
    }

    const RawOptions& raw;
    const IsGiven& isGiven;
    Options& options;
};

}  // namespace

void FinishOptions(const RawOptions& raw, const IsGiven& isGiven, Options& options) {
    Finisher(raw, isGiven, options).Finish();
}

}  // namespace flash::app
