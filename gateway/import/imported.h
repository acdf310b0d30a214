// What an import of a foreign configuration gives.
#pragma once

#include "config/gatewayfile.h"

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace importers {

using gateway::Json;

// Something that did not come over as it stands in the file.
struct Remark {
    enum class Kind {
        dropped, // is not in the result
        changed, // is in the result as something else
        assumed, // is in the result though the file does not say it
    };
    std::size_t line = 0; // counted from 1
    std::string subject;  // as it stands in the file: "Device.QoS.Queue.1.REDThreshold=70"
    Kind kind = Kind::dropped;
    std::string reason;
};

struct KnownReason {
    std::string_view name; // what cannot come over
    std::string_view reason;
};

// Empty if there is none for that name.
std::string knownReason(std::span<const KnownReason> reasons, std::string_view name);

// "home.txt:14: Device.QoS.Queue.1.REDThreshold=70: not carried over: ..."
std::string toText(const std::string& fileName, const Remark& remark);

struct Imported {
    gateway::GatewayFile file;   // the four QoS tables, each even if it is empty
    std::vector<Remark> remarks; // by line
};

// The file cannot be imported. Each line begins with the file's name and, if there is one, the line.
class ImportError : public std::runtime_error {
  public:
    explicit ImportError(std::vector<std::string> lines)
        : std::runtime_error(lines.empty() ? "" : lines.front()), lines_(std::move(lines)) {}

    const std::vector<std::string>& lines() const { return lines_; }

  private:
    std::vector<std::string> lines_;
};

// Collects what is wrong with a file, so that one run tells all of it.
class Faults {
  public:
    explicit Faults(std::string fileName) : fileName_(std::move(fileName)) {}

    void add(std::size_t line, const std::string& what);
    void throwIfAny() const;

  private:
    std::string fileName_;
    std::vector<std::string> lines_;
};

// Every line is UTF-8 without a null character: the database takes nothing else, and would say so much later.
// Throws ImportError.
void requireText(const std::string& fileName, const std::string& text);

} // namespace importers
