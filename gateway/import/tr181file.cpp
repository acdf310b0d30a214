#include "import/tr181file.h"

#include "import/words.h"

#include <algorithm>
#include <sstream>

namespace importers {

namespace {

bool beginsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

std::string unquoted(const std::string& text) {
    const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return quoted ? text.substr(1, text.size() - 2) : text;
}

// Names of letters, digits, "_" and "-" with single dots between.
bool isParameterPath(const std::string& path) {
    const bool hasOnlyNames = std::all_of(path.begin(), path.end(), [](char character) {
        return character == '.' || character == '-' || toWord(std::string(1, character), 1)[0] == character;
    });
    return hasOnlyNames && beginsWith(path, "Device.") && path.back() != '.' &&
           path.find("..") == std::string::npos;
}

} // namespace

Tr181File::Tr181File(const std::string& text, Faults& faults) {
    std::istringstream lines(text);
    std::string line;
    for (std::size_t number = 1; std::getline(lines, line); ++number) {
        const std::string content = trimmed(line);
        if (!content.empty() && content.front() != '#') {
            parseLine(content, number, faults);
        }
    }
}

void Tr181File::parseLine(const std::string& line, std::size_t number, Faults& faults) {
    const std::size_t sign = line.find('=');
    const std::string path = trimmed(line.substr(0, sign));
    if (sign == std::string::npos || !isParameterPath(path)) {
        faults.add(number, "\"" + line +
                               "\" is no parameter; allowed: a full path, \"=\" and a value, such as " +
                               "Device.QoS.Queue.1.Precedence=3");
        return;
    }
    const Parameter parameter{unquoted(trimmed(line.substr(sign + 1))), number};
    const auto [known, isNew] = parameters_.emplace(path, parameter);
    if (!isNew) {
        faults.add(number, path + " stands in line " + std::to_string(known->second.line) + " already");
    }
}

std::vector<Object> Tr181File::objects(const std::string& table) const {
    std::map<long long, Object> found;
    for (auto entry = parameters_.lower_bound(table);
         entry != parameters_.end() && beginsWith(entry->first, table); ++entry) {
        const std::size_t dot = entry->first.find('.', table.size());
        const auto instance = toNumber(entry->first.substr(table.size(), dot - table.size()));
        if (dot == std::string::npos || !instance) {
            continue;
        }
        Object& object = found[*instance];
        object.path = entry->first.substr(0, dot + 1);
        object.instance = *instance;
        object.line = object.line == 0 ? entry->second.line : std::min(object.line, entry->second.line);
    }
    std::vector<Object> objects;
    objects.reserve(found.size());
    for (const auto& [instance, object] : found) {
        objects.push_back(object);
    }
    return objects;
}

const Parameter* Tr181File::read(const std::string& path) {
    const auto found = parameters_.find(path);
    if (found == parameters_.end()) {
        return nullptr;
    }
    read_.insert(path);
    return &found->second;
}

void Tr181File::readAll(const std::string& path) {
    for (auto entry = parameters_.lower_bound(path);
         entry != parameters_.end() && beginsWith(entry->first, path); ++entry) {
        read_.insert(entry->first);
    }
}

std::vector<std::string> Tr181File::unread() const {
    std::vector<std::string> paths;
    for (const auto& [path, parameter] : parameters_) {
        if (read_.count(path) == 0) {
            paths.push_back(path);
        }
    }
    return paths;
}

} // namespace importers
