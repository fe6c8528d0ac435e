// What the checker is told by its environment, and how far it has come with it.
#pragma once

#include <atomic>
#include <string>

namespace flash::hostcheck {

enum class Chip { Auto, Host, Own };

class Plan {
public:
    // FLASH_CHECK_CHIP: "host", "own", else the host's as long as it answers.
    // FLASH_CHECK_FAILURE: PLACE or PLACE@N, the N-th call (1 when none is given) of "create", "initialize", "phase1",
    // "write", "phase2" or "execute" fails on purpose.
    // FLASH_CHECK_REPORT: a file, JSON when it ends in ".json"; none: standard error.
    static Plan FromEnvironment();

    // Counts this call, and tells whether it is the one.
    bool MustFail(const std::string& place);

    Chip chip = Chip::Auto;
    std::string reportFile;
    std::string failingPlace;
    unsigned long failingCall = 1;
    std::string complaint;  // about a text that could not be understood

    Plan() = default;
    Plan(const Plan& other);

private:
    std::atomic<unsigned long> callsSeen{0};
};

}  // namespace flash::hostcheck
