#include "host/line/Watchdog.h"

#include <sys/socket.h>

namespace flash::host::line {

Watchdog::Watchdog() : thread([this] { Wait(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard guard(mutex);
        isEnding = true;
    }
    changed.notify_one();
    thread.join();
}

void Watchdog::Watch(int socketFile, std::chrono::milliseconds limit) {
    {
        const std::lock_guard guard(mutex);
        socket = socketFile;
        deadline = std::chrono::steady_clock::now() + limit;
        hasBitten = false;
    }
    changed.notify_one();
}

bool Watchdog::Rest() {
    const std::lock_guard guard(mutex);
    deadline.reset();
    return hasBitten;
}

// It is woken for a deadline and not for its end: an old deadline that passes finds the next one, or none.
void Watchdog::Wait() {
    std::unique_lock lock(mutex);
    while (!isEnding) {
        if (!deadline) {
            changed.wait(lock);
        } else if (std::chrono::steady_clock::now() < *deadline) {
            changed.wait_until(lock, std::chrono::steady_clock::time_point(*deadline));
        } else {
            shutdown(socket, SHUT_RDWR);
            hasBitten = true;
            deadline.reset();
        }
    }
}

}  // namespace flash::host::line
