// Counting and deciding.
#include "host/line/Line.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "host/Words.h"

namespace flash::host::line {

Line::Line(Job theJob) : job(std::move(theJob)), requested(job.slots.size(), false) {
    for (const SlotPlan& plan : job.slots) {
        slots.emplace_back(plan);
    }
}

std::optional<std::size_t> Line::FindSlot(std::string_view name) const {
    const auto found = std::ranges::find_if(slots, [&](const Slot& slot) { return slot.Plan().name == name; });
    return found == slots.end() ? std::nullopt
                                : std::optional(static_cast<std::size_t>(std::distance(slots.begin(), found)));
}

bool Line::MayBegin(std::size_t index) const {
    const bool isAsked = job.start == StartMode::Immediately || requested.at(index);
    return !isEnding && isAsked && HasNumbers() && slots.at(index).State() == SlotState::Waiting;
}

std::uint64_t Line::TakeNumber(std::size_t index) {
    requested.at(index) = false;
    return ++begun;
}

bool Line::Request(std::size_t index) {
    if (slots.at(index).IsBusy()) {
        return false;
    }
    slots.at(index).Reopen();
    requested.at(index) = true;
    return true;
}

void Line::RequestAll() {
    for (std::size_t index = 0; index < slots.size(); ++index) {
        if (slots[index].State() == SlotState::Waiting) {
            requested[index] = true;
        }
    }
}

void Line::LookAt(std::size_t index) {
    Slot& slot = slots.at(index);
    GiveUpPostponed();
    if (job.start == StartMode::Immediately && slot.State() == SlotState::Waiting &&
        slot.BadInARow() >= job.badInARow) {
        slot.Stop(
            fmt::format("{} bad in a row, the last one: {}", Counted(slot.BadInARow(), "chip"), slot.LastCause()));
    }
}

void Line::End(const std::string& reason) {
    isEnding = true;
    trouble = trouble.empty() ? reason : trouble;
    GiveUpPostponed();
}

// Such a chip counts as one that was never put in.
void Line::GiveUpPostponed() {
    for (Slot& slot : slots) {
        if (isEnding && slot.State() == SlotState::Postponed) {
            slot.GiveUp();
            --begun;
        }
    }
}

bool Line::IsOver() const {
    if (std::ranges::any_of(slots, &Slot::IsBusy)) {
        return false;
    }
    const bool isAllStopped =
        std::ranges::all_of(slots, [](const Slot& slot) { return slot.State() == SlotState::Stopped; });
    if (job.start == StartMode::Immediately) {
        return isEnding || !HasNumbers() || isAllStopped;
    }
    const bool isRequested = std::ranges::find(requested, true) != requested.end();
    return isEnding || !HasNumbers() || (!hasRequests && !isRequested);
}

std::uint64_t Line::Good() const {
    return std::accumulate(slots.begin(), slots.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Slot& slot) { return sum + slot.Good(); });
}

std::uint64_t Line::Bad() const {
    return std::accumulate(slots.begin(), slots.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Slot& slot) { return sum + slot.Bad(); });
}

bool Line::IsWhole() const { return !job.count || begun == *job.count; }

}  // namespace flash::host::line
