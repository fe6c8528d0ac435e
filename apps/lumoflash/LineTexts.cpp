// One function for each thing that is said.
#include "apps/lumoflash/LineTexts.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "apps/lumoflash/Texts.h"
#include "host/Words.h"

namespace flash::app {

using host::line::ChipRun;
using host::line::Line;
using host::line::Slot;
using host::line::SlotState;
using host::line::StartMode;

std::string TitleOf(const host::line::Job& job) {
    std::string title = job.device + ":";
    for (const std::filesystem::path& path : job.paths) {
        title += " " + path.filename().string();
    }
    return title;
}

std::string ProgressOf(const Line& line) {
    return line.GetJob().count ? fmt::format("{} of {}", line.Begun(), host::Counted(*line.GetJob().count, "chip"))
                               : host::Counted(line.Begun(), "chip");
}

std::string ClockText(std::chrono::seconds elapsed) {
    const auto seconds = elapsed.count();
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

int PercentOf(const Slot& slot) {
    if (!slot.Run() || slot.Run()->stage.totalBytes == 0) {
        return 0;
    }
    const host::line::StageEvent& stage = slot.Run()->stage;
    return static_cast<int>(100.0 * static_cast<double>(std::min(stage.doneBytes, stage.totalBytes)) /
                            static_cast<double>(stage.totalBytes));
}

std::string AddressOf(const ChipRun& run) {
    for (const char* kind : {"secondary IEEE", "secondary BLE", "primary IEEE"}) {
        if (const auto found = run.addresses.find(kind); found != run.addresses.end()) {
            return found->second;
        }
    }
    return "";
}

std::string VerdictLine(const Slot& slot) {
    const std::string address = AddressOf(*slot.Run());
    const bool isGood = slot.LastVerdict() && slot.LastVerdict()->isGood;
    return fmt::format("{}: chip {} {}{}{}{}, {}", slot.Plan().name, slot.Run()->number, isGood ? "good" : "BAD",
                       address.empty() ? "" : ", " + address, isGood ? "" : ": ",
                       isGood ? "" : slot.LastVerdict()->cause, DurationText(slot.LastDuration()));
}

std::string PostponedLine(const Slot& slot) {
    return fmt::format("{}: chip {} waits: {}", slot.Plan().name, slot.Run()->number, slot.WaitsFor());
}

std::string WhatToDo(const Line& line) {
    if (line.IsEnding()) {
        return "Ending: the chips in the slots are finished first. Ctrl-C stops them";
    }
    switch (line.GetJob().start) {
        case StartMode::Key:
            return "Enter: start all slots that wait   1-9: start that slot   q, Ctrl-C: finish and end";
        case StartMode::Command:
            return "start SLOT, start, end: on standard input   Ctrl-C: finish and end";
        default:
            return "Ctrl-C: finish the chips in the slots and end";
    }
}

}  // namespace flash::app
