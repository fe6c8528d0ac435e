// The one kind of exception that the host throws on purpose: what went wrong in words, and which exit code it means.
#pragma once

#include <stdexcept>
#include <utility>

#include "host/Field.h"

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
    Failure(FailureKind failureKind, FieldText failureText)
        : std::runtime_error(failureText.Plain()), kind(failureKind), text(std::move(failureText)) {}

    FailureKind Kind() const { return kind; }

    // What `what()` says, for whoever has names of his own for the fields.
    const FieldText& Text() const { return text; }

private:
    FailureKind kind;
    FieldText text;
};

// What a user gave is wrong: which field, and why.
class BadInput : public Failure {
public:
    BadInput(Field wrongField, const FieldText& complaint)
        : Failure(FailureKind::BadInput, FieldText(wrongField) + ": " + complaint), field(wrongField) {}

    Field WrongField() const { return field; }

private:
    Field field;
};

}  // namespace flash::host
