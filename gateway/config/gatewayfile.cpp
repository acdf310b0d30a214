#include "config/gatewayfile.h"

#include "config/columnrules.h"

#include <algorithm>
#include <cstddef>
#include <set>

namespace gateway {

namespace {

using OrderedJson = nlohmann::ordered_json;

// JSON lets a name occur twice in an object and the parser keeps the last; here it would lose a table or a
// value. Told of every event of a parser, it remembers the first name that came twice, with the place in this
// form of file.
class RepeatedNames {
  public:
    bool operator()(int depth, OrderedJson::parse_event_t event, const OrderedJson& parsed) {
        using Event = OrderedJson::parse_event_t;
        const auto level = static_cast<std::size_t>(depth);
        if (event == Event::object_start) {
            names_.resize(level + 1);
            names_[level].clear();
            row_ += level == rowDepth ? 1 : 0;
        } else if (event == Event::array_start && level == 1) {
            row_ = 0;
        } else if (event == Event::key) {
            see(level - 1, parsed.get<std::string>());
        }
        return true;
    }

    // Empty if there was none.
    const std::string& complaint() const { return complaint_; }

  private:
    static constexpr std::size_t rowDepth = 2;

    void see(std::size_t level, const std::string& name) {
        if (level == 0) {
            table_ = name;
        }
        if (names_[level].insert(name).second || !complaint_.empty()) {
            return;
        }
        if (level == 0) {
            complaint_ = "table " + name + " is named twice";
        } else {
            complaint_ = table_ + " row " + std::to_string(row_) + ": column \"" + name + "\" is named twice";
        }
    }

    std::vector<std::set<std::string>> names_; // of the open object at each depth
    std::string table_;
    std::size_t row_ = 0;
    std::string complaint_;
};

// "12:5", counted from 1, in characters' bytes.
std::string place(const std::string& text, std::size_t offset) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
    const auto line = 1 + std::count(text.begin(), end, '\n');
    const auto lineStart = std::find(std::make_reverse_iterator(end), text.rend(), '\n').base();
    return std::to_string(line) + ":" + std::to_string(1 + (end - lineStart));
}

// The parser's text without its own prefix and without its own way of telling the place.
std::string reason(const std::string& what) {
    const std::size_t column = what.find("column ");
    const std::size_t begin = column == std::string::npos ? std::string::npos : what.find(": ", column);
    return begin == std::string::npos ? what : what.substr(begin + 2);
}

OrderedJson parseText(const std::string& fileName, const std::string& text) {
    RepeatedNames repeated;
    OrderedJson json;
    try {
        json = OrderedJson::parse(text, std::ref(repeated));
    } catch (const OrderedJson::parse_error& error) {
        // The parser counts the byte that it stumbled over as read.
        throw FileError(fileName + ":" + place(text, error.byte > 0 ? error.byte - 1 : 0) + ": " +
                        reason(error.what()));
    } catch (const OrderedJson::exception& error) {
        throw FileError(fileName + ": " + error.what());
    }
    if (!repeated.complaint().empty()) {
        throw FileError(fileName + ": " + repeated.complaint());
    }
    return json;
}

FileRow toRow(const OrderedJson& json) {
    FileRow row;
    for (const auto& [column, value] : json.items()) {
        row.emplace_back(column, value.is_null() ? emptySet() : Json(value));
    }
    return row;
}

FileTable toTable(const std::string& fileName, const std::string& name, const OrderedJson& json) {
    const std::string place = fileName + ": " + name;
    if (!json.is_array()) {
        throw FileError(place + R"(: a table must be a list of rows, [{"Column": value, ...}, ...])");
    }
    FileTable table{name, {}};
    for (const OrderedJson& row : json) {
        if (!row.is_object()) {
            throw FileError(place + " row " + std::to_string(table.rows.size() + 1) +
                            R"(: a row must be an object of columns, {"Column": value, ...})");
        }
        table.rows.push_back(toRow(row));
    }
    return table;
}

} // namespace

GatewayFile parseGatewayFile(const std::string& fileName, const std::string& text) {
    const OrderedJson json = parseText(fileName, text);
    if (!json.is_object()) {
        throw FileError(fileName + R"(: the file must be an object of tables, {"Table": [...], ...})");
    }
    GatewayFile file;
    for (const auto& [name, rows] : json.items()) {
        file.push_back(toTable(fileName, name, rows));
    }
    return file;
}

std::string writeGatewayFile(const GatewayFile& file) {
    std::string text = "{";
    const char* tableSeparator = "\n";
    for (const FileTable& table : file) {
        text += tableSeparator + ("  " + Json(table.name).dump()) + ": [";
        const char* rowSeparator = "\n";
        for (const FileRow& row : table.rows) {
            text += rowSeparator + std::string("    {");
            const char* separator = "";
            for (const auto& [column, value] : row) {
                text += separator + Json(column).dump() + ": " + value.dump();
                separator = ", ";
            }
            text += "}";
            rowSeparator = ",\n";
        }
        text += table.rows.empty() ? "]" : "\n  ]";
        tableSeparator = ",\n";
    }
    return text + (file.empty() ? "}\n" : "\n}\n");
}

} // namespace gateway
