// The system log of the private machine: what programs send to /dev/log, as they send it.
#pragma once

#include "process.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace e2e {

struct LogLine {
    std::string level; // "error", "warning", "info" or "trace"
    int facility;      // as in <syslog.h>, shifted down: 3 is LOG_DAEMON
    std::string program;
    pid_t process;
    std::string source; // "dataflows.cpp"
    std::string text;
    std::chrono::steady_clock::time_point received;
};

// As tests write it: "info: starting".
std::string levelAndText(const LogLine& line);

class SyslogCapture {
  public:
    SyslogCapture();
    SyslogCapture(const SyslogCapture&) = delete;
    SyslogCapture& operator=(const SyslogCapture&) = delete;
    ~SyslogCapture();

    std::vector<LogLine> lines() const;
    std::vector<std::string> messages() const; // levelAndText() of each line
    std::size_t count(const std::string& message) const;
    bool has(const std::string& message) const { return count(message) > 0; }

    // Until that message has been logged that often since the last clear().
    bool waitFor(const std::string& message, std::size_t times = 1, Milliseconds limit = patience) const;

    void clear();

  private:
    struct Datagram {
        std::string text;
        std::chrono::steady_clock::time_point received;
    };

    void receive();
    // Both under the lock.
    void takeWhatWaits() const;
    void readWhatWasTaken() const;

    int socket_;
    std::atomic<bool> stop_ = false;
    mutable std::mutex mutex_;
    mutable std::vector<char> buffer_ = std::vector<char>(1 << 20);
    mutable std::vector<Datagram> waiting_; // received, not looked at yet
    mutable std::vector<LogLine> lines_;
    std::thread thread_;
};

} // namespace e2e
