// The database that stations share: SQLite in a file for one machine, PostgreSQL for many. A thin layer, so that pool
// and records are written once, in SQL that both understand. Every wait in it is bounded.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Failure.h"

namespace flash::host::line {

// All columns are text; null is no value.
using Cell = std::optional<std::string>;
using Row = std::vector<Cell>;

enum class Dialect { Sqlite, Postgres };

// The database cannot be reached, read or written now, or is kept by someone else: what was tried has not happened, or
// it is not known whether it has. Trying again later is right. Every other trouble is a plain Failure.
class DatabaseLost : public Failure {
public:
    explicit DatabaseLost(const FieldText& why) : Failure(FailureKind::Unreachable, why) {}
};

// Of one thread. All calls throw DatabaseLost or Failure with the database's name in the text.
class Database {
public:
    virtual ~Database() = default;

    // One statement, with $1, $2… for the parameters; the rows that it gives. Outside of a transaction it is one by
    // itself.
    virtual std::vector<Row> Run(const std::string& sql, const std::vector<Cell>& parameters = {}) = 0;

    // A lost connection is made anew by `Begin`, and by `Run` outside of a transaction, never within one.
    virtual void Begin() = 0;
    virtual void Commit() = 0;
    virtual void Rollback() noexcept = 0;

    virtual Dialect GetDialect() const = 0;

    // As the user named it, without a password.
    virtual const std::string& Name() const = 0;

    // What to name files by that belong to this database: the same from every folder.
    virtual const std::string& Key() const = 0;
};

// Undone unless it is committed.
class Transaction {
public:
    explicit Transaction(Database& transactionDatabase) : database(transactionDatabase) { database.Begin(); }
    ~Transaction() {
        if (isOpen) {
            database.Rollback();
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit() {
        isOpen = false;
        database.Commit();
    }

private:
    Database& database;
    bool isOpen = true;
};

enum class IfMissing { Refuse, Create };

// "sqlite:FILE" or "postgresql://…". Opens a SQLite file, or makes it; a connection to PostgreSQL is made with the
// first statement. Throws Failure (BadInput) when it is neither.
std::unique_ptr<Database> OpenDatabase(const std::string& name, IfMissing ifMissing = IfMissing::Refuse);

// Whether that could be the name of a database.
bool IsDatabaseName(const std::string& name);

// Null for a database that is no file.
std::optional<std::filesystem::path> FileOfDatabase(const std::string& name);

// A relative file is meant from the folder.
std::string DatabaseMeantFrom(const std::string& folder, const std::string& name);

}  // namespace flash::host::line
