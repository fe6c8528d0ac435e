// Runs every command of the flashloader on a port over a model of its controller, on the workstation: chunks that end
// anywhere, arguments that are refused, every status, an operation that fails or never ends, and a loss of power at
// every operation. Prints a line for each check, and ends with 1 when one has failed.
//
//   check_port [--quick] [name of a check …]
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "firmware/check/PortCheck.h"

namespace {

using flash::check::Check;

bool IsNamed(const std::vector<std::string>& names, const Check& check) {
    return names.empty() || std::find(names.begin(), names.end(), check.name) != names.end();
}

}  // namespace

int main(int count, char** arguments) {
    std::vector<std::string> names(arguments + 1, arguments + count);
    flash::check::isQuick = std::erase(names, "--quick") != 0;
    std::vector<Check> checks = flash::check::ProgrammingChecks();
    const std::vector<Check> more = flash::check::MishapChecks();
    checks.insert(checks.end(), more.begin(), more.end());
    int run = 0;
    int failed = 0;
    for (const Check& check : checks) {
        if (IsNamed(names, check)) {
            check.run();
            const std::string failures = flash::check::TakeFailures();
            std::printf("%s %s%s\n", failures.empty() ? "passed" : "FAILED", check.name, failures.c_str());
            ++run;
            failed += failures.empty() ? 0 : 1;
        }
    }
    std::printf("%d checks, %d failed\n", run, failed);
    return run > 0 && failed == 0 ? 0 : 1;
}
