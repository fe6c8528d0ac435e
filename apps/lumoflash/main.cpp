// lumoflash: parse, run, print, exit code.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>

#include "apps/lumoflash/CommandLine.h"
#include "apps/lumoflash/Commands.h"
#include "apps/lumoflash/FieldOptions.h"
#include "apps/lumoflash/Texts.h"
#include "apps/lumoflash/View.h"
#include "host/Failure.h"

namespace {

std::atomic<bool> isInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

extern "C" void Interrupt(int) { isInterrupted = true; }

// The first Ctrl-C asks for a safe end, a second one ends at once. A terminal that is closed, or a connection to it
// that is lost, is told more than once and asks for nothing but a safe end; who started the program to outlive its
// terminal ignores that. Neither a reader that goes away nor a file that may not grow must stop the work on the chip in
// the middle.
void InstallSignals() {
    struct sigaction action {};
    action.sa_handler = Interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction present {};
    if (sigaction(SIGHUP, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) {
        action.sa_flags = 0;
        sigaction(SIGHUP, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

// A file that is opened later must not become a standard stream. Writing to one that is missing fails all the same.
void OpenMissingStreams() {
    int file = STDIN_FILENO;
    while (file >= STDIN_FILENO && file <= STDERR_FILENO) {
        file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    if (file >= 0) {
        close(file);
    }
}

int Run(const flash::app::ParsedCommandLine& parsed) {
    if (parsed.help) {
        std::fputs(parsed.help->c_str(), stdout);
        return 0;
    }
    const flash::app::Options& options = *parsed.options;
    const auto view = options.isJson ? flash::app::MakeJsonView() : flash::app::MakeTextView(options);
    return flash::app::RunCommand(options, *view, isInterrupted);
}

int RunProgram(int argumentCount, char** arguments) {
    const int exitCode = Run(flash::app::ParseCommandLine(argumentCount, arguments));
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && exitCode == 0) {
        std::fprintf(stderr, "error: Cannot write to standard output\n");
        return static_cast<int>(flash::host::FailureKind::Operation);
    }
    return exitCode;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    OpenMissingStreams();
    InstallSignals();
    try {
        return RunProgram(argumentCount, arguments);
    } catch (const flash::host::Failure& failure) {
        fmt::print(stderr, "{}\n", flash::app::ErrorText(flash::app::InWords(failure.Text())));
        return static_cast<int>(failure.Kind());
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", flash::app::ErrorText(flash::app::WordsOf(error)));
        return static_cast<int>(flash::host::FailureKind::BadInput);
    }
}
