// The slots of a station together: who may take the next chip, what has been good and bad, and when the line is over.
// Values only, as a slot is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/line/Job.h"
#include "host/line/Slot.h"

namespace flash::host::line {

class Line {
public:
    explicit Line(Job theJob);

    const Job& GetJob() const { return job; }
    const std::vector<Slot>& Slots() const { return slots; }
    Slot& SlotAt(std::size_t index) { return slots.at(index); }
    std::optional<std::size_t> FindSlot(std::string_view name) const;

    bool MayBegin(std::size_t index) const;

    // A postponed chip is tried again, with its number.
    bool MayResume(std::size_t index, TimePoint now) const { return !isEnding && slots.at(index).MayResumeAt(now); }

    // The running number of the chip that this slot begins with now.
    std::uint64_t TakeNumber(std::size_t index);

    // Somebody says that there is a chip. Whoever asks for a stopped slot by name has looked at it. False when the slot
    // is busy.
    bool Request(std::size_t index);
    void RequestAll();

    // After each end of a program: a slot that starts by itself and has had nothing but bad chips stops, and a line
    // that ends waits for no database.
    void LookAt(std::size_t index);

    // No chip begins any more. A reason is trouble; the user's wish has none.
    void End(const std::string& reason);
    bool IsEnding() const { return isEnding; }
    const std::string& Trouble() const { return trouble; }

    // Nobody is there to ask for more: over, once what was asked for is done.
    void EndWithRequests() { hasRequests = false; }

    bool IsOver() const;
    std::uint64_t Good() const;
    std::uint64_t Bad() const;
    std::uint64_t Begun() const { return begun; }
    bool IsWhole() const;  // all chips that were asked for have been worked on

private:
    void GiveUpPostponed();
    bool HasNumbers() const { return !job.count || begun < *job.count; }

    Job job;
    std::vector<Slot> slots;
    std::vector<bool> requested;
    std::uint64_t begun = 0;
    bool isEnding = false, hasRequests = true;
    std::string trouble;
};

}  // namespace flash::host::line
