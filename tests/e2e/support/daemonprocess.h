// The daemon, as it is built, with the recording tools first in its PATH.
#pragma once

#include "process.h"

#include <map>
#include <string>
#include <vector>

namespace e2e {

inline constexpr const char* pidFile = "/var/run/pacerd_ng.pid";

std::string programFolder(); // where pacerd_ng is
std::string toolsFolder();   // where the recording tools are

// What the recording tools saw of one daemon.
class CommandRecord {
  public:
    explicit CommandRecord(std::string file) : file_(std::move(file)) {}

    const std::string& file() const { return file_; }
    std::vector<std::string> all() const;
    std::vector<std::string> changes() const;  // commands with -A, -M or -D
    std::vector<std::string> listings() const; // the others
    std::vector<std::string> objects() const;  // what exists now
    void clear() const;                        // forgets the commands, not the objects

    // The n-th change (from 1, over the whole record) is to fail, with status 1 and without effect. 0: none.
    void letFail(int number) const;

  private:
    std::string file_;
};

class Daemon {
  public:
    // Each has its own record file unless `record` names one.
    explicit Daemon(std::vector<std::string> options = {},
                    std::map<std::string, std::string> environment = {}, const std::string& record = "");

    Process& process() { return process_; }
    const CommandRecord& commands() const { return record_; }
    std::string output() const { return readFile(base_ + ".out"); }
    std::string errors() const { return readFile(base_ + ".err"); }

    // Lines of standard error that are log messages, as "info: text".
    std::vector<std::string> foregroundMessages() const;

    void signal(int number) const { process_.signal(number); }
    int exitStatus(Milliseconds limit = patience) { return process_.exitStatus(limit); }
    int stop(int number); // sends the signal and returns the exit status

  private:
    std::string base_;
    CommandRecord record_;
    Process process_;
};

} // namespace e2e
