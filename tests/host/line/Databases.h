// Tests that hold for every database run on each: `INSTANTIATE_TEST_SUITE_P(…, AnyDatabase, …)`.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "host/line/Database.h"
#include "host/line/Pool.h"

namespace flash::host::line::test {

// A folder that goes with the test.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }
    const std::filesystem::path& Path() const { return path; }

private:
    std::filesystem::path path;
};

class PostgresServer;

// One for the whole test program, started by whoever asks first.
PostgresServer& TheServer();

// Stands still but for who moves it.
struct FakeClock {
    std::chrono::system_clock::time_point now{std::chrono::seconds{1'000'000'000}};
    Clock Function() {
        return [this] { return now; };
    }
};

class AnyDatabase : public testing::TestWithParam<Dialect> {
protected:
    AnyDatabase();

    // Another connection to the same one.
    std::unique_ptr<Database> Open() const { return OpenDatabase(name, IfMissing::Create); }

    TemporaryFolder folder;
    std::string name;
    std::unique_ptr<Database> database;
};

inline std::string NameOfDialect(const testing::TestParamInfo<Dialect>& info) {
    return info.param == Dialect::Sqlite ? "Sqlite" : "Postgres";
}

#define ON_EACH_DATABASE(suite) \
    INSTANTIATE_TEST_SUITE_P(On, suite, testing::Values(Dialect::Sqlite, Dialect::Postgres), NameOfDialect)

RadioAddress Ieee(std::uint64_t number);
RadioAddress Ble(std::uint64_t number);
ChipFacts Chip(std::uint64_t number);  // without addresses

// The text of the failure that the work throws; "" when it throws none.
template <typename Work>
std::string TextOf(Work work) {
    try {
        work();
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

}  // namespace flash::host::line::test
