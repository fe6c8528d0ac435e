// The one list of databases.
#include "host/line/Database.h"

#include <fmt/format.h>

#include <filesystem>
#include <string_view>

#include "host/line/PostgresDatabase.h"
#include "host/line/SqliteDatabase.h"

namespace flash::host::line {
namespace {

constexpr std::string_view kSqlite = "sqlite:";
constexpr std::string_view kPostgres[] = {"postgresql://", "postgres://"};

bool IsPostgres(const std::string& name) { return name.starts_with(kPostgres[0]) || name.starts_with(kPostgres[1]); }
bool IsSqlite(const std::string& name) { return name.starts_with(kSqlite) && name.size() > kSqlite.size(); }

}  // namespace

bool IsDatabaseName(const std::string& name) { return IsSqlite(name) || IsPostgres(name); }

std::unique_ptr<Database> OpenDatabase(const std::string& name, IfMissing ifMissing) {
    if (IsSqlite(name)) {
        return OpenSqlite(name.substr(kSqlite.size()), ifMissing);
    }
    if (IsPostgres(name)) {
        return OpenPostgres(name);
    }
    throw Failure(FailureKind::BadInput,
                  fmt::format("\"{}\" is no database: give sqlite:FILE or postgresql://USER@HOST/NAME", name));
}

std::optional<std::filesystem::path> FileOfDatabase(const std::string& name) {
    return IsSqlite(name) ? std::optional<std::filesystem::path>(name.substr(kSqlite.size())) : std::nullopt;
}

std::string DatabaseMeantFrom(const std::string& folder, const std::string& name) {
    return IsSqlite(name)
               ? fmt::format("{}{}", kSqlite, (std::filesystem::path(folder) / name.substr(kSqlite.size())).string())
               : name;
}

}  // namespace flash::host::line
