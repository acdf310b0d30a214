// What the daemon logged, and the promise that no error or warning goes by unseen.
#pragma once

#include <logsink.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zel::pacerd::test {

// Collects every message from its construction on. A message is seen when a test takes it or has declared it
// as expected; verify() fails the test for every error or warning that is neither, and for every expected one
// that did not come. One may exist at a time.
class LogCheck {
  public:
    explicit LogCheck(int handle);
    LogCheck(const LogCheck&) = delete;
    LogCheck& operator=(const LogCheck&) = delete;
    ~LogCheck();

    // Declared in the order in which they are to come.
    void expectError(const std::string& text) { expected_.push_back("error: " + text); }
    void expectWarning(const std::string& text) { expected_.push_back("warning: " + text); }

    // Everything since the last take, as "LEVEL: TEXT".
    std::vector<std::string> take();
    // The texts of one level; the other messages stay.
    std::vector<std::string> takeTraces() { return take(memory::LogLevel::trace); }
    std::vector<std::string> takeInfos() { return take(memory::LogLevel::info); }
    std::vector<std::string> takeWarnings() { return take(memory::LogLevel::warning); }
    std::vector<std::string> takeErrors() { return take(memory::LogLevel::error); }

    // What one source file logged, as "LEVEL: TEXT"; the other messages stay.
    std::vector<std::string> takeFrom(const std::string& source);

    // The source files that logged anything since the construction.
    const std::set<std::string>& sources() const { return sources_; }

    void verify();

  private:
    std::vector<std::string> take(memory::LogLevel level);
    std::vector<memory::LogRecord> extract(const std::function<bool(const memory::LogRecord&)>& wanted);
    void accept(const memory::LogRecord& record);

    int handle_;
    std::vector<memory::LogRecord> records_;
    std::vector<std::string> expected_;
    std::set<std::string> sources_;
};

} // namespace zel::pacerd::test
