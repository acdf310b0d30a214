// A program that a test has started, ended at the latest with the object.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace e2e {

using Milliseconds = std::chrono::milliseconds;

// Long enough for a loaded machine; a test that waits this long has failed. TEST_PATIENCE: another number of
// seconds, for a machine that is slow beyond that, such as an emulated one.
#ifdef E2E_SANITIZED
inline constexpr int usualPatience = 60;
#else
inline constexpr int usualPatience = 20;
#endif
inline const Milliseconds patience = [] {
    const char* chosen = std::getenv("TEST_PATIENCE");
    return std::chrono::seconds(chosen == nullptr ? usualPatience : std::atoi(chosen));
}();

struct Command {
    std::vector<std::string> words;
    std::map<std::string, std::string> environment = {}; // beside ours
    std::string output = {};                             // file for standard output, empty: discarded
    std::string errors = {};                             // file for standard error, empty: discarded
    uid_t user = 0;                                      // not 0: runs as that user
};

class Process {
  public:
    Process() = default;
    explicit Process(const Command& command);
    // Takes a process on that has become a child of ours by going into the background.
    static Process adopt(pid_t id);
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) noexcept;
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    pid_t id() const { return id_; }
    bool running() const { return id_ > 0; }
    void signal(int number) const;

    // The status as waitpid() gives it; nothing if the process still runs after that time.
    std::optional<int> wait(Milliseconds limit = patience);

    // The exit status, or 128 + the signal's number as shells say it, or -1 if it still runs.
    int exitStatus(Milliseconds limit = patience);

  private:
    pid_t id_ = -1;
};

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

// Runs a command to its end.
Outcome run(const std::vector<std::string>& words,
            const std::map<std::string, std::string>& environment = {});

std::string readFile(const std::string& path);
std::vector<std::string> linesOf(const std::string& text);
void writeFile(const std::string& path, const std::string& text);

// Looks every millisecond; false if it has not come true by then.
template <typename Condition>
bool eventually(Condition condition, Milliseconds limit = patience);

void pause(Milliseconds time);

template <typename Condition>
bool eventually(Condition condition, Milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        pause(Milliseconds(1));
    }
    return true;
}

} // namespace e2e
