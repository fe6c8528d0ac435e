// The one kind of exception that the host throws on purpose: what went wrong in words, and which exit code it means.
#pragma once

#include <stdexcept>
#include <string>

namespace flash::host {

// The values are the program's exit codes.
enum class FailureKind : int {
    Operation = 1,    // the chip or the plug-in refused or failed an operation
    BadInput = 2,     // a wrong option, file or setting; nothing was touched
    Difference = 3,   // verification found a difference, or flash is not blank
    Unreachable = 4,  // no chip, no plug-in, or one that cannot be used
    Interrupted = 130
};

class Failure : public std::runtime_error {
public:
    Failure(FailureKind failureKind, const std::string& text) : std::runtime_error(text), kind(failureKind) {}

    FailureKind Kind() const { return kind; }

private:
    FailureKind kind;
};

}  // namespace flash::host
