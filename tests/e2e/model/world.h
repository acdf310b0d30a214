// What the modelled daemon can see and do: the database, the shell, the log.
#pragma once

#include "snapshot.h"
#include "toolanswers.h"

#include <optional>
#include <string>
#include <vector>

namespace e2e::model {

// Ends the modelled daemon with status 1; the text is what it logs then.
struct Fatal {
    std::string text;
};

[[noreturn]] void assertionFailed(const std::string& expression);

// printf-style.
std::string form(const char* format, ...) __attribute__((format(printf, 1, 2)));

class World {
  public:
    World(ToolAnswers answers, bool traced) : answers_(answers), traced_(traced) {}

    void error(const std::string& text) { say("error", text); }
    void warning(const std::string& text) { say("warning", text); }
    void info(const std::string& text) { say("info", text); }
    void trace(const std::string& text) {
        if (traced_) {
            say("trace", text);
        }
    }

    int shell(const std::string& command); // the status as system() returns it

    // The database access layer. Nothing when the request has failed.
    std::optional<unsigned> size(const std::string& table);
    std::optional<Row> rowAt(const std::string& table, unsigned index);
    // The first row with that key; an empty row if there is none and none is needed.
    std::optional<Row> rowWith(const std::string& table, const std::string& column, const std::string& value,
                               bool mustExist);

    void show(const Snapshot& snapshot) { snapshot_ = &snapshot; }
    const std::vector<std::string>& events() const { return events_; }

  private:
    void say(const std::string& level, const std::string& text) { events_.push_back(level + ": " + text); }
    void permanentFailure(const std::string& table, int operation, const std::string& reason);

    ToolAnswers answers_;
    bool traced_;
    const Snapshot* snapshot_ = nullptr;
    std::vector<std::string> events_;
};

} // namespace e2e::model
