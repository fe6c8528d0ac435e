// From the top: what is done, the two figures, a row or two for each slot, what was last wrong, what the user can do.
#include "apps/lumoflash/LineTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "apps/lumoflash/LineTexts.h"
#include "host/Words.h"

namespace flash::app {
namespace {

using host::line::Line;
using host::line::Slot;
using host::line::SlotState;

constexpr std::string_view kPlain = "\x1b[0m", kInverse = "\x1b[7m", kBold = "\x1b[1m", kRedText = "\x1b[31m";
constexpr std::string_view kGreen = "\x1b[30;42m", kRed = "\x1b[97;41m", kYellow = "\x1b[30;43m", kBlue = "\x1b[97;44m";

constexpr std::size_t kDigitRows = 5, kDigitColumns = 3, kDotWidth = 2;
constexpr std::size_t kNameWidth = 13, kBadgeWidth = 7, kCountsWidth = 21, kBarLength = 16;

// Five rows of three dots for each digit, a bit each, the left one first.
constexpr std::array<std::array<unsigned, kDigitRows>, 10> kDigits{{{7, 5, 5, 5, 7},
                                                                    {2, 6, 2, 2, 7},
                                                                    {7, 1, 7, 4, 7},
                                                                    {7, 1, 7, 1, 7},
                                                                    {5, 5, 7, 1, 1},
                                                                    {7, 4, 7, 1, 7},
                                                                    {7, 4, 7, 5, 7},
                                                                    {7, 1, 1, 2, 2},
                                                                    {7, 5, 7, 5, 7},
                                                                    {7, 5, 7, 1, 7}}};

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Exactly so wide: padded, or cut with dots. A letter counts as one column.
std::string Fit(std::string_view text, std::size_t width) {
    const std::string shown = host::Escaped(text);
    const auto letters =
        static_cast<std::size_t>(std::ranges::count_if(shown, [](char c) { return !IsContinuation(c); }));
    if (letters <= width) {
        return shown + std::string(width - letters, ' ');
    }
    constexpr std::string_view kDots = "...";
    const std::size_t kept = width > kDots.size() ? width - kDots.size() : width;
    std::size_t end = 0;
    for (std::size_t count = 0; end < shown.size(); ++end) {
        count += IsContinuation(shown[end]) ? 0u : 1u;
        if (count > kept) {
            break;
        }
    }
    return shown.substr(0, end) + std::string(kDots.substr(0, width - kept));
}

std::string Painted(std::string_view color, std::string_view text) {
    return fmt::format("{}{}{}", color, text, kPlain);
}

// One of the rows of a number in large digits, and how many columns it takes.
std::string DigitRow(const std::string& number, std::size_t row, std::string_view color) {
    std::string text;
    for (const char digit : number) {
        const unsigned dots = kDigits[static_cast<std::size_t>(digit - '0')][row];
        for (std::size_t column = 0; column < kDigitColumns; ++column) {
            const bool isSet = (dots >> (kDigitColumns - 1 - column) & 1) != 0;
            const std::string dot(kDotWidth, ' ');
            text += isSet ? Painted(color, dot) : dot;
        }
        text += std::string(kDotWidth, ' ');
    }
    return text;
}

std::size_t WidthOf(const std::string& number) { return number.size() * (kDigitColumns + 1) * kDotWidth; }

struct Badge {
    std::string_view text;
    std::string_view color;
};

Badge BadgeOf(const Slot& slot) {
    switch (slot.State()) {
        case SlotState::Working:
            return {" WORK", kYellow};
        case SlotState::Labelling:
            return {" LABEL", kYellow};
        case SlotState::Postponed:
            return {" WAITS", kYellow};
        case SlotState::Stopped:
            return {" STOP", kRed};
        default:
            if (!slot.LastVerdict()) {
                return {" WAIT", kBlue};
            }
            return slot.LastVerdict()->isGood ? Badge{" GOOD", kGreen} : Badge{" BAD", kRed};
    }
}

class Table {
public:
    Table(const Line& shownLine, TerminalSize terminalSize) : line(shownLine), size(terminalSize) {}

    std::vector<std::string> Draw(std::chrono::seconds elapsed) {
        DrawTitle(elapsed);
        const std::size_t slotCount = line.Slots().size();
        constexpr std::size_t kWithDigits = 11, kFooter = 2;  // rows without those of the slots
        const bool hasDigits = size.rows >= kWithDigits + std::min<std::size_t>(slotCount, 4) &&
                               2 * std::max(WidthOf(Good()), WidthOf(Bad())) + 2 <= size.columns;
        hasDigits ? DrawDigits() : DrawCounts();
        const std::size_t left = size.rows > rows.size() + kFooter ? size.rows - rows.size() - kFooter : 1;
        DrawSlots(left);
        rows.resize(std::max<std::size_t>(size.rows, 3) - kFooter);
        DrawFooter();
        rows.resize(std::min(rows.size(), size.rows));
        return std::move(rows);
    }

private:
    std::string Good() const { return std::to_string(line.Good()); }
    std::string Bad() const { return std::to_string(line.Bad()); }

    void Add(std::string row) { rows.push_back(std::move(row)); }

