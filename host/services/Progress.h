// Tells an observer how a stage goes on, in bytes and in the probe's time.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "host/probe/Probe.h"
#include "host/services/Observer.h"

namespace flash::host {

class Progress {
public:
    // Both must outlive it. A stage that is not finished has no end for the observer either.
    Progress(Observer& progressObserver, Probe& timeKeeper) : observer(progressObserver), probe(timeKeeper) {}

    // Finishes the stage before. A total of 0 means that the amount is not known.
    void Start(Stage stage, std::uint64_t totalBytes);
    void Advance(std::uint64_t bytes);
    void Finish(std::uint64_t lastBytes = 0);

    bool IsIn(Stage stage) const { return current && current->stage == stage; }

private:
    struct Current {
        Stage stage;
        std::chrono::nanoseconds start;
        std::uint64_t doneBytes;
    };

    Observer& observer;
    Probe& probe;
    std::optional<Current> current;
};

}  // namespace flash::host
