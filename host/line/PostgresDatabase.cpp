// With libpqxx. Every statement is watched: a server that is stopped, and a network that swallows all, end in a text.
#include "host/line/PostgresDatabase.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <pqxx/pqxx>

#include "host/line/Watchdog.h"

namespace flash::host::line {
namespace {

constexpr std::chrono::seconds kConnectTime{5};

// A server that lives ends a statement itself, and a transaction whose station died in the middle.
constexpr const char* kSessionSettings =
    "SET statement_timeout = '8s'; SET lock_timeout = '8s'; SET idle_in_transaction_session_timeout = '10s'; "
    "SET client_encoding = 'UTF8'; SET client_min_messages = 'warning'; SET synchronous_commit = 'on'";

// Of the classes 08 (connection), 53 (resources), 57 (an operator's or the system's intervention), and lock time-outs.
bool IsPassing(const std::string& state) {
    return state.starts_with("08") || state.starts_with("53") || state.starts_with("57") || state == "55P03" ||
           state == "25P03" || state == "40P01" || state == "40001";
}

std::string OneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

class PostgresDatabase final : public Database {
public:
    PostgresDatabase(const std::string& databaseUrl, std::chrono::milliseconds longestAnswer)
        : url(databaseUrl), name(WithoutPassword(databaseUrl)), answerTime(longestAnswer) {}

    ~PostgresDatabase() override { work.reset(); }

    std::vector<Row> Run(const std::string& sql, const std::vector<Cell>& parameters) override {
        if (work) {
            return RowsOf(Execute(*work, sql, parameters));
        }
        std::vector<Row> rows;
        Connected([&] {
            std::optional<pqxx::nontransaction> alone;
            Watched([&] { alone.emplace(*connection); });
            rows = RowsOf(Execute(*alone, sql, parameters));
        });
        return rows;
    }

    void Begin() override {
        Connected([&] {
            Watched([&] { work.emplace(*connection); });
            // The library begins with the first statement; a lost connection is noticed here.
            Execute(*work, "SELECT 1", {});
        });
    }
    void Commit() override {
        Watched([&] { work->commit(); });
        work.reset();
    }
    void Rollback() noexcept override {
        try {
            Watched([&] { work->abort(); });
        } catch (const std::exception&) {
            // Without its connection the server undoes it.
        }
        Drop(nullptr);
    }

    Dialect GetDialect() const override { return Dialect::Postgres; }
    const std::string& Name() const override { return name; }
    const std::string& Key() const override { return name; }

private:
    using Statement = std::function<void()>;

    // Once more when it shows that the connection was lost meanwhile; nothing has happened by then.
    void Connected(const Statement& statement) {
        if (connection) {
            try {
                statement();
                return;
            } catch (const DatabaseLost&) {
                Drop(connection.get());
            }
        }
        Connect();
        statement();
    }

    void Connect() {
        const bool hasLimit = url.find("connect_timeout") != std::string::npos;
        const char separator = url.find('?') == std::string::npos ? '?' : '&';
        const std::string limited =
            hasLimit ? url : fmt::format("{}{}connect_timeout={}", url, separator, kConnectTime.count());
        Guarded([&] { connection = std::make_unique<pqxx::connection>(limited); });
        Watched([&] { pqxx::nontransaction(*connection).exec(kSessionSettings); });
    }

    // The transaction goes with its connection.
    void Drop(const pqxx::connection* lost) noexcept {
        try {
            work.reset();
            if (lost != nullptr) {
                connection.reset();
            }
        } catch (const std::exception&) {
            // A connection that is lost cannot be ended well.
        }
    }

    pqxx::result Execute(pqxx::transaction_base& transaction, const std::string& sql,
                         const std::vector<Cell>& parameters) {
        std::vector<const char*> texts;
        std::transform(parameters.begin(), parameters.end(), std::back_inserter(texts),
                       [](const Cell& cell) { return cell ? cell->c_str() : nullptr; });
        pqxx::result result;
        Watched([&] {
            result = transaction.exec_params(sql, pqxx::prepare::make_dynamic_params(texts.begin(), texts.end()));
        });
        return result;
    }

    static std::vector<Row> RowsOf(const pqxx::result& result) {
        std::vector<Row> rows;
        for (const auto& found : result) {
            Row row;
            for (const auto& field : found) {
                row.push_back(field.is_null() ? Cell() : Cell(field.c_str()));
            }
            rows.push_back(std::move(row));
        }
        return rows;
    }

    struct Rest {
        ~Rest() { watchdog.Rest(); }
        Watchdog& watchdog;
    };

    void Watched(const Statement& statement) {
        Guarded([&] {
            watchdog.Watch(connection->sock(), answerTime);
            const Rest rest{watchdog};
            statement();
        });
    }

    void Guarded(const Statement& statement) const {
        try {
            statement();
        } catch (const pqxx::sql_error& error) {
            const std::string text = fmt::format("{}: {}", name, OneLine(error.what()));
            if (IsPassing(error.sqlstate())) {
                throw DatabaseLost(text);
            }
            throw Failure(FailureKind::Operation, text);
        } catch (const pqxx::failure& error) {
            throw DatabaseLost(fmt::format("{}: {}", name, OneLine(error.what())));
        } catch (const std::exception& error) {
            throw Failure(FailureKind::Operation, fmt::format("{}: {}", name, OneLine(error.what())));
        }
    }

    std::string url, name;
    std::chrono::milliseconds answerTime;
    std::unique_ptr<pqxx::connection> connection;
    std::optional<pqxx::work> work;
    Watchdog watchdog;
};

}  // namespace

std::string WithoutPassword(std::string url) {
    const std::size_t begin = url.find("://") + 3;
    const std::size_t at = url.find('@', begin);
    const std::size_t colon = url.find(':', begin);
    if (at != std::string::npos && colon < at && at < url.find_first_of("/?", begin)) {
        url.erase(colon, at - colon);
    }
    const std::size_t option = url.find("password=");
    if (option != std::string::npos) {
        const std::size_t end = url.find('&', option);
        url.erase(option, end == std::string::npos ? end : end + 1 - option);
        url.erase(url.find_last_not_of("?&") + 1);
    }
    return url;
}

std::unique_ptr<Database> OpenPostgres(const std::string& url, std::chrono::milliseconds answerTime) {
    return std::make_unique<PostgresDatabase>(url, answerTime);
}

}  // namespace flash::host::line
