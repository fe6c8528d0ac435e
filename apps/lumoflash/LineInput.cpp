// Signals and the terminal's ways.
#include "apps/lumoflash/LineInput.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "apps/lumoflash/RawOptions.h"

namespace flash::app {
namespace {

std::atomic<int> writing{-1};
std::atomic<bool> hasHungUp{false};
static_assert(std::atomic<int>::is_always_lock_free, "read by a signal handler");

extern "C" void TellInterrupt(int signal) {
    if (signal == SIGHUP && hasHungUp.exchange(true)) {
        return;
    }
    const int error = errno;
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = write(writing, &byte, 1);  // a full pipe has told enough
    errno = error;
}

}  // namespace

InterruptPipe::InterruptPipe(const std::atomic<bool>& isInterrupted) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        Refuse("There are no more files to open");
    }
    reading = ends[0];
    writing = ends[1];
    struct sigaction action {};
    action.sa_handler = TellInterrupt;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present {};
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
    if (isInterrupted) {
        TellInterrupt(SIGINT);
    }
}

// What comes now is no longer of interest: the work is done.
InterruptPipe::~InterruptPipe() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, SIG_IGN);
    }
    close(writing.exchange(-1));
    close(reading);
}

KeyInput::KeyInput() {
    termios present{};
    if (tcgetattr(STDIN_FILENO, &present) != 0) {
        return;
    }
    before = present;
    present.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    present.c_cc[VMIN] = 1;
    present.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &present);
}

KeyInput::~KeyInput() {
    if (before) {
        tcsetattr(STDIN_FILENO, TCSANOW, &*before);
    }
}

}  // namespace flash::app
