// What the program under test said to syslog(3). The test program brings its own syslog(), so that nothing
// reaches the machine's log and a call under any other name would be missed here.
#pragma once

#include <string>
#include <vector>

namespace zel::test {

struct SyslogLine {
    int priority;
    std::string text;

    friend bool operator==(const SyslogLine&, const SyslogLine&) = default;
};

// Starts with what is said after its construction. One at a time.
class SyslogLines {
  public:
    SyslogLines();
    SyslogLines(const SyslogLines&) = delete;
    SyslogLines& operator=(const SyslogLines&) = delete;
    ~SyslogLines();

    // Everything since the last take.
    std::vector<SyslogLine> take();
    // The same, of one priority and without the place; the other lines stay.
    std::vector<std::string> takeTexts(int priority);
    std::size_t count() const { return lines_.size(); }

  private:
    friend void record(int priority, std::string text);

    std::vector<SyslogLine> lines_;
};

} // namespace zel::test
