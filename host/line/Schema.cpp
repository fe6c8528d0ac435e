// One list of steps; tables of version n have had the first n of them.
#include "host/line/Schema.h"

#include <fmt/format.h>

#include "host/Numbers.h"

namespace flash::host::line {
namespace {

// Of both databases. Addresses are texts: they sort as numbers do, and people can read them.
constexpr const char* kTables[] = {
    "CREATE TABLE line_schema (version TEXT NOT NULL)",
    "CREATE TABLE pool_address ("
    " kind TEXT NOT NULL CHECK (kind IN ('ieee', 'ble')),"
    " address TEXT NOT NULL,"
    " state TEXT NOT NULL CHECK (state IN ('FREE', 'LEASED', 'CONFIRMED', 'BURNED')),"
    " chip TEXT, station TEXT, time TEXT, note TEXT,"
    " PRIMARY KEY (kind, address),"
    " UNIQUE (chip, kind),"
    " CHECK ((chip IS NULL) = (state IN ('FREE', 'BURNED'))))",
    "CREATE INDEX pool_free ON pool_address (kind, address) WHERE state = 'FREE'",
    "CREATE INDEX pool_leased ON pool_address (kind, address) WHERE state = 'LEASED'",
    "CREATE TABLE pool_chip ("
    " identity TEXT PRIMARY KEY,"
    " factory TEXT NOT NULL,"
    " state TEXT NOT NULL CHECK (state IN ('WORK', 'DONE', 'FAILED')),"
    " run TEXT NOT NULL, station TEXT NOT NULL, slot TEXT NOT NULL, time TEXT NOT NULL)",
};

constexpr const char* kSqliteTables[] = {
    "CREATE TABLE line_record (number INTEGER PRIMARY KEY AUTOINCREMENT, run TEXT NOT NULL UNIQUE, chip TEXT NOT NULL,"
    " start TEXT NOT NULL, station TEXT NOT NULL, verdict TEXT NOT NULL, document TEXT NOT NULL)",
    "CREATE INDEX record_chip ON line_record (chip)",
    "CREATE TRIGGER record_kept BEFORE UPDATE ON line_record BEGIN SELECT RAISE(ABORT, 'records are never changed'); "
    "END",
    "CREATE TRIGGER record_stays BEFORE DELETE ON line_record BEGIN SELECT RAISE(ABORT, 'records are never changed'); "
    "END",
    "CREATE TRIGGER address_stays_given BEFORE UPDATE ON pool_address WHEN OLD.state <> 'FREE' AND NEW.state = 'FREE'"
    " BEGIN SELECT RAISE(ABORT, 'an address that was given out is never free again'); END",
};

constexpr const char* kPostgresTables[] = {
    "CREATE TABLE line_record (number BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY, run TEXT NOT NULL UNIQUE,"
    " chip TEXT NOT NULL, start TEXT NOT NULL, station TEXT NOT NULL, verdict TEXT NOT NULL, document TEXT NOT NULL)",
    "CREATE INDEX record_chip ON line_record (chip)",
    "CREATE FUNCTION line_refuse() RETURNS trigger LANGUAGE plpgsql AS"
    " $$ BEGIN RAISE EXCEPTION '%', TG_ARGV[0]; END $$",
    "CREATE TRIGGER record_kept BEFORE UPDATE OR DELETE ON line_record FOR EACH ROW"
    " EXECUTE FUNCTION line_refuse('records are never changed')",
    "CREATE TRIGGER address_stays_given BEFORE UPDATE ON pool_address FOR EACH ROW"
    " WHEN (OLD.state <> 'FREE' AND NEW.state = 'FREE')"
    " EXECUTE FUNCTION line_refuse('an address that was given out is never free again')",
};

bool HasTables(Database& database) {
    const char* const question =
        database.GetDialect() == Dialect::Sqlite
            ? "SELECT name FROM sqlite_master WHERE type = 'table' AND name = 'line_schema'"
            : "SELECT 'line_schema' FROM pg_tables WHERE tablename = 'line_schema' AND schemaname = current_schema()";
    return !database.Run(question).empty();
}

void MakeTables(Database& database) {
    for (const char* statement : kTables) {
        database.Run(statement);
    }
    if (database.GetDialect() == Dialect::Sqlite) {
        for (const char* statement : kSqliteTables) {
            database.Run(statement);
        }
    } else {
        for (const char* statement : kPostgresTables) {
            database.Run(statement);
        }
    }
    database.Run("INSERT INTO line_schema (version) VALUES ('0')");
}

// From version n to n + 1.
using Step = void (*)(Database&);
constexpr Step kSteps[kSchemaVersion] = {MakeTables};

[[noreturn]] void RefuseVersion(const Database& database, int version) {
    throw Failure(
        FailureKind::BadInput,
        fmt::format(
            "{}: its tables are of version {}, and this program knows none later than {}: use a newer one. Nothing was "
            "changed",
            database.Name(), version, kSchemaVersion));
}

}  // namespace

int SchemaVersion(Database& database) {
    if (!HasTables(database)) {
        return 0;
    }
    const std::vector<Row> rows = database.Run("SELECT version FROM line_schema");
    const auto version = rows.size() == 1 && rows[0][0] ? ParseDecimal(*rows[0][0]) : std::nullopt;
    if (!version || *version == 0) {
        throw Failure(FailureKind::BadInput, database.Name() + ": its tables do not tell their version");
    }
    return static_cast<int>(*version);
}

void MigrateSchema(Database& database) {
    Transaction transaction(database);
    if (database.GetDialect() == Dialect::Postgres) {
        // Two stations may come to an empty database at once; the number is the tables' own.
        database.Run("SELECT pg_advisory_xact_lock(76117)");
    }
    const int version = SchemaVersion(database);
    if (version > kSchemaVersion) {
        RefuseVersion(database, version);
    }
    for (int step = version; step < kSchemaVersion; ++step) {
        kSteps[step](database);
    }
    database.Run("UPDATE line_schema SET version = $1", {fmt::format("{}", kSchemaVersion)});
    transaction.Commit();
}

void RequireSchema(Database& database) {
    const int version = SchemaVersion(database);
    if (version == 0) {
        throw Failure(FailureKind::BadInput, database.Name() + ": there is no pool in it; create one first");
    }
    if (version > kSchemaVersion) {
        RefuseVersion(database, version);
    }
    if (version < kSchemaVersion) {
        MigrateSchema(database);
    }
}

}  // namespace flash::host::line
