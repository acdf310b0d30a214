#include "import/imported.h"

#include "config/columnrules.h"

#include <algorithm>
#include <sstream>

namespace importers {

namespace {

std::string place(const std::string& fileName, std::size_t line) {
    return fileName + ":" + std::to_string(line) + ": ";
}

const char* inWords(Remark::Kind kind) {
    switch (kind) {
    case Remark::Kind::changed:
        return ": changed: ";
    case Remark::Kind::assumed:
        return ": assumed: ";
    case Remark::Kind::dropped:
        break;
    }
    return ": not carried over: ";
}

} // namespace

std::string knownReason(std::span<const KnownReason> reasons, std::string_view name) {
    const auto found = std::find_if(reasons.begin(), reasons.end(),
                                    [name](const KnownReason& known) { return known.name == name; });
    return found == reasons.end() ? "" : std::string(found->reason);
}

std::string toText(const std::string& fileName, const Remark& remark) {
    return place(fileName, remark.line) + remark.subject + inWords(remark.kind) + remark.reason;
}

void Faults::add(std::size_t line, const std::string& what) {
    lines_.push_back(place(fileName_, line) + what);
}

void Faults::throwIfAny() const {
    if (!lines_.empty()) {
        throw ImportError(lines_);
    }
}

void requireText(const std::string& fileName, const std::string& text) {
    Faults faults(fileName);
    std::istringstream lines(text);
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (!gateway::isUtf8(line)) {
            faults.add(number, "is not UTF-8");
        } else if (line.find('\0') != std::string::npos) {
            faults.add(number, "holds a null character");
        }
    }
    faults.throwIfAny();
}

} // namespace importers
