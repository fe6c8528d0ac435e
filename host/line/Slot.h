// One slot of a line as a state machine of values: what it knows of the chip in it, and what each thing that happens
// makes of that. It starts nothing and asks no clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "host/line/ChildEvent.h"
#include "host/line/Job.h"

namespace flash::host::line {

using TimePoint = std::chrono::steady_clock::time_point;

enum class SlotState {
    Waiting,    // for the next chip
    Working,    // the program works on a chip
    Labelling,  // the chip is good, the user's command runs
    Postponed,  // the chip waits for the database; nothing on it was touched
    Stopped     // takes no more chips
};

// One chip in a slot, from its start to its verdict.
struct ChipRun {
    std::uint64_t number = 0;
    std::string id;  // of this run, and of no other one
    std::string probe;
    TimePoint begun;
    StageEvent stage;
    std::map<std::string, std::string> addresses;  // by kind, as the program tells them
    std::optional<ResultEvent> told;
};

struct Verdict {
    bool isGood = false;
    std::string cause;  // "" for a good one
    bool operator==(const Verdict&) const = default;
};

// How one piece of work for a chip, the program or the label's command, has ended.
struct WorkEnd {
    int exitCode = 0;
    std::string text;        // "ended with exit code 1"
    std::string complaints;  // what it said of it
};

class Slot {
public:
    enum class Patience { Wait, AskToEnd, Kill };

    explicit Slot(SlotPlan slotPlan) : plan(std::move(slotPlan)) {}

    const SlotPlan& Plan() const { return plan; }
    SlotState State() const { return state; }
    bool IsBusy() const { return state != SlotState::Waiting && state != SlotState::Stopped; }
    const std::optional<ChipRun>& Run() const { return run; }  // of the chip in it, or of the last one
    const std::optional<Verdict>& LastVerdict() const { return lastVerdict; }
    std::uint64_t Good() const { return good; }
    std::uint64_t Bad() const { return bad; }
    const std::string& LastCause() const { return lastCause; }  // of the last bad chip, or why it is stopped
    std::uint64_t LastBadNumber() const { return lastBadNumber; }
    std::chrono::steady_clock::duration LastDuration() const { return lastDuration; }

    void Begin(ChipRun chipRun, std::chrono::seconds timeLimit);
    void Hear(const ChildEvent& event);

    // The program has ended: true when the chip is good so far and its label is next, if there is one. Else there is a
    // verdict, or the slot is postponed.
    bool WorkHasEnded(const WorkEnd& end, TimePoint now);
    void BeginLabel(TimePoint now, std::chrono::seconds timeLimit);
    void LabelHasEnded(const WorkEnd& end, TimePoint now);
    void Pass(TimePoint now);  // the chip is good and needs no more

    // It could not even be tried.
    void Fail(const std::string& cause, TimePoint now);

    // The one who asks does it: asked once to end, killed when that does not help.
    Patience PatienceAt(TimePoint now);
    std::optional<TimePoint> NextDeadline() const;
    void Interrupt(TimePoint now);  // it has been asked to end because the user wants it

    // Of a postponed one: whether it is time to try again; why it waits; there is no next time.
    bool MayResumeAt(TimePoint now) const { return state == SlotState::Postponed && now >= *deadline; }
    std::string WaitsFor() const;
    void GiveUp();

    void Stop(const std::string& cause);
    void Reopen();  // a stopped one takes chips again
    std::uint64_t BadInARow() const { return badInARow; }

private:
    void Judge(const Verdict& verdict, TimePoint now);
    std::string CauseOf(const WorkEnd& end) const;
    void Allow(TimePoint now, std::chrono::seconds timeLimit);

    SlotPlan plan;
    SlotState state = SlotState::Waiting;
    std::optional<ChipRun> run;
    std::optional<Verdict> lastVerdict;
    std::uint64_t good = 0, bad = 0, badInARow = 0, lastBadNumber = 0;
    std::string lastCause;
    std::chrono::steady_clock::duration lastDuration{};
    std::optional<TimePoint> deadline;  // while it is busy
    std::chrono::seconds limit{};
    bool isAsked = false, isInterrupted = false;
};

}  // namespace flash::host::line
