// What may stand next on a command line: for the completion of shells, which ask the program itself.
#pragma once

#include <string>
#include <vector>

#include "apps/lumoflash/Description.h"
#include "host/devices/DeviceDescription.h"

namespace flash::app {

struct Candidate {
    std::string text;
    std::string help;
};

// Files are what the shell itself completes best.
enum class Paths { None, Files, Folders };

struct Completion {
    std::vector<Candidate> candidates;
    Paths paths = Paths::None;
    std::string prefix;                // of the word, before the path: "virtual:"
    std::vector<std::string> endings;  // of the files, without the dot; none: all files
};

// The words behind the program's name; the last one is the one to complete, perhaps empty. `parts` are those that are
// known.
Completion Complete(const CommandText& program, const std::vector<std::string>& words,
                    const std::vector<host::DeviceDescription>& parts);

// For the shells' scripts: one line "none", "files" or "folders", a tab, the prefix, a tab and the endings; then a line
// for each candidate, a tab before its help.
std::string CompletionText(const Completion& completion);

// Such a text, with the parts of the folder that the words name, or of the installed one.
std::string AnswerShell(const CommandText& program, const std::vector<std::string>& words);

}  // namespace flash::app
