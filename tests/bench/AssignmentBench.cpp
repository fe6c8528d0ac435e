// What an assignment costs in SQLite, from the first transaction to the confirmation, in pools of 10 to a million
// addresses and with a million records. The journal and the database lie in the folder that TMPDIR names.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <vector>

#include "host/line/Assignment.h"
#include "host/line/Schema.h"

namespace {

using namespace flash::host;
using namespace flash::host::line;

constexpr std::uint64_t kFirst = 0x0200'0000'0000'0001;

class Folder {
public:
    Folder() : path(std::filesystem::temp_directory_path() / "assignment-bench") {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path& Path() const { return path; }

private:
    std::filesystem::path path;
};

Record ARecord(const std::string& run, const ChipFacts& chip) {
    return {.run = run,
            .chip = chip.identity.Text(),
            .files = {{"app.elf", std::string(64, 'a')}},
            .flashSha256 = std::string(64, 'b'),
            .ccfg = std::string(176, 'f'),
            .part = "LumoF2F352",
            .station = "here",
            .start = "2026-11-22T07:10:41Z",
            .isGood = true};
}

// All at once, by the database itself: a million one by one take minutes.
void FillRecords(Database& database, std::uint64_t count) {
    const std::string document = RecordJson(ARecord("old", {AddressOf(PoolKind::Ieee, 1), ""}));
    database.Run(
        "WITH RECURSIVE counter(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM counter WHERE n < CAST($1 AS INTEGER))"
        " INSERT INTO line_record (run, chip, start, station, verdict, document)"
        " SELECT 'old' || n, 'chip' || n, '2026-11-22T07:10:41Z', 'here', 'good', $2 FROM counter",
        {fmt::format("{}", count), document});
}

class Line {
public:
    Line(std::uint64_t addresses, std::uint64_t records)
        : database(OpenDatabase("sqlite:" + (folder.Path() / "line.db").string(), IfMissing::Create)) {
        MigrateSchema(*database);
        const AddressRange range[] = {{PoolKind::Ieee, kFirst, kFirst + addresses - 1}};
        Pool(*database).Add(range);
        if (records != 0) {
            FillRecords(*database, records);
        }
        journal.emplace(folder.Path() / "journal");
    }

    // Whether the database has all of it.
    bool AssignToAnotherChip() {
        const ChipFacts chip{AddressOf(PoolKind::Ieee, 0x0012'4B00'0000'0000 + ++number), "factory"};
        const std::string run = DrawRunName();
        Assignment assignment(*database, *journal, {run, "here", ""});
        const Addresses addresses = assignment.Lease(chip, {{PoolKind::Ieee}});
        return !assignment.Finish(ARecord(run, chip), addresses);
    }

private:
    Folder folder;
    std::unique_ptr<Database> database;
    std::optional<Journal> journal;
    std::uint64_t number = 0;
};

// In a pool of so many addresses, beside so many records.
void Assign(benchmark::State& state) {
    Line line(static_cast<std::uint64_t>(state.range(0)), static_cast<std::uint64_t>(state.range(1)));
    std::vector<double> milliseconds;
    for (auto unused : state) {
        const auto start = std::chrono::steady_clock::now();
        if (!line.AssignToAnotherChip()) {
            state.SkipWithError("the database is lost");
        }
        milliseconds.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::ranges::sort(milliseconds);
    state.counters["least"] = milliseconds.front();
    state.counters["median"] = milliseconds[milliseconds.size() / 2];
}
BENCHMARK(Assign)
    ->Args({10, 0})
    ->Args({10, 1'000'000})
    ->Iterations(10)  // the smallest pool has no more
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Assign)
    ->Args({10'000, 0})
    ->Args({1'000'000, 0})
    ->Args({1'000'000, 1'000'000})
    ->Iterations(200)
    ->Unit(benchmark::kMillisecond);

}  // namespace
