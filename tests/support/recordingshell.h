// Stands in for libc's system() and usleep(): the definitions in recordingshell.cpp win over libc's in every
// program that links this file.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace zel::pacerd::test {

// Statuses are raw, as system() returns them. Unless scripted, a listing (a line with " -L", which a grep
// follows) answers that it found nothing, and every other line succeeds.
class RecordingShell {
  public:
    static constexpr int success = 0;
    static constexpr int exit1 = 0x100;

    // One may exist at a time; it receives what the daemon runs.
    RecordingShell();
    RecordingShell(const RecordingShell&) = delete;
    RecordingShell& operator=(const RecordingShell&) = delete;
    ~RecordingShell();

    void answer(const std::string& line, int status) { answers_[line] = status; }
    // The listing that ends in that grep finds what it looks for.
    void finds(const std::string& line) { answer(line, success); }
    // The n-th changing line from now, counted from 1, ends with that status.
    void answerNth(unsigned n, int status) { nth_[changes_ + n] = status; }

    // What was run since the last take, in order; takeChanges() leaves the listings out.
    std::vector<std::string> take();
    std::vector<std::string> takeChanges();

    // What usleep() was asked for, in microseconds, since the start.
    const std::vector<unsigned>& pauses() const { return pauses_; }

    int run(const char* line);
    void pause(unsigned microseconds) { pauses_.push_back(microseconds); }

  private:
    std::map<std::string, int> answers_;
    std::map<unsigned, int> nth_;
    std::vector<std::string> lines_;
    std::vector<unsigned> pauses_;
    unsigned changes_ = 0;
};

} // namespace zel::pacerd::test
