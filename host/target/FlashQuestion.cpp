// A question has room for so many ranges, so there may be several: each is one call of the routine, with keys of its
// own.
#include "host/target/FlashQuestion.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "host/Numbers.h"

namespace flash::host {
namespace {

constexpr std::size_t kMaxRuns = 6;
constexpr std::size_t kMaxRanges = 32;
constexpr std::uint32_t kAnsweredOffset = 16;  // of g_exchange; up to there the summary lies
constexpr std::uint32_t kRefused = 0xFFFF'FFFF;

// Far more than a slow core takes, far less than a user would wait for.
constexpr std::chrono::microseconds kBoundOfQuestion = std::chrono::milliseconds(100);
constexpr std::chrono::microseconds kBoundOfByte{5};

struct Run {
    std::uint32_t address;
    std::uint32_t lengthBytes;
    std::uint32_t count;
};

struct Question {
    std::span<const WantedRange> ranges;
    std::vector<Run> runs;
};

bool Continues(const Run& run, const WantedRange& range) {
    return range.bytes.size() == run.lengthBytes && range.address == run.address + run.count * run.lengthBytes;
}

// As many of the first ranges as one question has room for.
Question FirstQuestion(std::span<const WantedRange> wanted) {
    Question question;
    std::size_t taken = 0;
    for (; taken < wanted.size() && taken < kMaxRanges; ++taken) {
        const WantedRange& range = wanted[taken];
        if (!question.runs.empty() && Continues(question.runs.back(), range)) {
            ++question.runs.back().count;
        } else if (question.runs.size() == kMaxRuns) {
            break;
        } else {
            question.runs.push_back({range.address, static_cast<std::uint32_t>(range.bytes.size()), 1});
        }
    }
    question.ranges = wanted.first(taken);
    return question;
}

void AppendWord(std::vector<std::uint8_t>& bytes, std::uint32_t word) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
}

// What the host writes, from `answered` on.
std::vector<std::uint8_t> Encode(const Question& question, const DigestKeys& keys) {
    std::vector<std::uint8_t> bytes;
    AppendWord(bytes, 0);
    bytes.insert(bytes.end(), keys.ranges.begin(), keys.ranges.end());
    bytes.insert(bytes.end(), keys.summary.begin(), keys.summary.end());
    AppendWord(bytes, static_cast<std::uint32_t>(question.runs.size()));
    for (const Run& run : question.runs) {
        AppendWord(bytes, run.address);
        AppendWord(bytes, run.lengthBytes);
        AppendWord(bytes, run.count);
    }
    return bytes;
}

std::chrono::microseconds BoundOf(const Question& question) {
    const std::size_t bytes =
        std::accumulate(question.ranges.begin(), question.ranges.end(), std::size_t{0},
                        [](std::size_t sum, const WantedRange& range) { return sum + range.bytes.size(); });
    return kBoundOfQuestion + kBoundOfByte * static_cast<std::int64_t>(bytes);
}

void RequireAnswered(const Routine& routine, std::uint32_t answered, std::size_t count) {
    if (answered == kRefused) {
        throw RoutineError(fmt::format("{} refused the question, or met a fault", routine.name));
    }
    if (answered != count) {
        throw RoutineError(
            fmt::format("{} was asked for {} digests and says that it has {}", routine.name, count, answered));
    }
}

// The target's digests, read one after the other; the wanted ones when the summary says that they are the same.
std::vector<FlashDigest> ReadAnswer(Probe& probe, const Routine& routine, const DigestKeys& keys,
                                    const std::vector<FlashDigest>& wanted) {
    std::array<std::uint8_t, kAnsweredOffset + 4> head{};
    probe.ReadMemory(routine.Find("g_exchange"), head, 1);
    const std::uint32_t answered = LittleEndian(std::span(head).subspan(kAnsweredOffset));
    RequireAnswered(routine, answered, wanted.size());
    if (const FlashDigest summary = SummaryOf(keys, wanted); std::equal(summary.begin(), summary.end(), head.begin())) {
        return wanted;
    }
    std::vector<std::uint8_t> bytes(wanted.size() * sizeof(FlashDigest));
    probe.ReadMemory(routine.Find("g_digests"), bytes, 1);
    std::vector<FlashDigest> digests(wanted.size());
    for (std::size_t i = 0; i < digests.size(); ++i) {
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(i * sizeof(FlashDigest)), sizeof(FlashDigest),
                    digests[i].begin());
    }
    return digests;
}

void Ask(Probe& probe, const Routine& routine, const Question& question, const DigestKeys& keys,
         std::vector<bool>& isHeld) {
    std::vector<FlashDigest> wanted;
    for (const WantedRange& range : question.ranges) {
        wanted.push_back(DigestOf(keys, range.address, range.bytes));
    }
    const std::uint32_t answeredAddress = routine.Find("g_exchange") + kAnsweredOffset;
    const std::vector<std::uint8_t> arguments = Encode(question, keys);
    CallRoutine(probe, routine,
                {routine.Find("DigestISR"), answeredAddress, arguments, answeredAddress, BoundOf(question)});
    const std::vector<FlashDigest> found = ReadAnswer(probe, routine, keys, wanted);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        isHeld.push_back(found[i] == wanted[i]);
    }
}

}  // namespace

std::vector<bool> AskWhatFlashHolds(Probe& probe, const Routine& routine, std::span<const WantedRange> wanted,
                                    const std::function<DigestKeys()>& drawKeys) {
    std::vector<bool> isHeld;
    LoadRoutine(probe, routine);
    while (isHeld.size() < wanted.size()) {
        Ask(probe, routine, FirstQuestion(wanted.subspan(isHeld.size())), drawKeys(), isHeld);
    }
    return isHeld;
}

}  // namespace flash::host
