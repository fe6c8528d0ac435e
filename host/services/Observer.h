// Who watches the host work: progress, messages and complaints. The library prints nothing itself.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/Field.h"

namespace flash::host {

// A stretch of the work, as a user sees it. Phases are something else: what the plug-in is told by NotifyPhase.
enum class Stage { Load, Erase, Program, Verify, Read, Close };

// "load", "erase", …
std::string_view StageName(Stage stage);

class Observer {
public:
    virtual ~Observer() = default;

    // Bytes; a total of 0 means that the amount is not known. Stages do not nest.
    virtual void StageStarted(Stage stage, std::uint64_t totalBytes) = 0;
    virtual void StageAdvanced(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) = 0;
    virtual void StageFinished(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) = 0;

    virtual void PluginMessage(const std::string& text) = 0;  // the plug-in's own words
    virtual void PluginError(const std::string& text) = 0;    // counted as a failure by the session
    virtual void Note(const std::string& text) = 0;
    virtual void Warning(const FieldText& text) = 0;

    // What else went wrong on account of the failure that is told next.
    virtual void Consequence(const FieldText& text) { Warning(text); }

protected:
    Observer() = default;
    Observer(const Observer&) = default;
    Observer& operator=(const Observer&) = default;
};

}  // namespace flash::host
