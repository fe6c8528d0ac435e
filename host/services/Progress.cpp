// Each call of the observer has the time since the stage's start.
#include "host/services/Progress.h"

#include <array>

namespace flash::host {

std::string_view StageName(Stage stage) {
    static constexpr std::array<std::string_view, 6> kNames = {"load", "erase", "program", "verify", "read", "close"};
    return kNames[static_cast<std::size_t>(stage)];
}

void Progress::Start(Stage stage, std::uint64_t totalBytes) {
    Finish();
    current = Current{stage, probe.Now(), 0};
    observer.StageStarted(stage, totalBytes);
}

void Progress::Advance(std::uint64_t bytes) {
    if (current) {
        current->doneBytes += bytes;
        observer.StageAdvanced(current->stage, current->doneBytes, probe.Now() - current->start);
    }
}

void Progress::Finish(std::uint64_t lastBytes) {
    if (current) {
        observer.StageFinished(current->stage, current->doneBytes + lastBytes, probe.Now() - current->start);
        current.reset();
    }
}

}  // namespace flash::host
