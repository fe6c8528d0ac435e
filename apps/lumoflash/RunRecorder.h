// Hands on what happens to the view, and keeps of it what a report tells.
#pragma once

#include <string>
#include <vector>

#include "apps/lumoflash/View.h"
#include "host/files/FileHash.h"
#include "host/files/ProgramFile.h"
#include "host/picture/RunReport.h"

namespace flash::app {

class RunRecorder final : public host::Observer {
public:
    explicit RunRecorder(View& shownView) : view(shownView) {}

    // The stages that have ended.
    const std::vector<host::ReportPhase>& Phases() const { return phases; }

    // Each program file's hash, as it was read.
    const std::vector<std::string>& FileHashes() const { return fileHashes; }

    // The same, but that each file is hashed as well.
    host::ReadOptions Hashing(host::ReadOptions reading) {
        reading.onContent = [this, next = reading.onContent](const auto& name, auto content) {
            fileHashes.push_back(host::HashOf(content));
            if (next) {
                next(name, content);
            }
        };
        return reading;
    }

    void StageStarted(host::Stage stage, std::uint64_t totalBytes) override { view.StageStarted(stage, totalBytes); }
    void StageAdvanced(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        view.StageAdvanced(stage, doneBytes, elapsed);
    }
    void StageFinished(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        phases.push_back({std::string(host::StageName(stage)), doneBytes, elapsed});
        view.StageFinished(stage, doneBytes, elapsed);
    }
    void PluginMessage(const std::string& text) override { view.PluginMessage(text); }
    void PluginError(const std::string& text) override { view.PluginError(text); }
    void Note(const std::string& text) override { view.Note(text); }
    void Warning(const host::FieldText& text) override { view.Warning(text); }
    void Consequence(const host::FieldText& text) override { view.Consequence(text); }

private:
    View& view;
    std::vector<host::ReportPhase> phases;
    std::vector<std::string> fileHashes;
};

}  // namespace flash::app
