// The records of all chips in the database: appended, read, never changed.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/line/Database.h"
#include "host/line/Record.h"

namespace flash::host::line {

class RecordStore {
public:
    // The database must outlive the store. Throws Failure when it has no schema of this version.
    explicit RecordStore(Database& storeDatabase);

    // Within the caller's transaction, or by itself. A run that has its record already keeps that one: false.
    bool Append(const Record& record);

    bool Has(const std::string& run);
    std::vector<Record> OfChip(const std::string& chip);
    std::uint64_t Count();

    // All, in the order in which they were appended.
    void ForEach(const std::function<void(const Record&)>& visit);

private:
    Database& database;
};

}  // namespace flash::host::line
