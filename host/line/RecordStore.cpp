#include "host/line/RecordStore.h"

#include <algorithm>

#include "host/Numbers.h"
#include "host/line/Schema.h"

namespace flash::host::line {

RecordStore::RecordStore(Database& storeDatabase) : database(storeDatabase) { RequireSchema(database); }

bool RecordStore::Append(const Record& record) {
    return !database
                .Run(
                    "INSERT INTO line_record (run, chip, start, station, verdict, document)"
                    " VALUES ($1, $2, $3, $4, $5, $6) ON CONFLICT (run) DO NOTHING RETURNING run",
                    {record.run, record.chip, record.start, record.station, std::string(record.isGood ? "good" : "bad"),
                     RecordJson(record)})
                .empty();
}

bool RecordStore::Has(const std::string& run) {
    return !database.Run("SELECT run FROM line_record WHERE run = $1", {run}).empty();
}

std::vector<Record> RecordStore::OfChip(const std::string& chip) {
    std::vector<Record> records;
    std::ranges::transform(database.Run("SELECT document FROM line_record WHERE chip = $1 ORDER BY number", {chip}),
                           std::back_inserter(records),
                           [](const Row& row) { return ParseRecordJson(row[0].value_or("")); });
    return records;
}

std::uint64_t RecordStore::Count() {
    return ParseDecimal(database.Run("SELECT count(*) FROM line_record")[0][0].value_or("")).value_or(0);
}

void RecordStore::ForEach(const std::function<void(const Record&)>& visit) {
    // A number of the database's own, or the one before the first.
    std::string last = "0";
    std::vector<Row> page;
    do {
        page = database.Run("SELECT number, document FROM line_record WHERE number > " + last +
                            " ORDER BY number LIMIT 2000");
        for (const Row& row : page) {
            visit(ParseRecordJson(row[1].value_or("")));
            last = row[0].value_or("");
        }
    } while (!page.empty());
}

}  // namespace flash::host::line
