// validate-plugin: parse, run, print, exit code. The codes are those of `lumoflash validate-plugin`.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "apps/validate_plugin/Completion.h"
#include "apps/validate_plugin/Options.h"
#include "validator/CheckProcess.h"

namespace {

using flash::validate_plugin::Action;
using flash::validate_plugin::Options;
using flash::validator::ValidationReport;

enum Code { kDone = 0, kBroken = 1, kUsage = 2, kNotLoaded = 4, kInterrupted = 130 };

std::atomic<bool> isInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

extern "C" void Interrupt(int) { isInterrupted = true; }

void Print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw std::runtime_error("standard output takes no more");
    }
}

// The old page or the new one, whole.
void WriteFile(const std::filesystem::path& path, const std::string& text) {
    const std::filesystem::path unfinished = path.string() + ".new";
    std::ofstream file(unfinished, std::ios::binary);
    file << text;
    file.close();
    std::error_code error = file ? std::error_code() : std::make_error_code(std::errc::io_error);
    if (!error) {
        std::filesystem::rename(unfinished, path, error);
    }
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        throw std::runtime_error(path.string() + " cannot be written");
    }
}

int List(const Options& options) {
    for (const flash::validator::Check& check : flash::validator::ChecksFor(options.validation)) {
        Print(std::string(check.name) + " (" + check.topic + "): " + check.demand + "\n");
    }
    return kDone;
}

int Tell(const ValidationReport& report) {
    if (report.wasInterrupted) {
        std::fprintf(stderr, "error: Interrupted\n");
        return kInterrupted;
    }
    if (!report.loadError.empty()) {
        std::fprintf(stderr, "error: %s cannot be loaded: %s\n", report.modulePath.c_str(), report.loadError.c_str());
        return kNotLoaded;
    }
    const bool isBroken = report.BrokenCount() != 0;
    std::fprintf(stderr, "%s%s\n", isBroken ? "error: " : "", report.Verdict().c_str());
    return isBroken ? kBroken : kDone;
}

int Validate(const Options& options) {
    using flash::validator::PageForm;
    const bool isShown = !options.outFile.empty() || options.form == PageForm::Text;
    std::string topic;
    const auto show = [&](const flash::validator::CheckResult& result) {
        if (isShown) {
            Print(TextOf(result, topic));
        }
    };
    const ValidationReport report = ValidatePlugin(options.validation, show, isInterrupted);
    if (!options.outFile.empty()) {
        WriteFile(options.outFile, PageOf(report, options.form));
    } else if (options.form != PageForm::Text) {
        Print(PageOf(report, options.form));
    }
    return Tell(report);
}

int Run(const Options& options) {
    switch (options.action) {
        case Action::ShowHelp:
            Print(flash::validate_plugin::HelpText());
            return kDone;
        case Action::ShowVersion:
            Print("validate-plugin " VALIDATE_PLUGIN_VERSION "\n");
            return kDone;
        case Action::List:
            return List(options);
        default:
            return Validate(options);
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (const std::optional<int> code = flash::validator::RunAsCheck(argumentCount, arguments)) {
        return *code;
    }
    std::signal(SIGINT, Interrupt);
    std::signal(SIGTERM, Interrupt);
    try {
        const std::vector<std::string> words(arguments + 1, arguments + argumentCount);
        if (!words.empty() && words.front() == "__complete") {
            Print(flash::validate_plugin::AnswerShell({words.begin() + 1, words.end()}));
            return kDone;
        }
        return Run(flash::validate_plugin::Parse(words));
    } catch (const flash::validate_plugin::UsageError& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return kUsage;
    } catch (const std::invalid_argument& error) {  // a check that there is not
        std::fprintf(stderr, "error: %s\n", error.what());
        return kUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return kBroken;
    }
}
