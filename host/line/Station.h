// A line at work: starts the program for each chip in a process of its own, hears what it says, waits for it no longer
// than the job allows, and takes what the user asks meanwhile. One thread and one place that waits.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/line/ChildProcess.h"
#include "host/line/Line.h"

namespace flash::host::line {

class StationView {
public:
    virtual ~StationView() = default;
    virtual void ChipBegun(const Slot& slot) = 0;
    virtual void ChipAdvanced(const Slot& slot) = 0;
    virtual void ChipEnded(const Slot& slot) = 0;
    virtual void ChipPostponed(const Slot& slot) = 0;  // each time that it was tried in vain
    virtual void SlotStopped(const Slot& slot) = 0;
    virtual void Note(const std::string& text) = 0;

    // Called whenever something may have changed. When the view wants to be called again even if nothing happens.
    virtual std::optional<TimePoint> Draw(const Line& line, TimePoint now) = 0;
};

struct StationDuties {
    // The words that start the program for the chip in this slot, and the user's command for it once it is good.
    std::function<std::vector<std::string>(const Slot& slot)> programFor;
    std::function<std::vector<std::string>(const Slot& slot)> labelFor;

    // Throws Failure when the line must not go on, because a file is another one by now.
    std::function<void()> checkFiles;

    // A verdict that the program has not written down itself: it ended without one, or the label failed.
    std::function<void(const Slot& slot)> record;

    std::function<std::string()> drawRunId;

    StationView& view;
    int interrupts;  // gives a byte for each time that the user wants an end
    int requests;    // gives what the user asks: keys or lines; -1 for nothing
};

class Station {
public:
    Station(Line& stationLine, StationDuties stationDuties);
    ~Station();

    // Until the line is over.
    void Run();

private:
    struct Work {
        std::unique_ptr<ChildProcess> process;
        std::string unread;  // the beginning of a line
    };

    void BeginChips();
    void Begin(std::size_t index, std::uint64_t number);
    void BeginLabel(std::size_t index);
    void Serve(std::size_t index);
    void Hear(std::size_t index);
    void WatchTime(std::size_t index);
    void WorkHasEnded(std::size_t index, const ProcessEnd& end);
    void Conclude(std::size_t index);
    void Record(const Slot& slot);

    void Wait(std::optional<TimePoint> wanted);
    void TakeInterrupts();
    void TakeRequests();
    void Obey(std::string_view words);

    Line& line;
    StationDuties duties;
    std::vector<Work> works;
    std::string unreadRequests;
    int interruptCount = 0;
};

}  // namespace flash::host::line
