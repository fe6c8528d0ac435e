#include "host/line/Upload.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "host/line/Pool.h"
#include "host/line/RecordStore.h"
#include "host/line/Stock.h"

namespace flash::host::line {
namespace {

struct JournalRuns {
    std::map<std::string, const EndedEntry*> ends;  // the last one of each run
    std::set<std::string> stored;
};

JournalRuns RunsOf(const JournalContent& content) {
    JournalRuns runs;
    for (const JournalEntry& entry : content.entries) {
        if (const auto* ended = std::get_if<EndedEntry>(&entry)) {
            runs.ends[ended->record.run] = ended;
        } else if (const auto* stored = std::get_if<StoredEntry>(&entry)) {
            runs.stored.insert(stored->run);
        }
    }
    return runs;
}

Place PlaceOf(const Record& record) { return {record.run, record.station, record.slot}; }

}  // namespace

std::optional<std::string> UploadEnd(Database& database, const Clock& clock, const EndedEntry& entry) {
    Pool pool(database, clock);
    RecordStore records(database);
    Transaction transaction(database);
    Record record = entry.record;
    if (records.Has(record.run)) {
        return std::nullopt;
    }
    std::optional<std::string> complaint;
    if (record.isGood) {
        complaint = pool.Confirm(record.chip, PlaceOf(record), entry.addresses);
        record.isGood = !complaint;
        record.cause = complaint.value_or("");
    } else {
        pool.EndInVain(record.chip, record.run);
    }
    records.Append(record);
    transaction.Commit();
    return complaint;
}

std::vector<std::string> CatchUp(Database& database, const Clock& clock, const Journal& journal) {
    const std::uint64_t begin = journal.Uploaded();
    const JournalContent content = journal.Read(begin);
    const JournalRuns runs = RunsOf(content);
    std::vector<std::string> complaints = SendStock(database, clock, journal, Stock::Scope::New);
    std::ranges::copy(content.damages, std::back_inserter(complaints));
    for (const auto& [run, ended] : runs.ends) {
        const auto complaint = runs.stored.contains(run) ? std::nullopt : UploadEnd(database, clock, *ended);
        if (complaint) {
            complaints.push_back(*complaint);
        }
    }
    if (content.end != begin) {
        journal.SetUploaded(content.end);
    }
    return complaints;
}

ReplayReport ReplayJournal(Database& database, const Clock& clock, const Journal& journal) {
    const JournalContent content = journal.Read();
    ReplayReport report{.complaints = SendStock(database, clock, journal, Stock::Scope::All)};
    std::ranges::copy(content.damages, std::back_inserter(report.complaints));
    Pool pool(database, clock);
    RecordStore records(database);
    const auto remember = [&](const std::string& chip, const Place& place, const Addresses& addresses) {
        Transaction transaction(database);
        pool.Remember(chip, place, addresses);
        transaction.Commit();
    };
    const JournalRuns runs = RunsOf(content);
    for (const JournalEntry& entry : content.entries) {
        if (const auto* leased = std::get_if<LeasedEntry>(&entry)) {
            remember(leased->chip, leased->place, leased->addresses);
            continue;
        }
        const auto* ended = std::get_if<EndedEntry>(&entry);
        if (ended == nullptr || runs.ends.at(ended->record.run) != ended || records.Has(ended->record.run)) {
            continue;
        }
        remember(ended->record.chip, PlaceOf(ended->record), ended->addresses);
        const std::optional<std::string> complaint = UploadEnd(database, clock, *ended);
        report.records += 1;
        if (complaint) {
            report.complaints.push_back(*complaint);
        }
    }
    journal.SetUploaded(content.end);
    return report;
}

bool RecordDeadRun(Database& database, const Clock& clock, Journal& journal, const Record& record) {
    const JournalContent content = journal.Read(journal.Uploaded());
    const bool isJournalled = RunsOf(content).ends.contains(record.run);
    if (!isJournalled) {
        try {
            if (RecordStore(database).Has(record.run)) {
                return false;
            }
        } catch (const DatabaseLost&) {
            // Should the run have a record there, that one stays.
        }
        journal.Append(EndedEntry{record, {}});
    }
    try {
        CatchUp(database, clock, journal);
    } catch (const DatabaseLost&) {
        // The next run makes it good.
    }
    return !isJournalled;
}

}  // namespace flash::host::line
