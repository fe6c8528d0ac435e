// The loop: begin, wait, listen.
#include "host/line/Station.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include "host/Failure.h"
#include "host/Nearest.h"

namespace flash::host::line {
namespace {

constexpr std::size_t kLongestLine = 1 << 20;  // of a program that says what no program of ours says
constexpr int kRounds = 16;                    // of reading what it says, before it is somebody else's turn
constexpr std::chrono::milliseconds kWithoutNews{1000};
constexpr int kSignalBase = 128;

TimePoint Now() { return std::chrono::steady_clock::now(); }

// What is there of a pipe or a terminal; nothing at its end, and then the file is forgotten.
std::string TakeAll(int& file) {
    std::array<char, 512> buffer{};
    const ssize_t count = read(file, buffer.data(), buffer.size());
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
        file = -1;
    }
    return {buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

// Calls with each whole line and leaves the beginning of the next one.
template <typename Visit>
void ForEachLine(std::string& text, Visit visit) {
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        visit(std::string_view(text).substr(start, end - start));
        start = end + 1;
    }
    text.erase(0, start);
    if (text.size() > kLongestLine) {
        text.clear();
    }
}

}  // namespace

Station::Station(Line& stationLine, StationDuties stationDuties)
    : line(stationLine), duties(std::move(stationDuties)), works(line.Slots().size()) {}

Station::~Station() = default;

void Station::Run() {
    while (true) {
        BeginChips();
        const std::optional<TimePoint> wanted = duties.view.Draw(line, Now());
        if (line.IsOver()) {
            return;
        }
        Wait(wanted);
        for (std::size_t index = 0; index < works.size(); ++index) {
            Serve(index);
        }
    }
}

void Station::BeginChips() {
    for (std::size_t index = 0; index < works.size(); ++index) {
        const bool isResumed = line.MayResume(index, Now());
        if (!isResumed && !line.MayBegin(index)) {
            continue;
        }
        try {
            duties.checkFiles();
        } catch (const std::exception& error) {
            line.End(error.what());
            return;
        }
        Begin(index, isResumed ? line.SlotAt(index).Run()->number : line.TakeNumber(index));
    }
}

void Station::Begin(std::size_t index, std::uint64_t number) {
    Slot& slot = line.SlotAt(index);
    ChipRun run;
    run.number = number;
    run.id = duties.drawRunId();
    run.probe = ProbeFor(slot.Plan(), run.number);
    run.begun = Now();
    slot.Begin(std::move(run), line.GetJob().timeLimit);
    duties.view.ChipBegun(slot);
    try {
        works[index] = {std::make_unique<ChildProcess>(duties.programFor(slot)), ""};
    } catch (const Failure& failure) {
        slot.Fail(failure.what(), Now());
        Record(slot);
        Conclude(index);
    }
}

void Station::Serve(std::size_t index) {
    Work& work = works[index];
    if (!work.process) {
        return;
    }
    const std::optional<ProcessEnd> end = work.process->End();
    Hear(index);
    if (end) {
        WorkHasEnded(index, *end);
    } else {
        WatchTime(index);
    }
}

// The end was asked for before, so that nothing of what was said till then is missed.
void Station::Hear(std::size_t index) {
    Slot& slot = line.SlotAt(index);
    Work& work = works[index];
    bool hasNews = false;
    for (int round = 0; round < kRounds; ++round) {
        work.unread += work.process->TakeOutput();
        ForEachLine(work.unread, [&](std::string_view text) {
            if (const std::optional<ChildEvent> event = ReadChildEvent(text)) {
                slot.Hear(*event);
                hasNews = true;
            }
        });
    }
    work.process->Complaints();
    if (hasNews) {
        duties.view.ChipAdvanced(slot);
    }
}

void Station::WatchTime(std::size_t index) {
    switch (line.SlotAt(index).PatienceAt(Now())) {
        case Slot::Patience::AskToEnd:
            works[index].process->AskToEnd();
            return;
        case Slot::Patience::Kill:
            works[index].process->Kill();
            return;
        default:
            return;
    }
}

void Station::WorkHasEnded(std::size_t index, const ProcessEnd& end) {
    Slot& slot = line.SlotAt(index);
    const std::unique_ptr<ChildProcess> process = std::exchange(works[index], {}).process;
    const WorkEnd how{end.signal == 0 ? end.exitCode : kSignalBase + end.signal, end.Text(), process->Complaints()};
    if (slot.State() == SlotState::Labelling) {
        slot.LabelHasEnded(how, Now());
        if (!slot.LastVerdict()->isGood) {
            Record(slot);
        }
    } else if (!slot.WorkHasEnded(how, Now())) {
        if (slot.State() == SlotState::Postponed) {
            duties.view.ChipPostponed(slot);
            line.LookAt(index);
            return;
        }
        if (!slot.Run()->told) {
            Record(slot);
        }
    } else if (line.GetJob().onGood.empty()) {
        slot.Pass(Now());
    } else {
        BeginLabel(index);
        return;
    }
    Conclude(index);
}

void Station::BeginLabel(std::size_t index) {
    Slot& slot = line.SlotAt(index);
    slot.BeginLabel(Now(), line.GetJob().onGoodTimeLimit);
    try {
        works[index] = {std::make_unique<ChildProcess>(duties.labelFor(slot)), ""};
    } catch (const std::exception& error) {
        slot.Fail(fmt::format("programmed, but its label was not made: {}", error.what()), Now());
        Record(slot);
        Conclude(index);
    }
}

void Station::Conclude(std::size_t index) {
    Slot& slot = line.SlotAt(index);
    duties.view.ChipEnded(slot);
    line.LookAt(index);
    if (slot.State() == SlotState::Stopped) {
        duties.view.SlotStopped(slot);
    }
}

// A line that cannot write down what became of its chips must not go on.
void Station::Record(const Slot& slot) {
    try {
        duties.record(slot);
    } catch (const std::exception& error) {
        line.End(fmt::format("Cannot record that chip {} is bad: {}", slot.Run()->number, error.what()));
    }
}

void Station::Wait(std::optional<TimePoint> wanted) {
    TimePoint until = std::min(wanted.value_or(TimePoint::max()), Now() + kWithoutNews);
    for (const Slot& slot : line.Slots()) {
        until = std::min(until, slot.NextDeadline().value_or(TimePoint::max()));
    }
    std::vector<pollfd> watched{{duties.interrupts, POLLIN, 0}, {duties.requests, POLLIN, 0}};
    for (const Work& work : works) {
        if (work.process) {
            work.process->AddTo(watched);
        }
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Now()).count();
    if (poll(watched.data(), watched.size(), static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX))) <= 0) {
        return;
    }
    if (watched[0].revents != 0) {
        TakeInterrupts();
    }
    if (watched[1].revents != 0) {
        TakeRequests();
    }
}

