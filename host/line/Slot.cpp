// What happens to one chip.
#include "host/line/Slot.h"

#include <fmt/format.h>

#include <utility>

namespace flash::host::line {
namespace {

constexpr std::chrono::seconds kGrace{5};    // from being asked to end to being ended
constexpr std::chrono::seconds kNextTry{2};  // a database that is back is noticed by then

std::string FirstLineOf(const std::string& text) { return text.substr(0, text.find('\n')); }

std::string LastLineOf(const std::string& text) {
    const std::size_t end = text.find_last_not_of('\n');
    if (end == std::string::npos) {
        return "";
    }
    const std::size_t start = text.rfind('\n', end);
    return text.substr(start == std::string::npos ? 0 : start + 1,
                       end - (start == std::string::npos ? 0 : start + 1) + 1);
}

}  // namespace

void Slot::Allow(TimePoint now, std::chrono::seconds timeLimit) {
    limit = timeLimit;
    deadline = now + timeLimit;
    isAsked = isInterrupted = false;
}

void Slot::Begin(ChipRun chipRun, std::chrono::seconds timeLimit) {
    run = std::move(chipRun);
    state = SlotState::Working;
    Allow(run->begun, timeLimit);
}

void Slot::Hear(const ChildEvent& event) {
    if (state != SlotState::Working) {
        return;
    }
    if (const auto* stage = std::get_if<StageEvent>(&event)) {
        run->stage = *stage;
    } else if (const auto* address = std::get_if<AddressEvent>(&event)) {
        run->addresses[address->kind] = address->address;
    } else {
        run->told = std::get<ResultEvent>(event);
    }
}

// What the program says of itself counts only together with how it ends: one that says "good" and then crashes has not
// kept what it says.
bool Slot::WorkHasEnded(const WorkEnd& end, TimePoint now) {
    const bool isGood = end.exitCode == 0 && run->told && run->told->isGood && run->told->exitCode == 0;
    if (isGood) {
        return true;
    }
    if (run->told && run->told->awaitsDatabase) {
        state = SlotState::Postponed;
        deadline = now + kNextTry;
        return false;
    }
    const bool isStopped = run->told && run->told->stopsSlot;
    Judge({false, CauseOf(end)}, now);
    if (isStopped) {
        Stop(lastCause);
    }
    return false;
}

std::string Slot::CauseOf(const WorkEnd& end) const {
    if (isAsked && !isInterrupted) {
        return fmt::format("no end within {} s: it was ended", limit.count());
    }
    if (run->told && !run->told->isGood) {
        return FirstLineOf(run->told->text);
    }
    const std::string complaint = LastLineOf(end.complaints);
    return fmt::format("the program {} without a verdict{}{}", end.text, complaint.empty() ? "" : ": ", complaint);
}

void Slot::BeginLabel(TimePoint now, std::chrono::seconds timeLimit) {
    state = SlotState::Labelling;
    Allow(now, timeLimit);
}

void Slot::LabelHasEnded(const WorkEnd& end, TimePoint now) {
    if (isAsked) {
        Judge({false, fmt::format("programmed, but its label was not made: no end within {} s", limit.count())}, now);
    } else if (end.exitCode != 0) {
        const std::string complaint = LastLineOf(end.complaints);
        Judge({false, fmt::format("programmed, but its label was not made: the command {}{}{}", end.text,
                                  complaint.empty() ? "" : ": ", complaint)},
              now);
    } else {
        Pass(now);
    }
}

void Slot::Pass(TimePoint now) { Judge({true, ""}, now); }

void Slot::Fail(const std::string& cause, TimePoint now) { Judge({false, FirstLineOf(cause)}, now); }

void Slot::Judge(const Verdict& verdict, TimePoint now) {
    state = SlotState::Waiting;
    deadline.reset();
    lastDuration = now - run->begun;
    lastVerdict = verdict;
    if (verdict.isGood) {
        ++good;
        badInARow = 0;
        return;
    }
    ++bad;
    ++badInARow;
    lastBadNumber = run->number;
    lastCause = verdict.cause;
}

Slot::Patience Slot::PatienceAt(TimePoint now) {
    if (!deadline || now < *deadline) {
        return Patience::Wait;
    }
    deadline = now + kGrace;
    return std::exchange(isAsked, true) ? Patience::Kill : Patience::AskToEnd;
}

std::optional<TimePoint> Slot::NextDeadline() const { return deadline; }

void Slot::Interrupt(TimePoint now) {
    isAsked = isInterrupted = true;
    deadline = now + kGrace;
}

std::string Slot::WaitsFor() const { return state == SlotState::Postponed ? FirstLineOf(run->told->text) : ""; }

void Slot::GiveUp() {
    state = SlotState::Waiting;
    deadline.reset();
}

void Slot::Reopen() {
    if (state == SlotState::Stopped) {
        state = SlotState::Waiting;
        badInARow = 0;
    }
}

void Slot::Stop(const std::string& cause) {
    state = SlotState::Stopped;
    lastCause = cause;
}

}  // namespace flash::host::line
