// The command line of lumoflash and its configuration file: what is wrong is refused in the documented way, what is
// accepted and printed back gives the same options, as arguments and as a configuration file, and numbers are those
// that a second reader finds. Memory is bounded by the input's size.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/lumoflash/CommandLine.h"
#include "host/Failure.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/InMemoryFile.h"
#include "tests/fuzz/SecondNumber.h"
#include "tests/fuzz/lumoflash/PrintedOptions.h"
#include "tests/fuzz/lumoflash/SecondCommandLine.h"
#include "tests/support/AllocationMeter.h"

namespace flash::fuzz {
namespace {

using app::Options;
using Arguments = std::vector<std::string>;
using Kind = PrintedOption::Kind;

constexpr std::string_view kConfigOption = "--config";
constexpr unsigned kUsualTimeLimit = 10;  // seconds
constexpr unsigned kLongestTimeLimit = 3600;
constexpr std::size_t kMemoryBytes = 524'288;  // all that the program knows of options, twice
constexpr std::size_t kMemoryPerByte = 1024;
constexpr std::string_view kConfigMark = "---";  // the line before the configuration file

// The configuration file that any `--config` of the input means.
InMemoryFile& Config() {
    static InMemoryFile file;
    return file;
}

// A line is an argument. Whatever file the input names as configuration, it is the one in memory.
Arguments ReadInput(std::string_view text) {
    Arguments arguments;
    while (!text.empty()) {
        const std::string line(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line == kConfigMark) {
            break;
        }
        const bool isConfig = !arguments.empty() && arguments.back() == kConfigOption;
        const bool holdsConfig = line.starts_with(std::string(kConfigOption) + "=");
        arguments.push_back(isConfig      ? Config().Path()
                            : holdsConfig ? std::string(kConfigOption) + "=" + Config().Path()
                                          : line.substr(0, line.find('\0')));
    }
    Config().Put(std::string(text));
    return arguments;
}

app::ParsedCommandLine Parse(const Arguments& arguments) {
    std::vector<const char*> pointers{"lumoflash"};
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    return app::ParseCommandLine(static_cast<int>(pointers.size()), pointers.data());
}

bool AsksForHelp(const std::string& argument) {
    const std::string name = argument.substr(0, argument.find('='));
    const bool isCluster = argument.starts_with("-") && !argument.starts_with("--");
    return (isCluster && argument.find_first_of("hV") != std::string::npos) || name == "--help" ||
           name == "--version" || name == "help";
}

void CheckHelp(const std::string& help, const Arguments& arguments) {
    FuzzRequire(!help.empty(), "help says something");
    const bool isAsked = std::any_of(arguments.begin(), arguments.end(), AsksForHelp);
    FuzzRequire(isAsked, "only who asks for help or the version gets it");
}

// A number that is refused is none for the second reader either.
void CheckRefusedNumber(std::string_view refusal, std::string_view option, std::uint32_t least, std::uint32_t most) {
    const std::string start = std::string(option) + ": \"";
    const std::size_t end = refusal.rfind("\" is not a number from ");
    if (refusal.starts_with(start) && end != std::string_view::npos) {
        const std::string_view text = refusal.substr(start.size(), end - start.size());
        FuzzRequire(!SecondNumber(text, least, most), "a refused number is none");
    }
}

void CheckRefusal(const host::Failure& failure) {
    FuzzRequire(failure.Kind() == host::FailureKind::BadInput, "a wrong command line is bad input");
    const std::string_view text = failure.what();
    FuzzRequire(!text.empty(), "a refusal says something");
    CheckRefusedNumber(text, "--base", 0, 0xFFFF'FFFF);
    CheckRefusedNumber(text, "--range", 0, 0xFFFF'FFFF);
    CheckRefusedNumber(text, "--skip-fill", 0, 0xFF);
    CheckRefusedNumber(text, "--time-limit", 1, kLongestTimeLimit);
}

// The options, or nothing for a refusal, which is checked.
std::optional<Options> Read(const Arguments& arguments) {
    try {
        const app::ParsedCommandLine parsed = Parse(arguments);
        FuzzRequire(parsed.options.has_value() != parsed.help.has_value(), "either options or help");
        if (parsed.help) {
            CheckHelp(*parsed.help, arguments);
        }
        return parsed.options;
    } catch (const host::Failure& failure) {
        CheckRefusal(failure);
    } catch (const std::exception&) {
        FuzzRequire(false, "a refusal is a Failure");
    }
    return std::nullopt;
}

// The values that stand behind the option.
Arguments ValuesOf(const std::string& option, const Arguments& arguments) {
    Arguments values;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == option && i + 1 < arguments.size()) {
            values.push_back(arguments[i + 1]);
        } else if (arguments[i].starts_with(option + "=")) {
            values.push_back(arguments[i].substr(option.size() + 1));
        }
    }
    return values;
}

void RequireNumber(const std::string& option, std::optional<std::uint64_t> number, std::uint32_t most,
                   const Arguments& arguments) {
    const Arguments values = ValuesOf(option, arguments);
    const bool isFound = std::any_of(values.begin(), values.end(),
                                     [&](const std::string& value) { return SecondNumber(value, 0, most) == number; });
    FuzzRequire(!number || isFound, "an accepted number is the one that was given");
}

void RequireRange(const std::pair<std::uint32_t, std::uint32_t>& range, const Arguments& arguments) {
    const Arguments values = ValuesOf("--range", arguments);
    const bool isFound = std::any_of(values.begin(), values.end(), [&](const std::string& value) {
        const std::size_t colon = std::min(value.find(':'), value.size() - 1);
        return SecondNumber(value.substr(0, colon), 0, 0xFFFF'FFFF) == range.first &&
               SecondNumber(value.substr(colon + 1), 0, 0xFFFF'FFFF) == range.second;
    });
    FuzzRequire(isFound, "an accepted range is the one that was given");
}

void CheckNumbers(const Options& options, const Arguments& arguments) {
    const unsigned seconds = options.validation.limits.cpuSeconds;
    FuzzRequire(seconds >= 1 && seconds <= kLongestTimeLimit, "the time limit is within its bounds");
    if (ValuesOf(std::string(kConfigOption), arguments).empty() && options.properties.empty()) {
        if (seconds != kUsualTimeLimit) {
            RequireNumber("--time-limit", seconds, kLongestTimeLimit, arguments);
        }
        RequireNumber("--base", options.fileOptions.binaryBase, 0xFFFF'FFFF, arguments);
        RequireNumber("--skip-fill", options.program.skippedFill, 0xFF, arguments);
        if (options.range) {
            RequireRange(*options.range, arguments);
        }
    }
}

// Texts in brackets would be lists to the parser of arguments, and those behind a dash options.
bool IsPlainWord(const std::string& word) {
    return !word.empty() && !word.starts_with('-') && !word.starts_with('[') && word.find('{') == std::string::npos;
}

bool IsPrintable(const Options& options) {
    const Arguments words = PrintWords(options);
    return std::all_of(words.begin(), words.end(), IsPlainWord) &&
           std::all_of(options.properties.begin(), options.properties.end(),
                       [](const auto& property) { return IsPlainWord(property.first); }) &&
           std::all_of(options.faults.begin(), options.faults.end(), IsPlainWord) &&
           std::all_of(options.pool.burned.begin(), options.pool.burned.end(), IsPlainWord) &&
           std::all_of(options.validation.checkNames.begin(), options.validation.checkNames.end(), IsPlainWord);
}

// What is on the command line, and what in the configuration file.
class PrintedCommandLine {
public:
    explicit PrintedCommandLine(const Options& parsed) : expected(parsed), arguments(PrintWords(parsed)) {
        for (const std::string& name : parsed.validation.checkNames) {
            arguments.push_back("--check=" + name);
        }
        for (const std::string& fault : parsed.faults) {
            arguments.push_back("--fault=" + fault);
        }
        for (const host::RadioAddress& chip : parsed.onlyChips) {
            arguments.push_back("--only-chip=" + chip.Text());
        }
        for (const std::string& address : parsed.pool.burned) {
            arguments.push_back("--burn=" + address);
        }
    }

    void PutArgument(const PrintedOption& option) {
        arguments.push_back("--" + option.name + (option.value.empty() ? "" : "=" + option.value));
        if (option.value.empty()) {
            arguments.emplace_back();
        }
    }

    void PutProperties(bool inConfig) {
        for (const auto& [key, value] : expected.properties) {
            if (inConfig && IsAscii(key + value)) {
                tables["property"] += Quoted(key).append(" = ").append(Quoted(value)).append("\n");
            } else {
                arguments.push_back("--property=" + key + "=" + value);
            }
        }
    }

    void PutConfig(const PrintedOption& option) {
        if (!IsAscii(option.value) || option.name == "yes") {  // which a file must not say
            return PutArgument(option);
        }
        const bool isBare = option.kind == Kind::Flag || option.kind == Kind::Number;
        tables[option.command] += Quoted(option.name) + " = " + (isBare ? option.value : Quoted(option.value)) + "\n";
        if (option.kind == Kind::Path) {
            Anchor(option.name);
        }
        if (option.kind == Kind::Database) {
            AnchorDatabase(expected.recording.database);
        }
    }

    // Must give the options again.
    void Check(const char* promise) {
        if (!tables.empty()) {
            std::string text = tables[""];
            for (const auto& [name, table] : tables) {
                text += name.empty() ? "" : "[" + Quoted(name) + "]\n" + table;
            }
            Config().Put(text);
            arguments.insert(arguments.begin(), {std::string(kConfigOption), Config().Path()});
        }
        const std::optional<Options> again = Read(arguments);
        FuzzRequire(again && Describe(*again) == Describe(expected), promise);
    }

private:
    static bool IsAscii(const std::string& text) {
        return std::all_of(text.begin(), text.end(), [](char character) { return character > 0; });
    }

    static std::string Quoted(const std::string& text) {
        std::string quoted = "\"";
        for (const char character : text) {
            constexpr const char* kDigits = "0123456789ABCDEF";
            const auto code = static_cast<unsigned char>(character);
            const bool isPlain = character >= ' ' && character <= '~' && character != '"' && character != '\\';
            quoted += isPlain ? std::string(1, character)
                              : std::string("\\u00") + kDigits[code / 16 % 16] + kDigits[code % 16];
        }
        return quoted + "\"";
    }

    // Paths in the file count from its folder.
    static std::string Anchored(const std::string& path) {
        return path.starts_with('/') ? path : Config().Path().substr(0, Config().Path().rfind('/') + 1) + path;
    }

    static void AnchorDatabase(std::string& name) {
        const std::string kind = "sqlite:";
        name = name.starts_with(kind) ? kind + Anchored(name.substr(kind.size())) : name;
    }

    void Anchor(const std::string& name) {
        if (name == "probe") {
            std::string& file = expected.probe.place;
            file = file.empty() || expected.probe.kind != "virtual" ? file : Anchored(file);
            return;
        }
        const bool isOfLine = expected.command == app::Command::LineReport;
        const bool isOfPool = expected.command == app::Command::PoolExport;
        std::filesystem::path& path = name == "plugin"    ? expected.plugin
                                      : name == "devices" ? expected.devicesFolder
                                      : name == "data"    ? expected.dataFolder
                                      : name == "trace"   ? expected.traceFile
                                      : name == "picture" ? expected.pictureFile
                                      : name == "report"  ? expected.reportFile
                                      : isOfLine          ? expected.line.out
                                      : isOfPool          ? expected.pool.file
                                                          : expected.outFile;
        if (name != "out" || path != "-") {
            path = Anchored(path.string());
        }
    }

    Options expected;
    Arguments arguments;
    std::map<std::string, std::string> tables;
};

// Each option once as an argument and once in a configuration file, together with others.
void CheckPrinting(const Options& options, std::uint32_t choices) {
    PrintedCommandLine arguments(options);
    PrintedCommandLine mixed(options);
    PrintedCommandLine mixedOtherwise(options);
    arguments.PutProperties(false);
    mixed.PutProperties(choices % 2 == 0);
    mixedOtherwise.PutProperties(choices % 2 != 0);
    for (const PrintedOption& option : PrintOptions(options)) {
        choices = choices * 1'664'525 + 1'013'904'223;
        const bool isFirst = choices >> 31 == 0;
        arguments.PutArgument(option);
        (isFirst ? mixed : mixedOtherwise).PutConfig(option);
        (isFirst ? mixedOtherwise : mixed).PutArgument(option);
    }
    arguments.Check("printed arguments give the same options");
    mixed.Check("a configuration file gives the same options as arguments");
    mixedOtherwise.Check("a configuration file gives the same options as arguments");
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const Arguments arguments = ReadInput({reinterpret_cast<const char*>(data), size});
    const flash::test::AllocationMeter meter;
    const std::optional<Options> options = Read(arguments);
    FuzzRequire(meter.Bytes() <= kMemoryBytes + kMemoryPerByte * size, "memory is bounded by the input's size");
    if (const std::optional<bool> isAccepted = SecondCommandLine::Accepts(arguments)) {
        FuzzRequire(options.has_value() == *isAccepted, "both readers accept the same command lines");
    }
    if (options) {
        CheckNumbers(*options, arguments);
        if (IsPrintable(*options)) {
            std::uint32_t choices = 0;
            for (std::size_t i = 0; i < size; ++i) {
                choices = choices * 31 + data[i];
            }
            CheckPrinting(*options, choices);
        }
    }
    return 0;
}
