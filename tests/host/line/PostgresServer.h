// A PostgreSQL server of the test's own: in a temporary folder, on a Unix socket, as the user `postgres` when the test
// runs as root. It ends with the test, however that ends.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace flash::host::line::test {

class PostgresServer {
public:
    PostgresServer();
    ~PostgresServer();
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    // Makes a database, and names it for `OpenDatabase`.
    std::string NewDatabase();

    void Start();                   // returns when it takes connections
    void Stop(int how);             // SIGINT: at once, in good order; SIGQUIT: as if it had crashed
    void Signal(int signal) const;  // to the server and all its processes: SIGSTOP, SIGCONT

private:
    std::filesystem::path folder;
    pid_t server = -1;
    int output = -1;  // of the server, while it runs
    int databases = 0;
};

}  // namespace flash::host::line::test
