// Names in one column, what they stand for in the next.
#include "apps/lumoflash/Texts.h"

#include <fmt/format.h>

#include <vector>

#include "host/Words.h"

namespace flash::app {
namespace {

using host::SectorPlan;

const char* VerdictOf(host::Verification verification) {
    switch (verification) {
        case host::Verification::Crc:
            return "programmed and verified by CRC";
        case host::Verification::ReadBack:
            return "programmed and verified by reading back";
        default:
            return "programmed, not verified";
    }
}

double Seconds(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

}  // namespace

std::string AddressName(host::AddressKind kind) {
    static const char* const kNames[] = {"primary BLE", "secondary BLE", "primary IEEE", "secondary IEEE"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::string AddressText(host::AddressKind kind, const std::string& address) {
    return fmt::format("{:<15}{}\n", AddressName(kind), host::Escaped(address));
}

std::string CcfgText(const host::CcfgInfo& ccfg) {
    return fmt::format(
        "CCFG         {}\nBoot loader  {}\nDebug port   {}\nProtected    {}\n",
        ccfg.sizeBytes == 0 ? "none valid"
                            : fmt::format("{} at 0x{:08X}", host::Counted(ccfg.sizeBytes, "byte"), ccfg.address),
        ccfg.isBootloaderDisabled ? "disabled" : "enabled",
        ccfg.isDebugDisabled ? "disabled from the next power-up on" : "enabled",
        ccfg.protectedSectors.IsEmpty() ? "no pages" : host::Listed("page", ccfg.protectedSectors.Text()));
}

std::string InfoText(const host::Connection& connection) {
    const host::ChipInfo& info = connection.GetSession().Info();
    return host::EscapedLines(
        fmt::format("Device       {}, {}\n", connection.PartName(), connection.Device().summary) +
        fmt::format("Chip         {}\n", connection.GetProbe().Describe()) +
        fmt::format("Plug-in      {}\n", connection.Plugin().Path().string()) +
        fmt::format("Flash        {} of {} bytes\n", info.flashText, info.geometry.sectorSizeBytes) +
        fmt::format("RAM          {}\n", info.ramText) + fmt::format("Revision     {}\n", info.revisionText) +
        fmt::format("Operations   {}\n", info.operations));
}

std::string ProgramVerdict(const host::LoadResult& result, host::Verification verification) {
    std::string text = VerdictOf(verification);
    if (result.unchangedSectors != 0) {
        text += fmt::format(": {} of {} written, {} already right", result.writtenSectors,
                            host::Counted(result.writtenSectors + result.unchangedSectors, "sector"),
                            result.unchangedSectors);
    }
    return text;
}

std::string LeftOut(const host::PlannedLoad& load) {
    const host::WritePlan& plan = load.plan;
    std::vector<std::string> parts;
    if (const host::SectorSet skipped = plan.Sectors(&SectorPlan::isSkipped); !skipped.IsEmpty()) {
        parts.push_back(host::Listed("page", skipped.Text()) + " (skipped)");
    }
    if (const host::SectorSet filled = plan.Sectors(&SectorPlan::isOnlyFill); !filled.IsEmpty()) {
        parts.push_back(host::Listed("page", filled.Text()) + " (only the fill value)");
    }
    if (plan.keepsCcfg && load.isFilesCcfgLeftOut) {
        parts.emplace_back("CCFG (the chip's is kept)");
    }
    return parts.empty() ? "" : fmt::format("; neither written nor verified: {}", fmt::join(parts, ", "));
}

std::string SpeedText(std::uint64_t bytes, std::chrono::nanoseconds elapsed) {
    constexpr double kLeastShown = 0.05;  // what is less would be shown as none
    const double seconds = Seconds(elapsed);
    const double speed = seconds <= 0 ? 0 : static_cast<double>(bytes) / 1024 / seconds;
    return speed < kLeastShown ? "" : fmt::format("{:.1f} KiB/s", speed);
}

std::string DurationText(std::chrono::nanoseconds elapsed) {
    const double seconds = Seconds(elapsed);
    return seconds < 1 ? fmt::format("{:.0f} ms", seconds * 1000) : fmt::format("{:.2f} s", seconds);
}

std::string ErrorText(const std::string& text) {
    std::string lines = "error: ";
    for (const char character : host::EscapedLines(text)) {
        lines += character == '\n' ? "\n  " : std::string(1, character);
    }
    return lines;
}

std::string VerdictText(const Outcome& outcome) {
    std::vector<std::string> figures;
    if (outcome.bytes != 0) {
        figures.push_back(host::Counted(outcome.bytes, "byte"));
    }
    if (outcome.elapsed.count() != 0) {
        figures.push_back(DurationText(outcome.elapsed));
    }
    if (std::string speed = SpeedText(outcome.bytes, outcome.elapsed); !speed.empty()) {
        figures.push_back(std::move(speed));
    }
    const char* joint = figures.empty() ? "" : outcome.text.find(": ") == std::string::npos ? ": " : "; ";
    return fmt::format("{}{}{}", outcome.text, joint, fmt::join(figures, ", "));
}

}  // namespace flash::app
