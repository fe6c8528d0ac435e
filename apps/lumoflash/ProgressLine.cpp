// Drawn when the percentage changes.
#include "apps/lumoflash/ProgressLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "apps/lumoflash/Texts.h"

namespace flash::app {
namespace {

constexpr int kBarLength = 20;
constexpr const char* kClearToEnd = "\x1b[K";

int Percent(std::uint64_t done, std::uint64_t total) {
    return total == 0 ? 100 : static_cast<int>(std::min(done, total) * 100 / total);
}

std::string TimeLeft(std::uint64_t done, std::uint64_t total, std::chrono::nanoseconds elapsed) {
    if (done == 0 || done >= total) {
        return "";
    }
    const double seconds = std::chrono::duration<double>(elapsed).count();
    return fmt::format(", {:.0f} s left", seconds * static_cast<double>(total - done) / static_cast<double>(done));
}

}  // namespace

std::string ProgressText(host::Stage stage, std::uint64_t doneBytes, std::uint64_t totalBytes,
                         std::chrono::nanoseconds elapsed) {
    const std::string name = fmt::format("{:<8}", host::StageName(stage));
    if (totalBytes == 0) {
        return doneBytes == 0 ? std::string(host::StageName(stage)) : name + " " + SpeedText(doneBytes, elapsed);
    }
    const int percent = Percent(doneBytes, totalBytes);
    const int filled = percent * kBarLength / 100;
    const std::string speed = SpeedText(doneBytes, elapsed);
    return fmt::format("{} [{:#<{}}{:-<{}}] {:3} %{}{}{}", name, "", filled, "", kBarLength - filled, percent,
                       speed.empty() ? "" : "  ", speed, TimeLeft(doneBytes, totalBytes, elapsed));
}

void ProgressLine::Start(std::uint64_t totalBytes) {
    total = totalBytes;
    lastPercent = -1;
}

void ProgressLine::Advance(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) {
    const int percent = Percent(doneBytes, total);
    if (percent != lastPercent) {
        lastPercent = percent;
        Draw(ProgressText(stage, doneBytes, total, elapsed));
    }
}

void ProgressLine::Finish(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) {
    Draw(ProgressText(stage, doneBytes, total, elapsed));
    End();
}

void ProgressLine::End() {
    if (isOpen) {
        std::fputc('\n', stderr);
        isOpen = false;
        lastLength = 0;
    }
}

void ProgressLine::Draw(const std::string& text) {
    const std::size_t shorter = text.size() < lastLength ? lastLength - text.size() : 0;
    const std::string line = "\r" + text + (hasEscapes ? kClearToEnd : std::string(shorter, ' '));
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
    lastLength = text.size();
    isOpen = true;
}

}  // namespace flash::app
