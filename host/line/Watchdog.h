// Ends a connection that does not answer in time. The library that speaks with the server waits without bound, and a
// server that was stopped, not killed, keeps its socket open: only this side can end that.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace flash::host::line {

class Watchdog {
public:
    Watchdog();
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    // From now on until `Rest` the socket is shut down when the time is over. It must stay open until then.
    void Watch(int socketFile, std::chrono::milliseconds limit);

    // True when the time was over.
    bool Rest();

private:
    void Wait();

    std::mutex mutex;
    std::condition_variable changed;
    std::optional<std::chrono::steady_clock::time_point> deadline;
    int socket = -1;
    bool hasBitten = false, isEnding = false;
    std::thread thread;  // the last: it uses all others
};

}  // namespace flash::host::line
