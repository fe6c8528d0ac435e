#include "tests/host/line/PostgresServer.h"

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "host/line/PostgresDatabase.h"

// The library for PostgreSQL forgets what it was given when a connection is lost; there is one such for each loss.
extern "C" const char* __lsan_default_suppressions() { return "leak:PQmakeEmptyPGresult\n"; }

namespace flash::host::line::test {
namespace {

const std::filesystem::path kPrograms = POSTGRES_PROGRAMS;

std::filesystem::path NewFolder() {
    std::error_code error;
    // In memory where there is such a place: what a flush to the disk costs is no matter of these tests.
    const char* const parent = std::filesystem::exists("/dev/shm", error) ? "/dev/shm" : "/tmp";
    std::string name = std::string(parent) + "/line-postgres-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    return name;
}

// The server refuses to run as root.
void BecomeServersUser() {
    const passwd* const user = getpwnam("postgres");
    if (geteuid() == 0 &&
        (user == nullptr || setgroups(0, nullptr) != 0 || setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)) {
        _exit(126);
    }
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
}

pid_t Launch(const std::vector<std::string>& words, int errorStream) {
    const pid_t child = fork();
    if (child == 0) {
        BecomeServersUser();
        setpgid(0, 0);
        std::vector<char*> arguments(words.size() + 1);
        std::transform(words.begin(), words.end(), arguments.begin(),
                       [](const std::string& word) { return const_cast<char*>(word.c_str()); });
        dup2(errorStream, STDOUT_FILENO);
        dup2(errorStream, STDERR_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    return child;
}

int ExitOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

// Reads what the program says up to that text, or its end; what follows is left to the pipe.
std::string ReadUntil(int stream, const std::string& text) {
    std::string said;
    std::array<char, 4096> buffer{};
    while (said.find(text) == std::string::npos) {
        const ssize_t count = read(stream, buffer.data(), buffer.size());
        if (count <= 0) {
            throw std::runtime_error("PostgreSQL does not start: " + said);
        }
        said.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return said;
}

}  // namespace

PostgresServer::PostgresServer() : folder(NewFolder()) {
    if (const passwd* const user = getpwnam("postgres"); geteuid() == 0 && user != nullptr) {
        std::filesystem::permissions(folder, std::filesystem::perms::all);
    }
    const pid_t made = Launch({kPrograms / "initdb", "-D", folder / "data", "-A", "trust", "-U", "line", "-E", "UTF8",
                               "--locale", "C", "--no-sync", "--no-instructions"},
                              fileno(std::tmpfile()));
    if (ExitOf(made) != 0) {
        throw std::runtime_error("initdb has failed");
    }
    Start();
}

PostgresServer::~PostgresServer() {
    Stop(SIGQUIT);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void PostgresServer::Start() {
    int pipe[2];
    if (::pipe(pipe) != 0) {
        throw std::runtime_error("no pipe");
    }
    server = Launch({kPrograms / "postgres", "-D", folder / "data", "-k", folder, "-c", "listen_addresses=", "-c",
                     "max_connections=60", "-c", "log_min_messages=log", "-c", "shared_buffers=16MB"},
                    pipe[1]);
    close(pipe[1]);
    ReadUntil(pipe[0], "ready to accept connections");
    // Stays open, and is not read any more: what the server says afterwards fits into the pipe.
    output = pipe[0];
}

void PostgresServer::Stop(int how) {
    if (server > 0) {
        kill(server, SIGCONT);
        kill(server, how);
        ExitOf(server);
        close(output);
        server = -1;
    }
}

// Each process of the server is in a group of its own.
void PostgresServer::Signal(int signal) const {
    kill(server, signal);
    std::ifstream children("/proc/" + std::to_string(server) + "/task/" + std::to_string(server) + "/children");
    for (pid_t child = 0; children >> child;) {
        kill(child, signal);
    }
}

// A schema of its own stands for a database of its own: it is made a hundred times faster.
std::string PostgresServer::NewDatabase() {
    const std::string url = "postgresql:///postgres?host=" + folder.string() + "&user=line";
    const std::string name = "line" + std::to_string(++databases);
    OpenPostgres(url)->Run("CREATE SCHEMA " + name);
    return url + "&options=-csearch_path%3D" + name;
}

}  // namespace flash::host::line::test
