// Text for people: data on standard output; messages, progress and the verdict on standard error, the latter two only
// on a terminal (the verdict also with --verbose).
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "apps/lumoflash/FieldOptions.h"
#include "apps/lumoflash/View.h"

namespace flash::app {
namespace {

using host::Stage;

constexpr const char* kRed = "\x1b[31m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kPlain = "\x1b[0m";
constexpr const char* kClearLine = "\r\x1b[K";

std::string Speed(std::uint64_t bytes, std::chrono::nanoseconds elapsed) {
    const double seconds = std::chrono::duration<double>(elapsed).count();
    return seconds <= 0 ? "" : fmt::format("{:.1f} KiB/s", static_cast<double>(bytes) / 1024 / seconds);
}

// Waits for the user. Looks up now and then: a Ctrl-C just before the wait does not end it.
bool HasInput(const std::atomic<bool>& isInterrupted) {
    constexpr int kLookUpMilliseconds = 100;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    while (!isInterrupted) {
        if (poll(&input, 1, kLookUpMilliseconds) > 0) {
            return true;
        }
    }
    return false;
}

std::string ListOrNone(const host::SectorSet& sectors) { return sectors.IsEmpty() ? "none" : sectors.Text(); }

// A reader that goes away is noticed at the end; it must not stop the work on the chip, so nothing is thrown.
template <typename... Values>
void Print(FILE* stream, fmt::format_string<Values...> format, Values&&... values) {
    const std::string text = fmt::format(format, std::forward<Values>(values)...);
    std::fwrite(text.data(), 1, text.size(), stream);
}

class TextView final : public View {
public:
    explicit TextView(const Options& options)
        : isTerminal(isatty(STDERR_FILENO) != 0), isQuiet(options.isQuiet), isVerbose(options.isVerbose) {
        const char* noColor = std::getenv("NO_COLOR");
        hasColor = isTerminal && !options.isColorOff && (noColor == nullptr || *noColor == '\0');
    }

    void Started(const Options&) override {}
    void Connected(const host::Connection& connection) override {
        if (isVerbose) {
            const host::ChipInfo& info = connection.GetSession().Info();
            Note(fmt::format("Connected to {}: flash {}, RAM {}, revision {}", connection.GetProbe().Describe(),
                             info.flashText, info.ramText, info.revisionText));
        }
    }

    void StageStarted(Stage, std::uint64_t totalBytes) override {
        total = totalBytes;
        lastPercent = -1;
    }
    void StageAdvanced(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        const int percent = total == 0 ? 0 : static_cast<int>(std::min(doneBytes, total) * 100 / total);
        if (IsShowingProgress() && percent != lastPercent) {
            lastPercent = percent;
            ShowProgress(stage, percent, Speed(doneBytes, elapsed));
        }
    }
    void StageFinished(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        if (IsShowingProgress()) {
            const bool isWhole = total == 0 || doneBytes >= total;
            ShowProgress(stage, isWhole ? 100 : static_cast<int>(doneBytes * 100 / total), Speed(doneBytes, elapsed));
            Print(stderr, "\n");
            isLineOpen = false;
        }
    }

    void PluginMessage(const std::string& text) override { Say("", "", text); }
    void PluginError(const std::string& text) override { Say(kRed, "plug-in error: ", text); }
    void Note(const std::string& text) override {
        if (isVerbose || isTerminal) {
            Say("", "", text);
        }
    }
    void Warning(const host::FieldText& text) override {
        if (isQuiet) {
            heldBack.push_back(InWords(text));
        } else {
            ShowWarning(InWords(text));
        }
    }

    void ShowPlan(const host::WritePlan& plan) override {
        using host::SectorPlan;
        fmt::print(
            "erase  {}\nwrite  {}\nkeep   {}\nskip   {}\n{} bytes in whole sectors, {} of them from the file{}\n{}{}",
            ListOrNone(plan.Sectors(&SectorPlan::isErased)), ListOrNone(plan.Sectors(&SectorPlan::isWritten)),
            ListOrNone(plan.Sectors(&SectorPlan::keepsRest)), SkippedSectors(plan), plan.WrittenBytes(),
            plan.ExpectedBytes(), plan.keepsCcfg ? "; CCFG is kept" : "", DrawFlashMap(plan), Reasons(plan));
    }
    void ShowAddress(host::AddressKind kind, const std::string& address) override {
        Print(stdout, "{:<15}{}\n", AddressName(kind), address);
    }
    void ShowCcfg(const host::CcfgInfo& ccfg) override {
        Print(stdout, "CCFG         {}\n",
              ccfg.sizeBytes == 0 ? "none valid" : fmt::format("{} bytes at 0x{:08X}", ccfg.sizeBytes, ccfg.address));
        Print(stdout, "Boot loader  {}\n", ccfg.isBootloaderDisabled ? "disabled" : "enabled");
        Print(stdout, "Debug port   {}\n", ccfg.isDebugDisabled ? "disabled from the next power-up on" : "enabled");
        Print(stdout, "Protected    {}\n",
              ccfg.protectedSectors.IsEmpty() ? "no pages" : "pages " + ccfg.protectedSectors.Text());
    }
    void ShowInfo(const host::Connection& connection) override {
        const host::ChipInfo& info = connection.GetSession().Info();
        Print(stdout, "Device       {}, {}\n", connection.PartName(), connection.Device().summary);
        Print(stdout, "Chip         {}\n", connection.GetProbe().Describe());
        Print(stdout, "Plug-in      {}\n", connection.Plugin().Path().string());
        Print(stdout, "Flash        {} of {} bytes\n", info.flashText, info.geometry.sectorSizeBytes);
        Print(stdout, "RAM          {}\n", info.ramText);
        Print(stdout, "Revision     {}\n", info.revisionText);
        Print(stdout, "Operations   {}\n", info.operations);
    }
    void ShowDevices(const std::vector<host::DeviceDescription>& devices) override {
        for (const host::DeviceDescription& device : devices) {
            Print(stdout, "{:<15}{:>5} KiB, {:>3} sectors of {}  {}\n", device.name, device.FlashSizeBytes() / 1024,
                  device.sectorCount, device.sectorSizeBytes, device.summary);
        }
    }

    void ListCheck(const validator::Check& check) override {
        Print(stdout, "{} ({}): {}\n", check.name, check.topic, check.demand);
    }
    void ShowCheck(const validator::CheckResult& result) override {
        if (std::exchange(topic, result.topic) != result.topic) {
            Print(stdout, "{}\n", result.topic);
        }
        Print(stdout, "  {}  {}: {}\n", NameOf(result.outcome), result.name, result.demand);
        if (result.outcome != validator::Outcome::Passed) {
            Print(stdout, "      expected: {}\n      found:    {}\n", result.expected, result.found);
        }
        std::fflush(stdout);  // the next one may take its time
    }

    bool Agrees(const std::vector<std::string>& dangers, const std::atomic<bool>& isInterrupted) override {
        if (isatty(STDIN_FILENO) == 0 || !isTerminal) {
            return false;
        }
        for (const std::string& danger : dangers) {
            ShowWarning(danger);
        }
        Print(stderr, "Go on? Type yes: ");
        std::string answer;
        return HasInput(isInterrupted) && std::getline(std::cin, answer) && answer == "yes";
    }

    void Finished(const Outcome& outcome) override {
        std::fflush(stdout);
        if (outcome.exitCode != 0) {
            // They may say what is lost, and hold the only copy.
            std::for_each(heldBack.begin(), heldBack.end(), [this](const std::string& text) { ShowWarning(text); });
            EndLine();
            Print(stderr, "{}error: {}{}\n", hasColor ? kRed : "", outcome.text, hasColor ? kPlain : "");
        } else if (!isQuiet && (isTerminal || isVerbose) && !outcome.text.empty()) {
            EndLine();
            const std::string size = outcome.bytes == 0 ? "" : fmt::format(", {} bytes", outcome.bytes);
            const std::string time =
                outcome.elapsed.count() == 0
                    ? ""
                    : fmt::format(", {:.3f} s", std::chrono::duration<double>(outcome.elapsed).count());
            const std::string speed = outcome.bytes == 0 ? "" : ", " + Speed(outcome.bytes, outcome.elapsed);
            Print(stderr, "{}{}{}{}{}{}\n", hasColor ? kGreen : "", outcome.text, hasColor ? kPlain : "", size, time,
                  speed);
        }
    }

private:
    bool IsShowingProgress() const { return isTerminal && !isQuiet; }

    void ShowProgress(Stage stage, int percent, const std::string& speed) {
        Print(stderr, "{}{:<8} {:3} %  {}", kClearLine, StageName(stage), percent, speed);
        std::fflush(stderr);
        isLineOpen = true;
    }

    void EndLine() {
        if (isLineOpen) {
            Print(stderr, "\n");
            isLineOpen = false;
        }
    }

    void Say(const char* color, const char* prefix, const std::string& text) {
        if (!isQuiet) {
            Show(color, prefix, text);
        }
    }

    void ShowWarning(const std::string& text) { Show(kYellow, "warning: ", text); }

    void Show(const char* color, const char* prefix, std::string text) {
        while (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
        EndLine();
        const bool isColored = hasColor && *color != '\0';
        Print(stderr, "{}{}{}{}\n", isColored ? color : "", prefix, text, isColored ? kPlain : "");
    }

    // A line for each reason that there is, of a plan that knows what the chip holds.
    static std::string Reasons(const host::WritePlan& plan) {
        std::string lines;
        for (const auto& [reason, pages] : host::SectorsByReason(plan)) {
            lines += plan.isCompared ? fmt::format("why    {}: {}\n", pages.Text(), reason) : "";
        }
        return lines;
    }

    static std::string SkippedSectors(const host::WritePlan& plan) {
        const host::SectorSet listed = plan.Sectors(&host::SectorPlan::isSkipped);
        const host::SectorSet filled = plan.Sectors(&host::SectorPlan::isOnlyFill);
        return filled.IsEmpty() ? ListOrNone(listed)
                                : fmt::format("{}; of only the fill value: {}", ListOrNone(listed), filled.Text());
    }

    bool isTerminal, isQuiet, isVerbose;
    std::vector<std::string> heldBack;  // warnings that are only told with a failure
    bool hasColor = false, isLineOpen = false;
    std::uint64_t total = 0;
    int lastPercent = -1;
    std::string topic;  // of the last check
};

}  // namespace

std::string AddressName(host::AddressKind kind) {
    static const char* const kNames[] = {"primary BLE", "secondary BLE", "primary IEEE", "secondary IEEE"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::unique_ptr<View> MakeTextView(const Options& options) { return std::make_unique<TextView>(options); }

}  // namespace flash::app
