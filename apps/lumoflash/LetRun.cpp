// A program that leaves memory does so within its first instructions.
#include "apps/lumoflash/LetRun.h"

#include <fmt/format.h>

#include "host/Failure.h"

namespace flash::app {
namespace {

using host::Failure;
using host::FailureKind;

constexpr std::chrono::milliseconds kFirstSteps{1};

}  // namespace

void LetRunFromReset(host::Probe& probe) {
    host::DebugService* const core = probe.Debugging();
    if (core == nullptr) {
        throw Failure(FailureKind::BadInput, fmt::format("{} cannot reset the chip", probe.Describe()));
    }
    core->Reset();
    core->Resume();
    const auto stop = core->AwaitStop(kFirstSteps);
    if (stop && stop->cause == host::DebugStop::Cause::Fault) {
        throw Failure(FailureKind::Operation, fmt::format("Running from reset: {}", stop->words));
    }
}

}  // namespace flash::app
