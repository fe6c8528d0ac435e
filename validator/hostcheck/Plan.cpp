// A text that means nothing is told in the report: a run that was to fail on purpose and did not would look like a
// proof.
#include "validator/hostcheck/Plan.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace flash::hostcheck {
namespace {

constexpr const char* kPlaces[] = {"create", "initialize", "phase1", "write", "phase2", "execute"};

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// A decimal number from 1; 0 for any other text.
unsigned long CountIn(const std::string& digits) {
    unsigned long count = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9' || count > 100'000'000) {
            return 0;
        }
        count = count * 10 + static_cast<unsigned long>(digit - '0');
    }
    return count;
}

}  // namespace

Plan::Plan(const Plan& other)
    : chip(other.chip),
      reportFile(other.reportFile),
      failingPlace(other.failingPlace),
      failingCall(other.failingCall),
      complaint(other.complaint) {}

Plan Plan::FromEnvironment() {
    Plan plan;
    plan.reportFile = Environment("FLASH_CHECK_REPORT");
    const std::string chip = Environment("FLASH_CHECK_CHIP");
    plan.chip = chip == "own" ? Chip::Own : chip == "host" ? Chip::Host : Chip::Auto;
    if (!chip.empty() && chip != "own" && chip != "host" && chip != "auto") {
        plan.complaint = "FLASH_CHECK_CHIP is \"" + chip + "\": it may be auto, host or own";
    }
    const std::string failure = Environment("FLASH_CHECK_FAILURE");
    const std::size_t at = failure.find('@');
    plan.failingPlace = failure.substr(0, at);
    plan.failingCall = at == std::string::npos ? 1 : CountIn(failure.substr(at + 1));
    const bool isPlace = std::find(std::begin(kPlaces), std::end(kPlaces), plan.failingPlace) != std::end(kPlaces);
    if (!failure.empty() && (!isPlace || plan.failingCall == 0)) {
        plan.complaint = "FLASH_CHECK_FAILURE is \"" + failure +
                         "\": it may be create, initialize, phase1, write, phase2 or execute, and @N behind it";
    }
    return plan;
}

bool Plan::MustFail(const std::string& place) { return place == failingPlace && ++callsSeen == failingCall; }

}  // namespace flash::hostcheck
