// Three views and the choice between them.
#include "apps/lumoflash/LineView.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "apps/lumoflash/LineTable.h"
#include "apps/lumoflash/LineTexts.h"
#include "apps/lumoflash/TerminalKind.h"
#include "host/Words.h"

namespace flash::app {
namespace {

using host::line::ChipRun;
using host::line::Line;
using host::line::Slot;
using host::line::SlotState;
using host::line::TimePoint;
using nlohmann::json;

// A reader that goes away must not stop the work on the chips.
void Write(FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

class PlainView final : public host::line::StationView {
public:
    explicit PlainView(bool quiet) : isQuiet(quiet) {}

    void ChipBegun(const Slot&) override {}
    void ChipAdvanced(const Slot&) override {}
    void ChipEnded(const Slot& slot) override {
        if (!isQuiet || !slot.LastVerdict()->isGood) {
            Write(stdout, host::Escaped(VerdictLine(slot)) + "\n");
        }
    }
    void ChipPostponed(const Slot& slot) override {
        if (std::exchange(waiting[slot.Plan().name], slot.Run()->number) != slot.Run()->number) {
            Write(stdout, host::Escaped(PostponedLine(slot)) + "\n");
        }
    }
    void SlotStopped(const Slot& slot) override {
        Write(stdout, host::Escaped(fmt::format("{}: STOPPED, {}", slot.Plan().name, slot.LastCause())) + "\n");
    }
    void Note(const std::string& text) override { Write(stderr, host::Escaped(text) + "\n"); }
    std::optional<TimePoint> Draw(const Line&, TimePoint) override { return std::nullopt; }

private:
    bool isQuiet;
    std::map<std::string, std::uint64_t> waiting;  // the chip of the slot that was told to wait
};

std::string_view StateWord(SlotState state) {
    switch (state) {
        case SlotState::Working:
            return "working";
        case SlotState::Labelling:
            return "labelling";
        case SlotState::Postponed:
            return "postponed";
        case SlotState::Stopped:
            return "stopped";
        default:
            return "waiting";
    }
}

class JsonLineView final : public host::line::StationView {
public:
    void ChipBegun(const Slot& slot) override { EmitSlot(slot); }
    void ChipAdvanced(const Slot& slot) override { EmitSlot(slot); }
    void ChipEnded(const Slot& slot) override {
        const ChipRun& run = *slot.Run();
        Emit({{"event", "verdict"},
              {"slot", slot.Plan().name},
              {"chip", run.number},
              {"run", run.id},
              {"ok", slot.LastVerdict()->isGood},
              {"text", slot.LastVerdict()->cause},
              {"addresses", run.addresses},
              {"seconds", std::chrono::duration<double>(slot.LastDuration()).count()},
              {"good", slot.Good()},
              {"bad", slot.Bad()}});
    }
    void ChipPostponed(const Slot& slot) override { EmitSlot(slot); }
    void SlotStopped(const Slot& slot) override { EmitSlot(slot); }
    void Note(const std::string& text) override {
        Emit({{"event", "message"}, {"source", "host"}, {"level", "info"}, {"text", text}});
    }
    std::optional<TimePoint> Draw(const Line&, TimePoint) override { return std::nullopt; }

private:
    static void EmitSlot(const Slot& slot) {
        const ChipRun& run = *slot.Run();
        Emit({{"event", "slot"},
              {"slot", slot.Plan().name},
              {"state", StateWord(slot.State())},
              {"chip", run.number},
              {"run", run.id},
              {"probe", run.probe},
              {"phase", run.stage.stage},
              {"doneBytes", run.stage.doneBytes},
              {"totalBytes", run.stage.totalBytes},
              {"text", slot.State() == SlotState::Stopped ? slot.LastCause() : slot.WaitsFor()}});
    }
    static void Emit(const json& event) {
        Write(stdout, event.dump(-1, ' ', false, json::error_handler_t::replace) + "\n");
    }
};

// On a screen of its own, so that what stood on the terminal stands there afterwards, with what was bad below it.
class TableView final : public host::line::StationView {
public:
    TableView() { Write(stdout, "\x1b[?1049h\x1b[?25l\x1b[2J"); }
    ~TableView() override {
        Write(stdout, "\x1b[?25h\x1b[?1049l");
        Write(stdout, news);
    }
    TableView(const TableView&) = delete;
    TableView& operator=(const TableView&) = delete;

    void ChipBegun(const Slot&) override { isChanged = true; }
    void ChipAdvanced(const Slot&) override { isChanged = true; }
    void ChipEnded(const Slot& slot) override {
        isChanged = true;
        if (!slot.LastVerdict()->isGood) {
            Keep(VerdictLine(slot));
        }
    }
    void ChipPostponed(const Slot&) override { isChanged = true; }
    void SlotStopped(const Slot& slot) override {
        Keep(fmt::format("{}: STOPPED, {}", slot.Plan().name, slot.LastCause()));
    }
    void Note(const std::string& text) override {
        isChanged = true;
        Keep(text);
    }

    std::optional<TimePoint> Draw(const Line& line, TimePoint now) override {
        constexpr std::chrono::milliseconds kBetween{100};
        begun = begun.value_or(now);
        const bool isClockDue = now - drawn >= std::chrono::seconds(1);
        if (!isChanged && !isClockDue) {
            return drawn + std::chrono::seconds(1);
        }
        if (now - drawn < kBetween && !line.IsOver()) {  // the last picture is of the end
            return drawn + kBetween;
        }
        drawn = now;
        isChanged = false;
        std::string picture = "\x1b[H";
        for (const std::string& row : DrawLineTable(line, Size(), *begun, now)) {
            picture += (picture.size() > 3 ? "\r\n" : "") + row + "\x1b[K";
        }
        Write(stdout, picture + "\x1b[J");
        return now + std::chrono::seconds(1);
    }

private:
    static TerminalSize Size() {
        winsize size{};
        const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
        return isKnown ? TerminalSize{size.ws_col, size.ws_row} : TerminalSize{};
    }

    void Keep(const std::string& text) { news += host::Escaped(text) + "\n"; }

    std::string news;  // shown at the end
    bool isChanged = true;
    std::optional<TimePoint> begun;
    TimePoint drawn{};
};

}  // namespace

std::unique_ptr<host::line::StationView> MakeLineView(const Options& options) {
    if (options.isJson) {
        return std::make_unique<JsonLineView>();
    }
    if (isatty(STDOUT_FILENO) != 0 && !options.isQuiet && MayEscape(options.isColorOff)) {
        return std::make_unique<TableView>();
    }
    return std::make_unique<PlainView>(options.isQuiet);
}

}  // namespace flash::app
