// A platform that does nothing but keep a record of what main() asks of it.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zel::pacerd::test {

// One may exist at a time. What the script leaves open answers as a platform does on a quiet day: nobody
// holds the pid file, and every wait ends without work.
class RecordingPlatform {
  public:
    RecordingPlatform();
    RecordingPlatform(const RecordingPlatform&) = delete;
    RecordingPlatform& operator=(const RecordingPlatform&) = delete;
    ~RecordingPlatform();

    // The script.
    bool pidFileOccupied = false;
    bool pidFileTakenByOther = false;
    std::function<void()> onConnect = [] {};
    std::function<void()> onProcess = [] {};
    // What the waits of the loop do and return, one after the other. When there are no more, the wait raises
    // SIGTERM.
    std::vector<std::function<int()>> waits;

    // What happened, in order: calls in a few words, messages as "LEVEL: TEXT".
    std::vector<std::string> record;
    std::set<std::string> sources; // where the messages came from
};

} // namespace zel::pacerd::test
