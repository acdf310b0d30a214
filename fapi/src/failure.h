// How a call fails: one reason, one exit status. The program that catches it writes the one line on standard
// error.
#pragma once

#include <stdexcept>
#include <string>

namespace fapi {

constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string& reason, int status = exitFailed)
        : std::runtime_error(reason), status_(status) {}
    int status() const { return status_; }

  private:
    int status_;
};

// The command line itself is wrong, whatever the machine's state.
class Usage : public Failure {
  public:
    explicit Usage(const std::string& reason) : Failure(reason, exitUsage) {}
};

// In words; std::bad_alloc has none.
const char* reasonOf(const std::exception& error);

// "what: No such device" for an errno value.
std::string withErrno(const std::string& what, int error);

} // namespace fapi
