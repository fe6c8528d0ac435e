// How a command ended.
#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>

namespace flash::app {

struct Outcome {
    int exitCode = 0;
    std::string text;  // the verdict, or what went wrong and what to do: its first line is the cause
    std::size_t bytes = 0;
    std::chrono::nanoseconds elapsed{};  // on the chip's clock
    bool stopsSlot = false;              // a person must look at the chip before the next one
    bool awaitsDatabase = false;         // nothing was touched; the same again once the database is back
};

// False when the work ended before it could.
bool MayHaveTouchedTheChip(const Outcome& outcome);

// What the exception says; texts that the standard library has for programmers are put into words for users.
std::string WordsOf(const std::exception& error);

// The work's outcome, or the failure as one.
Outcome OutcomeOf(const std::function<Outcome()>& work);

// What follows the work even when that failed. Its own failure is one of the command, and hides no earlier one.
void KeepTrying(Outcome& outcome, const std::function<void()>& step);

}  // namespace flash::app
