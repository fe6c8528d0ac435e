// How far a stage is, in one line of a terminal that is drawn over again and again.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/services/Observer.h"

namespace flash::app {

// "program  [##########----------]  50 %  299.8 KiB/s, 2 s left". Times are those of the chip. A total of 0 is one that
// is not known: then there is only the name.
std::string ProgressText(host::Stage stage, std::uint64_t doneBytes, std::uint64_t totalBytes,
                         std::chrono::nanoseconds elapsed);

// Draws on standard error. Without escape sequences, a shorter text is padded over a longer one.
class ProgressLine {
public:
    explicit ProgressLine(bool mayEscape) : hasEscapes(mayEscape) {}

    void Start(std::uint64_t totalBytes);
    void Advance(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed);
    void Finish(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed);

    // Whatever follows begins a line of its own.
    void End();

private:
    void Draw(const std::string& text);

    bool hasEscapes;
    bool isOpen = false;
    std::uint64_t total = 0;
    int lastPercent = -1;
    std::size_t lastLength = 0;
};

}  // namespace flash::app
