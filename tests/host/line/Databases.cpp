#include "tests/host/line/Databases.h"

#include <cstdlib>
#include <stdexcept>

#include "host/line/Schema.h"
#include "tests/host/line/PostgresServer.h"

namespace flash::host::line::test {

TemporaryFolder::TemporaryFolder() {
    std::error_code error;
    std::string name = std::filesystem::exists("/dev/shm", error) ? "/dev/shm/line-XXXXXX" : "/tmp/line-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

PostgresServer& TheServer() {
    static PostgresServer server;
    return server;
}

AnyDatabase::AnyDatabase()
    : name(GetParam() == Dialect::Sqlite ? "sqlite:" + (folder / "line.db").string() : TheServer().NewDatabase()),
      database(Open()) {
    MigrateSchema(*database);
}

RadioAddress Ieee(std::uint64_t number) { return AddressOf(PoolKind::Ieee, 0x0200'0000'0000'0000 + number); }
RadioAddress Ble(std::uint64_t number) { return AddressOf(PoolKind::Ble, 0xC200'0000'0000 + number); }

ChipFacts Chip(std::uint64_t number) {
    return {.identity = AddressOf(PoolKind::Ieee, 0x0012'4B00'0000'0000 + number),
            .factory = AddressOf(PoolKind::Ble, 0x0012'4B00'0000 + number).Text()};
}

}  // namespace flash::host::line::test
