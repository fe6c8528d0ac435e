// A flashloader on a port over a model of its controller, and what the checks of a port have in common: saying what was
// expected and what was found.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "firmware/check/model.h"
#include "firmware/commands.h"
#include "firmware/mailbox.h"

namespace flash::check {

using Bytes = std::vector<std::uint8_t>;

// Thrown by `ModelPowerIsLost`, through frames in C, which are compiled with -fexceptions.
struct PowerLoss {};

struct Answer {
    std::uint32_t status;
    std::uint32_t address;
};

// A new chip on which the flashloader was just loaded. What the controller or the watchdog would not have forgiven is
// told at the end.
class Loader {
public:
    Loader();
    ~Loader();
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    std::uint32_t Load();  // once more; the fault, 0 for none
    Answer Run(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t crc = 0);
    Answer Program(std::uint32_t command, std::uint32_t address, const Bytes& chunk);
    void Idle() { MailboxPoll(&state); }

private:
    LoadState state{};
};

// The same work with everything tried, or with a part of it that takes a second or two.
extern bool isQuick;
inline std::uint32_t Step(std::uint32_t quick) { return isQuick ? quick : 1; }

void Expect(std::uint64_t found, std::uint64_t expected, const std::string& what);
void ExpectFlash(const Bytes& expected, const std::string& what);

// What was not as expected since the last call, as lines of text.
std::string TakeFailures();

Bytes Flash();
Bytes Pattern(std::uint32_t length, std::uint32_t seed);
void FillFlash(std::uint32_t address, std::uint32_t length, std::uint8_t value);
std::string Name(std::uint32_t command, std::uint32_t address, std::size_t length);

struct Check {
    const char* name;
    void (*run)();
};
std::vector<Check> ProgrammingChecks();
std::vector<Check> MishapChecks();

}  // namespace flash::check
