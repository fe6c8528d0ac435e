// The tables of pool and records, their version, and the way from each version to the next.
#pragma once

#include "host/line/Database.h"

namespace flash::host::line {

inline constexpr int kSchemaVersion = 1;

// 0 when there are no tables of ours.
int SchemaVersion(Database& database);

// Makes the tables, or brings those of an earlier version up to date, in one transaction; leaves those that are.
void MigrateSchema(Database& database);

// Brings tables of an earlier version up to date. Throws Failure when there are none, or of a later version.
void RequireSchema(Database& database);

}  // namespace flash::host::line
