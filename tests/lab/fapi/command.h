// Running a program as the daemon's shell would, and keeping what it said.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace fapi::test {

struct Result {
    int status = -1; // exit status, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

// Blanks separate the words. Tool names are looked up in the build's bin folder first.
Result command(const std::string& line);

// The same as a shell runs it.
Result shell(const std::string& line);

// Another program under the name that the line begins with, and one more variable in its environment.
Result commandOf(const std::string& program, const std::string& line, const char* variable,
                 const std::string& value);

// The program with that many kB for `resource`, one of setrlimit(2).
Result limited(const std::string& line, int resource, int kilobytes);

// The program is killed at its n-th entry into or return from a system call; false when it ended before,
// which must be with success.
bool killedAtSystemCall(const std::string& line, int n);

// What the kernel has logged since this was made.
class KernelLog {
  public:
    KernelLog();
    KernelLog(const KernelLog&) = delete;
    KernelLog& operator=(const KernelLog&) = delete;
    ~KernelLog();
    int count(const std::string& words);    // records with them
    int warnings(const std::string& words); // of them, those that are warnings or worse

  private:
    void readOn();

    int fd_;
    std::vector<std::string> records_;
};

} // namespace fapi::test