    void DrawTitle(std::chrono::seconds elapsed) {
        const std::string right = ProgressOf(line) + "  " + ClockText(elapsed) + " ";
        const std::size_t width = size.columns > right.size() ? size.columns - right.size() : 0;
        Add(Painted(kInverse, Fit(Fit(" " + TitleOf(line.GetJob()), width) + right, size.columns)));
    }

    void DrawDigits() {
        const std::size_t half = size.columns / 2;
        Add("");
        Add(Painted(kBold, " " + Fit("GOOD", half - 1)) + Painted(kBold, "BAD"));
        for (std::size_t row = 0; row < kDigitRows; ++row) {
            Add(" " + DigitRow(Good(), row, kGreen) + std::string(half - 1 - WidthOf(Good()), ' ') +
                DigitRow(Bad(), row, line.Bad() == 0 ? kInverse : kRed));
        }
        Add("");
    }

    void DrawCounts() {
        const std::string counts = fmt::format(" GOOD {}   BAD {} ", line.Good(), line.Bad());
        Add(Painted(line.Bad() == 0 ? kGreen : kRed, Fit(counts, size.columns)));
    }

    void DrawSlots(std::size_t room) {
        const std::vector<Slot>& slots = line.Slots();
        const std::size_t each = std::clamp<std::size_t>(room / slots.size(), 1, 3);
        const std::size_t shown = slots.size() <= room ? slots.size() : room - 1;
        for (std::size_t index = 0; index < shown; ++index) {
            DrawSlot(slots[index], index + 1, each);
        }
        if (shown < slots.size()) {
            Add(Fit(fmt::format(" and {} more", host::Counted(slots.size() - shown, "slot")), size.columns));
        }
    }

    void DrawSlot(const Slot& slot, std::size_t number, std::size_t height) {
        const Badge badge = BadgeOf(slot);
        constexpr std::size_t kFixed = 3 + kNameWidth + 1 + kBadgeWidth + 1 + kCountsWidth;
        const std::string name = Fit(fmt::format("{:>2} {}", number, slot.Plan().name), kNameWidth + 3);
        const std::string counts = Fit(fmt::format(" {:>6} good {:>4} bad", slot.Good(), slot.Bad()), kCountsWidth);
        const std::string news = height == 1 || slot.IsBusy() ? NewsOf(slot) : ChipOf(slot);
        const std::size_t width = size.columns > kFixed ? size.columns - kFixed : 0;
        Add(width == 0 ? Fit(name + std::string(badge.text), size.columns)
                       : fmt::format("{} {} {}{}", name, Painted(badge.color, Fit(badge.text, kBadgeWidth)),
                                     Fit(news, width), counts));
        if (height > 1) {
            const bool isCause = !slot.LastCause().empty();
            Add(Painted(kRedText, Fit(isCause ? "      last cause: " + slot.LastCause() : "", size.columns)));
        }
        if (height > 2) {
            Add("");
        }
    }

    // A bar while it works, else how the last chip went.
    static std::string NewsOf(const Slot& slot) {
        if (slot.State() == SlotState::Working) {
            const int percent = PercentOf(slot);
            const auto filled = static_cast<std::size_t>(percent) * kBarLength / 100;
            return fmt::format("[{}{}] {:>3} % {}", std::string(filled, '#'), std::string(kBarLength - filled, '-'),
                               percent, slot.Run()->stage.stage);
        }
        if (slot.State() == SlotState::Postponed) {
            return slot.WaitsFor();
        }
        const bool isBad = slot.State() == SlotState::Stopped || (slot.LastVerdict() && !slot.LastVerdict()->isGood);
        return isBad ? slot.LastCause() : ChipOf(slot);
    }

    static std::string ChipOf(const Slot& slot) {
        if (slot.State() == SlotState::Labelling) {
            return "the label is made";
        }
        return slot.Run() ? fmt::format("chip {} {}", slot.Run()->number, AddressOf(*slot.Run())) : "";
    }

    void DrawFooter() {
        const std::string cause = " " + CauseOfTrouble();
        Add(cause == " " ? "" : Painted(kRedText, Fit(cause, size.columns)));
        Add(Painted(kInverse, Fit(" " + WhatToDo(line), size.columns)));
    }

    // What keeps the line from working, else what was last wrong.
    std::string CauseOfTrouble() const {
        const auto isPostponed = [](const Slot& slot) { return slot.State() == SlotState::Postponed; };
        const auto postponed = std::ranges::find_if(line.Slots(), isPostponed);
        if (!line.Trouble().empty() || postponed != line.Slots().end()) {
            return line.Trouble().empty() ? PostponedLine(*postponed) : line.Trouble();
        }
        const Slot& bad = LastBad();
        return bad.LastCause().empty() ? "" : fmt::format("last cause, {}: {}", bad.Plan().name, bad.LastCause());
    }

    // The one whose last bad chip began last.
    const Slot& LastBad() const {
        return *std::ranges::max_element(line.Slots(), {}, [](const Slot& slot) {
            return slot.LastCause().empty() ? std::uint64_t{0} : slot.LastBadNumber();
        });
    }

    const Line& line;
    TerminalSize size;
    std::vector<std::string> rows;
};

}  // namespace

std::vector<std::string> DrawLineTable(const Line& line, TerminalSize size, host::line::TimePoint begun,
                                       host::line::TimePoint now) {
    return Table(line, size).Draw(std::chrono::duration_cast<std::chrono::seconds>(now - begun));
}

}  // namespace flash::app
