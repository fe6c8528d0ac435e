// What an assignment costs in SQLite, from the first transaction to the confirmation, in pools of 10 to a million
// addresses and with a million records. The journal and the database lie in the folder that TMPDIR names.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

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

void FillRecords(Database& database, std::uint64_t count) {
    RecordStore records(database);
    Transaction transaction(database);
    for (std::uint64_t i = 0; i < count; ++i) {
        records.Append(ARecord(fmt::format("old{}", i), {AddressOf(PoolKind::Ieee, i + 1), ""}));
    }
    transaction.Commit();
}

// In a pool of so many addresses, beside so many records.
void Assign(benchmark::State& state) {
    const Folder folder;
    const auto size = static_cast<std::uint64_t>(state.range(0));
    const auto database = OpenDatabase("sqlite:" + (folder.Path() / "line.db").string(), IfMissing::Create);
    MigrateSchema(*database);
    const AddressRange range[] = {{PoolKind::Ieee, kFirst, kFirst + size - 1}};
    Pool(*database).Add(range);
    FillRecords(*database, static_cast<std::uint64_t>(state.range(1)));
    Journal journal(folder.Path() / "journal");
    std::uint64_t number = 0;
    for (auto unused : state) {
        const ChipFacts chip{AddressOf(PoolKind::Ieee, 0x0012'4B00'0000'0000 + ++number), "factory"};
        const std::string run = DrawRunName();
        Assignment assignment(*database, journal, {run, "here", ""});
        const Addresses addresses = assignment.Lease(chip, {{PoolKind::Ieee}});
        if (assignment.Finish(ARecord(run, chip), addresses)) {
            state.SkipWithError("the database is lost");
        }
    }
}
BENCHMARK(Assign)
    ->Args({10, 0})
    ->Args({10'000, 0})
    ->Args({1'000'000, 0})
    ->Args({1'000'000, 1'000'000})
    ->Iterations(10)  // the smallest pool has no more
    ->Repetitions(5)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMillisecond);

}  // namespace
