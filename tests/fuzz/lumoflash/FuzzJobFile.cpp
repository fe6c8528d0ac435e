// Job files: what is wrong is refused with the file's name, what is accepted keeps the promises that a line relies on,
// and printed as a job file it gives the same job. Memory is bounded by the input's size.
#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/lumoflash/CommandLine.h"
#include "apps/lumoflash/JobFile.h"
#include "host/Failure.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/InMemoryFile.h"
#include "tests/fuzz/lumoflash/PrintedJob.h"
#include "tests/support/AllocationMeter.h"

namespace flash::fuzz {
namespace {

using host::line::Job;

constexpr std::size_t kMemoryBytes = 2'097'152;  // all that the program knows of options
constexpr std::size_t kMemoryPerByte = 4096;     // each option of a load is checked with all others
constexpr std::size_t kMostSlots = 64;
constexpr std::int64_t kMostSeconds = 86'400;

// The job, or nothing for a refusal, which is checked.
std::optional<Job> Read(const std::string& text) {
    static InMemoryFile file;
    file.Put(text);
    try {
        return app::ReadJob(file.Path(), app::MakeEntryCheck());
    } catch (const host::Failure& failure) {
        const std::string_view refusal = failure.what();
        FuzzRequire(failure.Kind() == host::FailureKind::BadInput, "a wrong job is bad input");
        FuzzRequire(refusal.starts_with(file.Path() + ":"), "a refusal names the file");
        FuzzRequire(refusal.size() > file.Path().size() + 2, "a refusal says something");
    } catch (const std::exception&) {
        FuzzRequire(false, "a refusal is a Failure");
    }
    return std::nullopt;
}

bool IsHash(const std::string& text) {
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

bool IsIdentity(const std::string& text) {
    bool isRight = text.size() == 23;
    for (std::size_t i = 0; i < text.size(); ++i) {
        isRight =
            isRight && (i % 3 == 2 ? text[i] == ':'
                                   : std::string_view("0123456789ABCDEF").find(text[i]) != std::string_view::npos);
    }
    return isRight;
}

void CheckFiles(const Job& job) {
    FuzzRequire(!job.files.empty() && job.files.size() == job.paths.size(), "there are files, each with its path");
    FuzzRequire(std::ranges::all_of(job.paths, [](const auto& path) { return path.is_absolute(); }),
                "files are meant from the job's folder");
    for (const auto& [path, hash] : job.pinnedHashes) {
        FuzzRequire(IsHash(hash), "a hash is 64 digits in lower case");
        FuzzRequire(std::ranges::count(job.paths, path) != 0, "a hash is one of a file of the job");
    }
}

void CheckAddresses(const Job& job) {
    FuzzRequire(std::ranges::all_of(job.pinnedIdentities, IsIdentity), "identities are addresses");
    const std::set<std::string> kinds(job.assign.begin(), job.assign.end());
    FuzzRequire(kinds.size() == job.assign.size() && std::ranges::includes(std::set<std::string>{"ble", "ieee"}, kinds),
                "each kind of address is assigned once");
    FuzzRequire(job.assign.empty() || !job.database.empty(), "addresses come from a database");
}

void CheckSlots(const Job& job) {
    FuzzRequire(!job.slots.empty() && job.slots.size() <= kMostSlots, "there are slots, and not too many");
    std::set<std::string> names;
    for (const host::line::SlotPlan& slot : job.slots) {
        FuzzRequire(!slot.name.empty() && !slot.probe.empty(), "a slot has a name and a probe");
        FuzzRequire(names.insert(slot.name).second, "no two slots have one name");
    }
}

void CheckLimits(const Job& job) {
    FuzzRequire(!job.device.empty(), "there is a part");
    FuzzRequire(job.count != 0u && job.badInARow >= 1, "chips are counted from 1");
    for (const std::chrono::seconds limit : {job.timeLimit, job.onGoodTimeLimit}) {
        FuzzRequire(limit.count() >= 1 && limit.count() <= kMostSeconds, "time is limited to a day");
    }
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const flash::test::AllocationMeter meter;
    const std::optional<flash::host::line::Job> job = Read({reinterpret_cast<const char*>(data), size});
    FuzzRequire(meter.Bytes() <= kMemoryBytes + kMemoryPerByte * size, "memory is bounded by the input's size");
    if (job) {
        CheckFiles(*job);
        CheckAddresses(*job);
        CheckSlots(*job);
        CheckLimits(*job);
        const std::optional<flash::host::line::Job> again = Read(PrintJob(*job));
        FuzzRequire(again && Describe(*again) == Describe(*job), "a printed job is the same job");
    }
    return 0;
}
