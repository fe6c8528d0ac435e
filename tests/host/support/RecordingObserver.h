// An observer that keeps what it is told.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/services/Observer.h"

namespace flash::host {

class RecordingObserver : public Observer {
public:
    void PhaseStarted(Phase phase, std::uint64_t totalBytes) override {
        Add("start", phase, totalBytes);
        if (onPhaseStart) {
            onPhaseStart(phase);
        }
    }
    void PhaseAdvanced(Phase phase, std::uint64_t doneBytes, std::chrono::nanoseconds) override {
        Add("at", phase, doneBytes);
    }
    void PhaseFinished(Phase phase, std::uint64_t doneBytes, std::chrono::nanoseconds) override {
        Add("end", phase, doneBytes);
    }
    void PluginMessage(const std::string& text) override { messages.push_back(text); }
    void PluginError(const std::string& text) override { errors.push_back(text); }
    void Note(const std::string& text) override { notes.push_back(text); }
    void Warning(const std::string& text) override { warnings.push_back(text); }

    std::function<void(Phase)> onPhaseStart;
    std::vector<std::string> phases;  // "start load 100"
    std::vector<std::string> messages, errors, notes, warnings;

private:
    void Add(const char* what, Phase phase, std::uint64_t bytes) {
        phases.push_back(std::string(what) + " " + std::string(PhaseName(phase)) + " " + std::to_string(bytes));
    }
};

}  // namespace flash::host
