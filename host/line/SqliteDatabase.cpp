// With SQLiteCpp. A write-ahead log, so that a commit costs one flush and readers wait for nobody.
#include "host/line/SqliteDatabase.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <system_error>
#include <thread>

namespace flash::host::line {
namespace {

constexpr std::chrono::seconds kBusyTimeout{10};

std::string Reason(const SQLite::Exception& error) {
    switch (error.getErrorCode()) {
        case SQLITE_FULL:
            return "the disk is full";
        case SQLITE_READONLY:
            return "it may only be read";
        case SQLITE_CANTOPEN:
            return "it, or a file beside it, cannot be opened: may its folder be written?";
        case SQLITE_NOTADB:
            return "it is no SQLite database";
        case SQLITE_CORRUPT:
            return fmt::format("it is damaged ({})", error.what());
        case SQLITE_IOERR:
            return fmt::format("it cannot be read or written ({})", sqlite3_errstr(error.getExtendedErrorCode()));
        default:
            return error.what();
    }
}

bool IsOfTheFile(const SQLite::Exception& error) {
    constexpr int kCodes[] = {SQLITE_FULL,    SQLITE_READONLY, SQLITE_CANTOPEN, SQLITE_NOTADB,
                              SQLITE_CORRUPT, SQLITE_IOERR,    SQLITE_PERM};
    return std::ranges::find(kCodes, error.getErrorCode()) != std::end(kCodes);
}

bool IsBusy(const SQLite::Exception& error) {
    return error.getErrorCode() == SQLITE_BUSY || error.getErrorCode() == SQLITE_LOCKED;
}

class SqliteDatabase final : public Database {
public:
    SqliteDatabase(const std::filesystem::path& file, IfMissing ifMissing)
        : name("sqlite:" + file.string()), key(std::filesystem::absolute(file).lexically_normal().string()) {
        Guarded([&] {
            const int mode = SQLite::OPEN_READWRITE | (ifMissing == IfMissing::Create ? SQLite::OPEN_CREATE : 0);
            connection.emplace(file.string(), mode);
            connection->setBusyTimeout(static_cast<int>(std::chrono::milliseconds(kBusyTimeout).count()));
            if (ifMissing == IfMissing::Create) {
                WriteAhead();
            }
            connection->exec("PRAGMA synchronous=FULL");
        });
    }

    std::vector<Row> Run(const std::string& sql, const std::vector<Cell>& parameters) override {
        std::vector<Row> rows;
        Guarded([&] {
            SQLite::Statement& statement = Prepared(sql);
            const Reset reset{statement};
            for (std::size_t i = 0; i < parameters.size(); ++i) {
                const std::string parameter = fmt::format("${}", i + 1);
                parameters[i] ? statement.bind(parameter, *parameters[i]) : statement.bind(parameter);
            }
            while (statement.executeStep()) {
                rows.push_back(RowOf(statement));
            }
        });
        return rows;
    }

    // Immediate: whoever reads first and writes then would have to give up when another one writes between.
    void Begin() override { Run("BEGIN IMMEDIATE", {}); }
    void Commit() override {
        try {
            Run("COMMIT", {});
        } catch (const Failure&) {
            Rollback();
            throw;
        }
    }
    void Rollback() noexcept override {
        try {
            connection->exec("ROLLBACK");
        } catch (const std::exception&) {
            // SQLite has done so itself.
        }
    }

    Dialect GetDialect() const override { return Dialect::Sqlite; }
    const std::string& Name() const override { return name; }
    const std::string& Key() const override { return key; }

private:
    // Where two make the same file at once, SQLite tells one of them so without waiting: it has read the file by then.
    void WriteAhead() {
        const auto deadline = std::chrono::steady_clock::now() + kBusyTimeout;
        while (true) {
            try {
                connection->exec("PRAGMA journal_mode=WAL");
                return;
            } catch (const SQLite::Exception& error) {
                if (!IsBusy(error) || std::chrono::steady_clock::now() >= deadline) {
                    throw;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    struct Reset {
        ~Reset() {
            statement.tryReset();
            statement.clearBindings();
        }
        SQLite::Statement& statement;
    };

    SQLite::Statement& Prepared(const std::string& sql) {
        auto known = statements.find(sql);
        if (known == statements.end()) {
            known = statements.emplace(sql, SQLite::Statement(*connection, sql)).first;
        }
        return known->second;
    }

    static Row RowOf(SQLite::Statement& statement) {
        Row row;
        for (int i = 0; i < statement.getColumnCount(); ++i) {
            const SQLite::Column column = statement.getColumn(i);
            row.push_back(column.isNull() ? Cell() : Cell(column.getString()));
        }
        return row;
    }

    template <typename Work>
    void Guarded(Work work) const {
        try {
            work();
        } catch (const SQLite::Exception& error) {
            if (IsBusy(error)) {
                throw DatabaseLost(
                    fmt::format("{}: another program has kept it for more than {} s", name, kBusyTimeout.count()));
            }
            if (IsOfTheFile(error)) {
                throw DatabaseLost(fmt::format("{}: {}", name, Reason(error)));
            }
            throw Failure(FailureKind::Operation, fmt::format("{}: {}", name, error.what()));
        }
    }

    std::string name, key;
    std::optional<SQLite::Database> connection;
    std::map<std::string, SQLite::Statement> statements;  // by their text; they end before the connection
};

}  // namespace

std::unique_ptr<Database> OpenSqlite(const std::filesystem::path& file, IfMissing ifMissing) {
    std::error_code error;
    if (ifMissing == IfMissing::Refuse && !std::filesystem::exists(file, error)) {
        throw Failure(FailureKind::BadInput, fmt::format("sqlite:{}: there is no such file; create a pool in it "
                                                         "first",
                                                         file.string()));
    }
    return std::make_unique<SqliteDatabase>(file, ifMissing);
}

}  // namespace flash::host::line
