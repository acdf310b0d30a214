// A TR-181 (Device:2) configuration as lines "Device.QoS.Queue.1.Precedence=3".
#pragma once

#include "import/imported.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace importers {

struct Parameter {
    std::string value;
    std::size_t line = 0;
};

// One instance of an object; `path` ends with its number and a dot.
struct Object {
    std::string path;
    long long instance = 0;
    std::size_t line = 0; // of its first parameter
};

class Tr181File {
  public:
    // Blank lines and lines that begin with "#" are nothing; a value may stand in quotes. Faults: lines of
    // another form, parameters that come twice.
    Tr181File(const std::string& text, Faults& faults);

    // Instances of a table ("Device.QoS.Queue."), by number.
    std::vector<Object> objects(const std::string& table) const;

    // The parameter, or nullptr. It counts as read from then on.
    const Parameter* read(const std::string& path);

    // All parameters below the path count as read.
    void readAll(const std::string& path);

    // By path, those that nobody has read.
    std::vector<std::string> unread() const;

    // Whether or not somebody has read it.
    const Parameter& at(const std::string& path) const { return parameters_.at(path); }

  private:
    void parseLine(const std::string& line, std::size_t number, Faults& faults);

    std::map<std::string, Parameter> parameters_;
    std::set<std::string> read_;
};

} // namespace importers
