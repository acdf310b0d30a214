// The syntax of UCI configuration files: config TYPE [NAME], option NAME VALUE, list NAME VALUE.
#pragma once

#include "import/imported.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace importers {

struct UciOption {
    std::string name;
    std::string value; // a list's values with blanks between
    std::size_t line = 0;
};

class UciSection {
  public:
    UciSection(std::string type, std::string name, std::size_t number, std::size_t line)
        : type_(std::move(type)), name_(std::move(name)), number_(number), line_(line) {}

    const std::string& type() const { return type_; }
    const std::string& name() const { return name_; } // empty if it has none
    std::size_t line() const { return line_; }

    // The name, or else type and number: "classify3" is the third of its type.
    std::string label() const { return name_.empty() ? type_ + std::to_string(number_) : name_; }

    // Returns false if the option is there already and is not a list.
    bool add(const UciOption& option, bool isList);

    // The option, or nullptr. It counts as read from then on.
    const UciOption* read(const std::string& name);

    void readAll();
    std::vector<UciOption> unread() const;

  private:
    std::string type_;
    std::string name_;
    std::size_t number_;
    std::size_t line_;
    std::vector<UciOption> options_;
    std::set<std::string> read_;
};

// Faults: lines of another form, an option that comes twice.
std::vector<UciSection> parseUci(const std::string& text, Faults& faults);

} // namespace importers
