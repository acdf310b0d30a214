// Runs a program without a shell and tells what came of it.
#pragma once

#include "process/sandbox.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace zel::test {

struct Outcome {
    int status = -1; // exit status; 128 + its number after a signal
    std::string out;
    std::string err;
};

// A running program. Its output goes to files, so that it never waits for a reader. It ends with the test's
// process, at the latest with this object.
class Program {
  public:
    // The first word is the program, looked for in PATH; `input` is its standard input.
    explicit Program(const std::vector<std::string>& words, const std::string& input = "");
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    pid_t pid() const { return pid_; }
    std::string out() const { return sandbox_.read("out"); }
    std::string err() const { return sandbox_.read("err"); }

    // Whether `text` stands in its output (either of the two) within a minute.
    bool says(const std::string& text) const;

    void send(int signal) const;

    // Until it has ended; after two minutes it is killed.
    Outcome wait();

  private:
    std::optional<int> poll();

    Sandbox sandbox_;
    pid_t pid_ = -1;
    std::optional<int> status_;
};

Outcome run(const std::vector<std::string>& words, const std::string& input = "");

} // namespace zel::test
