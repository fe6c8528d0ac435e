// An observer that keeps what it is told.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "host/services/Observer.h"

namespace flash::host {

class RecordingObserver : public Observer {
public:
    void StageStarted(Stage stage, std::uint64_t totalBytes) override {
        Add("start", stage, totalBytes);
        if (onStageStart) {
            onStageStart(stage);
        }
    }
    void StageAdvanced(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds time) override {
        Add("at", stage, doneBytes);
        elapsed.push_back(time);
    }
    void StageFinished(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds time) override {
        Add("end", stage, doneBytes);
        elapsed.push_back(time);
    }
    void PluginMessage(const std::string& text) override { messages.push_back(text); }
    void PluginError(const std::string& text) override { errors.push_back(text); }
    void Note(const std::string& text) override { notes.push_back(text); }
    void Warning(const FieldText& text) override { warnings.push_back(text.Plain()); }

    std::function<void(Stage)> onStageStart;
    std::vector<std::string> stages;                // "start load 100"
    std::vector<std::chrono::nanoseconds> elapsed;  // as told with "at" and "end"
    std::vector<std::string> messages, errors, notes, warnings;

private:
    void Add(const char* what, Stage stage, std::uint64_t bytes) {
        stages.push_back(std::string(what) + " " + std::string(StageName(stage)) + " " + std::to_string(bytes));
    }
};

}  // namespace flash::host