// The first one lets the chips finish, the second one asks their programs to end safely, the third one ends them.
void Station::TakeInterrupts() {
    const std::string taken = TakeAll(duties.interrupts);
    for (std::size_t i = 0; i < taken.size(); ++i) {
        ++interruptCount;
        if (interruptCount == 1) {
            duties.view.Note("Ending: the chips in the slots are finished first; Ctrl-C again stops them");
            line.End("");
            continue;
        }
        for (std::size_t index = 0; index < works.size(); ++index) {
            if (works[index].process && interruptCount == 2) {
                line.SlotAt(index).Interrupt(Now());
                works[index].process->AskToEnd();
            } else if (works[index].process) {
                works[index].process->Kill();
            }
        }
    }
}

void Station::TakeRequests() {
    unreadRequests += TakeAll(duties.requests);
    if (line.GetJob().start == StartMode::Command) {
        ForEachLine(unreadRequests, [this](std::string_view words) { Obey(words); });
    } else {
        for (const char key : std::exchange(unreadRequests, "")) {
            if (key == 'q') {
                line.End("");
            } else if (key == '\n' || key == '\r' || key == ' ') {
                line.RequestAll();
            } else if (key >= '1' && key <= '9' && static_cast<std::size_t>(key - '1') < works.size()) {
                line.Request(static_cast<std::size_t>(key - '1'));
            }
        }
    }
    if (duties.requests < 0) {
        line.EndWithRequests();
    }
}

void Station::Obey(std::string_view words) {
    constexpr std::string_view kStart = "start ";
    if (words == "start") {
        line.RequestAll();
    } else if (words == "end") {
        line.End("");
    } else if (words.starts_with(kStart)) {
        const std::string name(words.substr(kStart.size()));
        std::vector<std::string> names;
        for (const Slot& slot : line.Slots()) {
            names.push_back(slot.Plan().name);
        }
        if (const std::optional<std::size_t> index = line.FindSlot(name); !index) {
            duties.view.Note(fmt::format("There is no slot {}{}", name, DidYouMean(name, names)));
        } else if (!line.Request(*index)) {
            duties.view.Note(fmt::format("Slot {} is still busy", name));
        }
    } else if (!words.empty()) {
        duties.view.Note(fmt::format("\"{}\" is none of start, start SLOT and end", words));
    }
}

}  // namespace flash::host::line
