#include "import/ucifile.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <sstream>

namespace importers {

namespace {

bool isBlank(char character) {
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

// The words of a line, quotes taken off. Nothing if a quote is not closed.
std::optional<std::vector<std::string>> toWords(const std::string& line) {
    std::vector<std::string> words;
    bool inWord = false;
    char quote = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char character = line[i];
        if (quote == 0 && isBlank(character)) {
            inWord = false;
            continue;
        }
        if (quote == 0 && !inWord && character == '#') {
            break;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (character == quote) {
            quote = 0;
        } else if (quote == 0 && (character == '\'' || character == '"')) {
            quote = character;
        } else if (character == '\\' && quote != '\'' && i + 1 < line.size()) {
            words.back() += line[++i];
        } else {
            words.back() += character;
        }
    }
    return quote == 0 ? std::optional(words) : std::nullopt;
}

} // namespace

bool UciSection::add(const UciOption& option, bool isList) {
    const auto known = std::find_if(options_.begin(), options_.end(),
                                    [&](const UciOption& other) { return other.name == option.name; });
    if (known == options_.end()) {
        options_.push_back(option);
        return true;
    }
    known->value += " " + option.value;
    return isList;
}

const UciOption* UciSection::read(const std::string& name) {
    const auto found = std::find_if(options_.begin(), options_.end(),
                                    [&](const UciOption& option) { return option.name == name; });
    if (found == options_.end()) {
        return nullptr;
    }
    read_.insert(name);
    return &*found;
}

void UciSection::readAll() {
    for (const UciOption& option : options_) {
        read_.insert(option.name);
    }
}

std::vector<UciOption> UciSection::unread() const {
    std::vector<UciOption> options;
    std::copy_if(options_.begin(), options_.end(), std::back_inserter(options),
                 [this](const UciOption& option) { return read_.count(option.name) == 0; });
    return options;
}

std::vector<UciSection> parseUci(const std::string& text, Faults& faults) {
    std::vector<UciSection> sections;
    std::map<std::string, std::size_t> counts;
    std::istringstream lines(text);
    std::string line;
    for (std::size_t number = 1; std::getline(lines, line); ++number) {
        const auto words = toWords(line);
        if (words && words->empty()) {
            continue;
        }
        const std::string keyword = words ? words->front() : "";
        const std::size_t count = words ? words->size() : 0;
        if (keyword == "config" && (count == 2 || count == 3)) {
            const std::string& type = words->at(1);
            sections.emplace_back(type, count == 3 ? words->at(2) : "", ++counts[type], number);
        } else if ((keyword == "option" || keyword == "list") && count == 3 && !sections.empty()) {
            if (!sections.back().add({words->at(1), words->at(2), number}, keyword == "list")) {
                faults.add(number, "option " + words->at(1) + " is given twice in this section");
            }
        } else if (keyword != "package" || count != 2) {
            faults.add(number,
                       "\"" + line +
                           "\" is not UCI; allowed: config TYPE [NAME], and below it option NAME VALUE or "
                           "list NAME VALUE, with quotes around what holds blanks");
        }
    }
    return sections;
}

} // namespace importers
