// What the user asks of a line while it works: an end, by Ctrl-C as often as it takes; chips, by keys.
#pragma once

#include <termios.h>

#include <atomic>
#include <optional>

namespace flash::app {

// While it lives, each signal that asks for an end becomes a byte in a pipe. A terminal that goes away asks once.
class InterruptPipe {
public:
    // One that came before counts.
    explicit InterruptPipe(const std::atomic<bool>& isInterrupted);
    ~InterruptPipe();
    InterruptPipe(const InterruptPipe&) = delete;
    InterruptPipe& operator=(const InterruptPipe&) = delete;

    int Reading() const { return reading; }

private:
    int reading = -1;
};

// While it lives, each key on standard input is read at once and not shown; on what is no terminal it does nothing.
class KeyInput {
public:
    KeyInput();
    ~KeyInput();
    KeyInput(const KeyInput&) = delete;
    KeyInput& operator=(const KeyInput&) = delete;

private:
    std::optional<termios> before;
};

}  // namespace flash::app
