// How a run of cfgctl ends badly.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cfgctl {

enum class ExitStatus {
    done = 0,
    failure = 1,
    usage = 2, // or no database to work with
};

// Each line goes to standard error.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& line) : Failure(status, std::vector<std::string>{line}) {}
    Failure(ExitStatus status, std::vector<std::string> lines)
        : std::runtime_error(lines.empty() ? "" : lines.front()), status_(status), lines_(std::move(lines)) {}

    ExitStatus status() const { return status_; }
    const std::vector<std::string>& lines() const { return lines_; }

  private:
    ExitStatus status_;
    std::vector<std::string> lines_;
};

// What is wrong with rows, a line each, at most as many as one can take in.
[[noreturn]] inline void refuse(std::vector<std::string> complaints) {
    constexpr std::size_t most = 20;
    if (complaints.size() > most) {
        const std::size_t more = complaints.size() - most;
        complaints.resize(most);
        complaints.push_back("and " + std::to_string(more) + " more");
    }
    throw Failure(ExitStatus::failure, std::move(complaints));
}

} // namespace cfgctl
