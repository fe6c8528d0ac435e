// Whether a flashloader's image keeps the promises of the mailbox, on the virtual chip. Ends with 0 when it does, 1
// when it does not, 2 when it could not be asked.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "apps/check_flashloader/Checks.h"

namespace {

using namespace flash::flashloader_check;

constexpr std::uint64_t kQuickStride = 11;

bool Passes(const Check& check, const Image& image) {
    try {
        check.run(image);
        fmt::print("passed {}\n", check.name);
        return true;
    } catch (const std::exception& error) {
        fmt::print("FAILED {}: {}\n    {}\n", check.name, check.demand, error.what());
        return false;
    }
}

int CheckImage(const Image& image, const std::vector<std::string>& names) {
    std::size_t run = 0;
    std::size_t failed = 0;
    for (const Check& check : AllChecks()) {
        if (names.empty() || std::ranges::find(names, check.name) != names.end()) {
            ++run;
            failed += Passes(check, image) ? 0U : 1U;
        }
    }
    if (run < std::max<std::size_t>(names.size(), 1)) {
        throw std::runtime_error("there is no check of that name");
    }
    fmt::print("{} check{}, {} failed\n", run, run == 1 ? "" : "s", failed);
    return failed == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    CLI::App app("Checks a flashloader's image on the virtual chip.", "check-flashloader");
    std::string image;
    std::string modelFile;
    std::vector<std::string> names;
    flash::chip::ControllerKind controller;
    std::uint32_t watchdogMilliseconds = 0;
    bool isQuick = false;
    std::uint32_t loads = 20;
    app.add_option("IMAGE", image, "the flashloader, an ELF file")->required();
    app.add_option("--check", names, "only this check; may be repeated");
    app.add_flag("--quick", isQuick, "let only some of a load's operations fail, and load little");
    app.add_option("--loads", loads, "loads of each alignment by each command")->capture_default_str();
    app.add_option("--unit", controller.unitBytes, "bytes that one program operation writes")->capture_default_str();
    app.add_flag("--written-once", controller.isWrittenOnce, "a unit is programmed once between two erases");
    app.add_option("--page", controller.pageBytes, "bytes that an erase takes, if less than a sector");
    app.add_flag("--protects-with-ones", controller.protectsWithOnes, "a bit that is set protects a sector");
    app.add_flag("!--no-bank-erase", controller.hasBankErase, "the controller cannot erase the bank");
    app.add_option("--watchdog", watchdogMilliseconds, "milliseconds in which it must be fed");
    app.add_option("--port-model", modelFile, "a model of the controller, a shared library (firmware/check/model.h)");
    CLI11_PARSE(app, count, arguments);
    controller.watchdog = std::chrono::milliseconds(watchdogMilliseconds);
    try {
        Image read = ReadImage(image, controller);
        read.stride = isQuick ? kQuickStride : 1;
        read.loads = isQuick ? 1 : loads;
        std::optional<ModelLibrary> model;
        if (!modelFile.empty()) {
            UseModel(read, model.emplace(modelFile));
        }
        return CheckImage(read, names);
    } catch (const std::exception& error) {
        fmt::print(stderr, "error: {}\n", error.what());
        return 2;
    }
}
