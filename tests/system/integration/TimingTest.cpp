// Time: double buffering pays, a full load costs what it should, and the same load takes the same time to the
// nanosecond.
#include <algorithm>

#include "ChipOnBench.h"

namespace flash::test {
namespace {

using chip::Event;
using chip::EventKind;
using chip::Nanoseconds;

bool IsFlashOperation(const Event& event) {
    return event.kind == EventKind::ProgramWord || event.kind == EventKind::EraseSector ||
           event.kind == EventKind::EraseBank;
}

// Both kinds of events follow each other without overlap among themselves, in the order of the timeline.
Nanoseconds TimeTogether(const std::vector<Event>& some, const std::vector<Event>& others) {
    Nanoseconds together{0};
    std::size_t first = 0;
    for (const Event& event : some) {
        while (first < others.size() && others[first].end <= event.start) {
            ++first;
        }
        for (std::size_t i = first; i < others.size() && others[i].start < event.end; ++i) {
            together += std::min(event.end, others[i].end) - std::max(event.start, others[i].start);
        }
    }
    return together;
}

Nanoseconds TotalTime(const std::vector<Event>& events) {
    Nanoseconds total{0};
    for (const Event& event : events) {
        total += event.end - event.start;
    }
    return total;
}

template <typename Condition>
std::vector<Event> Select(const std::vector<Event>& timeline, Condition condition) {
    std::vector<Event> selected;
    std::copy_if(timeline.begin(), timeline.end(), std::back_inserter(selected), condition);
    return selected;
}

bool IsCommand(const Event& event) {
    return event.kind == EventKind::InFirstLane || event.kind == EventKind::InSecondLane;
}

// The flashloader's own time: a command that is posted while another one runs waits for that one's end.
Nanoseconds TimeOfCommands(const std::vector<Event>& timeline) {
    Nanoseconds total{0};
    Nanoseconds free{0};
    for (const Event& command : Select(timeline, IsCommand)) {
        total += command.end - std::max(command.start, free);
        free = command.end;
    }
    return total;
}

class TimingOfLoads : public BothGenerations {};
FOR_BOTH_GENERATIONS(TimingOfLoads);

TEST_P(TimingOfLoads, ALoadOfAllFlashOverlapsTransfersWithProgramming) {
    ChipOnBench bench(Model());
    const Bytes data = Pattern(bench.chip.FlashBytes(), 1);
    bench.Property("CrcVerify") = "1";
    const std::size_t before = bench.chip.Timeline().size();
    const Nanoseconds start = bench.chip.Now();

    ASSERT_EQ(bench.Load({{0, data}}), "");

    EXPECT_EQ(bench.FlashAt(0, data.size()), data);
    EXPECT_EQ(bench.chip.ViolationTotal(), 0U);
    const std::vector<Event> timeline(bench.chip.Timeline().begin() + static_cast<std::ptrdiff_t>(before),
                                      bench.chip.Timeline().end());
    const std::vector<Event> chunks = Select(timeline, [&](const Event& event) {
        return event.kind == EventKind::TransferWrite && event.value == bench.chip.SectorSize();
    });
    const std::vector<Event> operations = Select(timeline, IsFlashOperation);
    ASSERT_EQ(chunks.size(), bench.chip.GetSettings().sectorCount);
    // All chunks but the first travel while the flashloader works; some of its time is its own, without flash.
    EXPECT_GT(TimeTogether(chunks, operations), TotalTime(chunks) / 2);
    EXPECT_LT(bench.chip.Now() - start, TotalTime(chunks) + TimeOfCommands(timeline));
    // What the emulation costs, without a clock: some 55 million instructions are one second of real time.
    EXPECT_LT(bench.chip.GetCounters().instructions, 120'000'000U);
}

TEST_P(TimingOfLoads, EachChunkIsACommandOnTheTimeline) {
    ChipOnBench bench(Model());
    const std::uint32_t size = bench.chip.SectorSize();

    ASSERT_EQ(bench.Load({{0, Pattern(3 * size, 1)}}), "");

    const std::vector<Event> commands = Select(bench.chip.Timeline(), IsCommand);
    ASSERT_EQ(commands.size(), 3U);
    for (std::uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(commands[i].kind, i == 1 ? EventKind::InSecondLane : EventKind::InFirstLane);
        EXPECT_EQ(commands[i].address, i * size);
        EXPECT_EQ(commands[i].value, size);
        EXPECT_EQ(commands[i].text, "command 0x03, status 0x00000000");
    }
}

TEST_P(TimingOfLoads, TheControllerHardlyWaitsForTheCoreBetweenTwoWords) {
    ChipOnBench bench(Model());
    const std::uint32_t size = bench.chip.SectorSize();
    bench.chip.PlaceInFlash(0, Pattern(3 * size, 2));

    ASSERT_EQ(bench.Load({{0, Pattern(3 * size, 1)}}), "");

    const std::vector<Event> operations = Select(bench.chip.Timeline(), IsFlashOperation);
    std::int64_t gaps = 0;
    Nanoseconds lost{0};
    for (std::size_t i = 1; i < operations.size(); ++i) {
        if (operations[i - 1].kind == EventKind::ProgramWord && operations[i].kind == EventKind::ProgramWord) {
            lost += operations[i].start - operations[i - 1].end;
            ++gaps;
        }
    }
    EXPECT_EQ(gaps, 3 * (size / 4 - 1));
    EXPECT_LT(lost / gaps, std::chrono::nanoseconds(300));
}

TEST_P(TimingOfLoads, TheSameLoadGivesTheSameTimeline) {
    const auto hashOfALoad = [this] {
        ChipOnBench bench(Model());
        bench.Property("CrcVerify") = "1";
        EXPECT_EQ(bench.Load({{0x123, Pattern(3 * bench.chip.SectorSize(), 1)}}), "");
        EXPECT_EQ(bench.Execute("BlankCheck"), "");
        return bench.chip.TimelineHash();
    };

    EXPECT_EQ(hashOfALoad(), hashOfALoad());
}

}  // namespace
}  // namespace flash::test
