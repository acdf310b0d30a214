// How a run of cfgctl ends badly.
#pragma once

#include <stdexcept>
#include <string>
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

} // namespace cfgctl
