// From a station's journal to the database.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/line/Database.h"
#include "host/line/Journal.h"
#include "host/line/Time.h"

namespace flash::host::line {

// One run's end, in one transaction: a record of a good chip is there if and only if its addresses are confirmed. A run
// that has its record keeps it. Null, or why the chip is not good after all; then its record says so.
std::optional<std::string> UploadEnd(Database& database, const Clock& clock, const EndedEntry& entry);

// What the journal has and the database has not, as far as the journal remembers. Gives what is wrong with the journal,
// one line each.
std::vector<std::string> CatchUp(Database& database, const Clock& clock, const Journal& journal);

struct ReplayReport {
    std::size_t records = 0;              // that the database did not have
    std::vector<std::string> complaints;  // one line each
};

// All of the journal, whatever was said to be in the database: for one that is new, or an older copy.
ReplayReport ReplayJournal(Database& database, const Clock& clock, const Journal& journal);

// The record of a run that died without one, written by whoever watched it. False when the run has left its own, in the
// database or in the journal. Throws Failure when neither can be written; DatabaseLost never: the journal keeps it.
bool RecordDeadRun(Database& database, const Clock& clock, Journal& journal, const Record& record);

}  // namespace flash::host::line
