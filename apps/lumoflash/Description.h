// The command line as values: what man pages and completion are made from, and nothing else, so that neither goes
// stale.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace flash::app {

struct OptionText {
    std::vector<std::string> names;  // "--device", "-d"; or the only one of a word without dashes, "FILE"
    std::string value;               // "PART", "crc|readback|none"; empty for a switch
    std::string help;
    std::string usualValue;
    std::string variable;  // of the environment
    bool isWord = false;
    bool isRequired = false;
    bool isRepeated = false;
};

struct CommandText {
    std::string name;  // "lumoflash", "lumoflash mac read"
    std::string help;
    std::vector<std::string> exitCodes;  // "0 done", "1 operation failed"
    std::string notes;                   // behind them
    std::string example;                 // one command line, or more
    std::vector<OptionText> options;
    std::vector<CommandText> commands;
};

CommandText Describe(const CLI::App& app);

}  // namespace flash::app
