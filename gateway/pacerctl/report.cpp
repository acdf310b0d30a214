#include "pacerctl/report.h"

#include "pacerctl/applied.h"

#include <algorithm>
#include <ostream>
#include <sstream>

namespace pacerctl {

namespace {

constexpr int jsonVersion = 1; // docs/pacerctl-json.md says when it changes
constexpr std::size_t columnGap = 2;

// Characters as a terminal counts them: no UTF-8 continuation bytes, no colour codes.
std::size_t displayWidth(const std::string& text) {
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\033') {
            i = text.find('m', i);
            if (i == std::string::npos) {
                break;
            }
        } else if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
            ++width;
        }
    }
    return width;
}

} // namespace

std::string Style::paint(const char* code, const std::string& text) const {
    return colour_ && !text.empty() ? "\033[" + std::string(code) + "m" + text + "\033[0m" : text;
}

std::vector<std::size_t> Columns::widths() const {
    std::vector<std::size_t> widths(alignment_.size(), 0);
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    return widths;
}

void Columns::drop(const std::string& heading) {
    const auto found = std::find(rows_.front().begin(), rows_.front().end(), heading);
    if (found == rows_.front().end()) {
        return;
    }
    const auto place = found - rows_.front().begin();
    alignment_.erase(alignment_.begin() + place);
    for (auto& row : rows_) {
        if (place < static_cast<std::ptrdiff_t>(row.size())) {
            row.erase(row.begin() + place);
        }
    }
}

std::string Columns::text(std::size_t indent, std::size_t width,
                          const std::vector<std::string>& expendable) const {
    Columns fitting = *this;
    for (const std::string& heading : expendable) {
        std::size_t needed = indent;
        for (const std::size_t each : fitting.widths()) {
            needed += each == 0 ? 0 : each + columnGap;
        }
        if (width == 0 || needed <= width + columnGap) {
            break;
        }
        fitting.drop(heading);
    }
    return fitting.text(indent);
}

std::string Columns::text(std::size_t indent) const {
    const std::vector<std::size_t> widths = this->widths();
    std::string all;
    for (const auto& row : rows_) {
        std::string line(indent, ' ');
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) {
            const std::string padding(widths[i] - displayWidth(row[i]), ' ');
            line += alignment_[i] == 'r' ? padding + row[i] : row[i] + padding;
            line += std::string(columnGap, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        all += line + "\n";
    }
    return all;
}

std::string printable(const std::string& text) {
    const bool hasControl = std::any_of(text.begin(), text.end(), [](char byte) {
        return static_cast<unsigned char>(byte) < ' ' || byte == 0x7F;
    });
    return hasControl ? Json(text).dump(-1, ' ', true, Json::error_handler_t::replace) : text;
}

std::string paragraph(const std::string& text, std::size_t indent, std::size_t width) {
    const std::string margin(indent, ' ');
    std::string all;
    std::string line;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ' ');) {
        if (width != 0 && !line.empty() && indent + displayWidth(line) + 1 + displayWidth(word) > width) {
            all.append(margin).append(line) += '\n';
            line = word;
        } else {
            line += (line.empty() ? "" : " ") + word;
        }
    }
    return all + margin + line + "\n";
}

std::string listed(const std::vector<std::string>& items) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        text += i == 0 ? "" : i + 1 == items.size() ? " and " : ", ";
        text += items[i];
    }
    return text;
}

Json jsonHead(const std::string& command, const std::string& source) {
    Json json;
    json["format"] = "pacerctl " + command;
    json["version"] = jsonVersion;
    json["source"] = source;
    return json;
}

Json toJson(const Counters& counters) {
    Json json;
    json["packets"] = counters.packets;
    json["bytes"] = counters.bytes;
    json["drops"] = counters.drops;
    json["backlogPackets"] = counters.backlogPackets;
    json["backlogBytes"] = counters.backlogBytes;
    return json;
}

void writeJson(std::ostream& out, const Json& json) {
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

} // namespace pacerctl
