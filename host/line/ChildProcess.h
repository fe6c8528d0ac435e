// A program that the line starts and watches: in a process group of its own, so that Ctrl-C at the terminal does not
// reach it and all that it starts can be ended with it; its input empty, its output read without waiting.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace flash::host::line {

struct ProcessEnd {
    int exitCode = 0;
    int signal = 0;  // that ended it; 0 when it ended by itself

    std::string Text() const;  // "ended with exit code 1", "was ended by signal 11 (Segmentation fault)"
    bool operator==(const ProcessEnd&) const = default;
};

class ChildProcess {
public:
    // The program's path or name, then its arguments. Throws Failure (Operation) when it cannot be started.
    explicit ChildProcess(const std::vector<std::string>& words);
    ~ChildProcess();  // what still runs is ended
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Id() const { return process; }

    // What it has said since the last call on standard output.
    std::string TakeOutput();

    // The last of what it said on standard error.
    const std::string& Complaints();

    // Once it has ended, so has all that it started.
    std::optional<ProcessEnd> End();

    void AskToEnd() const;
    void Kill() const;

    // One for each thing that may happen to it.
    void AddTo(std::vector<pollfd>& watched) const;

private:
    std::string Take(int& pipe);

    pid_t process = -1;
    int handle = -1;  // becomes readable when it has ended; -1 where the system has none
    int output = -1, errors = -1;
    std::string complaints;
    std::optional<ProcessEnd> end;
};

}  // namespace flash::host::line
