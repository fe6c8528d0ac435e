// What may stand next on the command line: for the scripts of shells, which ask the program itself.
#pragma once

#include <string>
#include <vector>

namespace flash::validate_plugin {

// `words` are those behind the program's name, the last one is to be completed. The answer is one line "none" or
// "files", a tab, the part of the word that stays, a tab and the files' endings; then a line for each candidate, with a
// tab before its help.
std::string AnswerShell(const std::vector<std::string>& words);

}  // namespace flash::validate_plugin
