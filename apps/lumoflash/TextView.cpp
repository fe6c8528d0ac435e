// Text for people: data on standard output; messages and the verdict on standard error, and on a terminal progress.
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <utility>

#include "apps/lumoflash/FieldOptions.h"
#include "apps/lumoflash/PoolTexts.h"
#include "apps/lumoflash/ProgressLine.h"
#include "apps/lumoflash/TerminalKind.h"
#include "apps/lumoflash/Texts.h"
#include "apps/lumoflash/View.h"
#include "host/Failure.h"
#include "host/Words.h"
#include "validator/page/Page.h"

namespace flash::app {
namespace {

using host::Stage;

constexpr const char* kRed = "\x1b[31m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kPlain = "\x1b[0m";

// The plug-in's answers to these are results of their own.
bool HasAnswer(Command command) {
    return command == Command::MacRead || command == Command::MacWrite || command == Command::BlankCheck;
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

std::string Trimmed(const std::string& text) { return text.substr(0, text.find_last_not_of("\n") + 1); }

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
        : isTerminal(isatty(STDERR_FILENO) != 0),
          isQuiet(options.isQuiet),
          isVerbose(options.isVerbose),
          hasAnswer(HasAnswer(options.command)),
          hasColor(isTerminal && MayEscape(options.isColorOff)),
          progress(MayEscape(options.isColorOff)) {}

    void Started(const Options&) override {}
    void Connected(const host::Connection& connection) override {
        if (isVerbose) {
            const host::ChipInfo& info = connection.GetSession().Info();
            Note(fmt::format("Connected to {}: flash {}, RAM {}, revision {}", connection.GetProbe().Describe(),
                             info.flashText, info.ramText, info.revisionText));
        }
    }

    void StageStarted(Stage, std::uint64_t totalBytes) override { progress.Start(totalBytes); }
    void StageAdvanced(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        if (IsShowingProgress()) {
            progress.Advance(stage, doneBytes, elapsed);
        }
    }
    void StageFinished(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        if (IsShowingProgress()) {
            progress.Finish(stage, doneBytes, elapsed);
        }
    }

    // What the plug-in says while it works is a detail of how the command ends, and follows that.
    void PluginMessage(const std::string& text) override {
        isVerbose ? Say("", "", text) : static_cast<void>(said.push_back(text));
    }
    void PluginError(const std::string& text) override {
        isVerbose ? Say(kRed, "plug-in error: ", text) : static_cast<void>(said.push_back(text));
    }
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

    void Consequence(const host::FieldText& text) override { heldBack.push_back(InWords(text)); }

    void ShowPlan(const host::WritePlan& plan) override {
        using host::SectorPlan;
        fmt::print(
            "erase  {}\nwrite  {}\nkeep   {}\nskip   {}\n{} bytes in whole sectors, {} of them from the file{}\n{}{}",
            ListOrNone(plan.Sectors(&SectorPlan::isErased)), ListOrNone(plan.Sectors(&SectorPlan::isWritten)),
            ListOrNone(plan.Sectors(&SectorPlan::keepsRest)), SkippedSectors(plan), plan.WrittenBytes(),
            plan.ExpectedBytes(),
            plan.keepsCcfg      ? "; CCFG is kept"
            : plan.replacesCcfg ? "; CCFG is replaced"
                                : "",
            DrawFlashMap(plan), Reasons(plan));
    }
    void ShowAddress(host::AddressKind kind, const std::string& address) override {
        Print(stdout, "{}", AddressText(kind, address));
    }
    void ShowCcfg(const host::CcfgInfo& ccfg) override { Print(stdout, "{}", CcfgText(ccfg)); }
    void ShowInfo(const host::Connection& connection) override { Print(stdout, "{}", InfoText(connection)); }
    void ShowDevices(const std::vector<host::DeviceDescription>& devices) override {
        for (const host::DeviceDescription& device : devices) {
            Print(stdout, "{:<15}{:>5} KiB, {:>3} sectors of {}  {}\n", device.name, device.FlashSizeBytes() / 1024,
                  device.sectorCount, device.sectorSizeBytes, device.summary);
        }
    }

    void ShowPool(const PoolCounts& counts) override { Print(stdout, "{}", PoolText(counts)); }
    void ShowPoolAddress(const host::line::PoolAddress& address) override {
        Print(stdout, "{}", PoolAddressText(address));
    }
    void ShowRecord(const host::line::Record& record) override { Print(stdout, "{}", RecordText(record)); }
    void Tell(const std::string& change) override { Print(stdout, "{}\n", change); }

    void ListCheck(const validator::Check& check) override {
        Print(stdout, "{} ({}): {}\n", check.name, check.topic, check.demand);
    }
    void ShowCheck(const validator::CheckResult& result) override {
        Print(stdout, "{}", validator::TextOf(result, topic));
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
        const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
        progress.End();
        if (outcome.exitCode != 0) {
            Print(stderr, "{}{}{}\n", hasColor ? kRed : "", ErrorText(outcome.text), hasColor ? kPlain : "");
            // They may say what is lost, and hold the only copy.
            std::for_each(heldBack.begin(), heldBack.end(), [this](const std::string& text) { ShowWarning(text); });
            ShowWhatElseWasSaid(outcome);
        } else if (!isQuiet && isWritten) {
            if (!hasAnswer) {
                std::for_each(said.begin(), said.end(), [this](const std::string& text) { Say("", "", text); });
            }
            Print(stderr, "{}{}{}\n", hasColor ? kGreen : "", host::Escaped(VerdictText(outcome)),
                  hasColor ? kPlain : "");
        }
    }

private:
    bool IsShowingProgress() const { return isTerminal && !isQuiet; }

    // Whoever interrupts the work knows the cause.
    void ShowWhatElseWasSaid(const Outcome& outcome) {
        if (isQuiet || outcome.exitCode == static_cast<int>(host::FailureKind::Interrupted)) {
            return;
        }
        for (const std::string& text : said) {
            if (outcome.text.find(Trimmed(text)) == std::string::npos) {
                Show("", "  The plug-in said: ", text);
            }
        }
    }

    void Say(const char* color, const char* prefix, const std::string& text) {
        if (!isQuiet) {
            Show(color, prefix, text);
        }
    }

    void ShowWarning(const std::string& text) { Show(kYellow, "warning: ", text); }

    void Show(const char* color, const char* prefix, const std::string& text) {
        progress.End();
        const bool isColored = hasColor && *color != '\0';
        Print(stderr, "{}{}{}{}\n", isColored ? color : "", prefix, host::EscapedLines(Trimmed(text)),
              isColored ? kPlain : "");
    }

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

    bool isTerminal, isQuiet, isVerbose, hasAnswer, hasColor;
    ProgressLine progress;
    std::vector<std::string> heldBack;  // warnings that follow a failure
    std::vector<std::string> said;      // by the plug-in, not shown yet
    std::string topic;                  // of the last check
};

}  // namespace

std::unique_ptr<View> MakeTextView(const Options& options) { return std::make_unique<TextView>(options); }

}  // namespace flash::app
