#include "config/tableprinter.h"

#include "config/columnrules.h"
#include "config/rowtext.h"

#include <algorithm>
#include <cctype>

namespace gateway {

namespace {

constexpr std::size_t gap = 2; // blanks between columns

struct PrintColumn {
    std::string name;
    std::vector<std::string> heading; // its lines
    std::vector<std::string> cells;
    std::size_t width = 0;
    bool isNumber = false;
    bool isBlank = true; // 0 or empty in every row
};

std::size_t displayWidth(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

// A text that cannot move the terminal's cursor.
std::string cellText(const Json& datum) {
    const std::string text = toText(datum);
    const bool hasControl = std::any_of(text.begin(), text.end(), [](char byte) {
        return static_cast<unsigned char>(byte) < ' ' || byte == 0x7F;
    });
    return hasControl ? Json(text).dump(-1, ' ', true, Json::error_handler_t::replace) : text;
}

bool isUpper(char letter) {
    return std::isupper(static_cast<unsigned char>(letter)) != 0;
}

// "DSCPMatchExclude" is DSCP, Match, Exclude.
std::vector<std::string> splitAtCapitals(const std::string& name) {
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool begins =
            i == 0 ||
            (isUpper(name[i]) && (!isUpper(name[i - 1]) || (i + 1 < name.size() && !isUpper(name[i + 1]))));
        if (begins) {
            parts.emplace_back();
        }
        parts.back() += name[i];
    }
    return parts;
}

// As few lines as fit `width`, which no part exceeds.
std::vector<std::string> fold(const std::vector<std::string>& parts, std::size_t width) {
    std::vector<std::string> lines;
    for (const std::string& part : parts) {
        if (lines.empty() || lines.back().size() + part.size() > width) {
            lines.emplace_back();
        }
        lines.back() += part;
    }
    return lines;
}

PrintColumn makeColumn(const std::string& name, const ovsdb::ColumnType& type,
                       const std::vector<Json>& rows) {
    PrintColumn column;
    column.name = name;
    column.isNumber = type.isScalar() &&
                      (type.key.type == ovsdb::AtomType::integer || type.key.type == ovsdb::AtomType::real);
    const Json absent = emptySet();
    for (const Json& row : rows) {
        const auto value = row.find(name);
        const std::string& cell = column.cells.emplace_back(cellText(value == row.end() ? absent : *value));
        column.width = std::max(column.width, displayWidth(cell));
        column.isBlank = column.isBlank && (cell.empty() || cell == "0");
    }
    const std::vector<std::string> parts = splitAtCapitals(name);
    for (const std::string& part : parts) {
        column.width = std::max(column.width, part.size());
    }
    column.heading = fold(parts, column.width);
    return column;
}

std::size_t totalWidth(const std::vector<PrintColumn>& columns) {
    std::size_t total = 0;
    for (const PrintColumn& column : columns) {
        total += column.width + (total == 0 ? 0 : gap);
    }
    return total;
}

void endLine(std::string& out) {
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
}

void putCell(std::string& out, const PrintColumn& column, const std::string& cell) {
    const std::string padding(column.width - displayWidth(cell), ' ');
    out += (column.isNumber ? padding + cell : cell + padding) + std::string(gap, ' ');
}

std::string printBlock(const std::vector<PrintColumn>& columns, std::size_t rowCount) {
    std::size_t headingLines = 0;
    for (const PrintColumn& column : columns) {
        headingLines = std::max(headingLines, column.heading.size());
    }
    std::string out;
    for (std::size_t line = 0; line < headingLines; ++line) {
        for (const PrintColumn& column : columns) {
            const std::size_t blank = headingLines - column.heading.size(); // headings stand on the ruler
            putCell(out, column, line < blank ? "" : column.heading[line - blank]);
        }
        endLine(out);
    }
    for (const PrintColumn& column : columns) {
        putCell(out, column, std::string(column.width, '-'));
    }
    endLine(out);
    for (std::size_t row = 0; row < rowCount; ++row) {
        for (const PrintColumn& column : columns) {
            putCell(out, column, column.cells[row]);
        }
        endLine(out);
    }
    return out;
}

// The names of the columns that were taken out.
std::string leaveOutBlank(std::vector<PrintColumn>& columns) {
    std::string names;
    const auto firstBlank = std::stable_partition(columns.begin(), columns.end(),
                                                  [](const PrintColumn& column) { return !column.isBlank; });
    std::for_each(firstBlank, columns.end(), [&names](const PrintColumn& column) {
        names += (names.empty() ? "" : ", ") + column.name;
    });
    columns.erase(firstBlank, columns.end());
    return names;
}

// Each block begins with the first column and holds at least one more.
std::vector<std::vector<PrintColumn>> cut(const std::vector<PrintColumn>& columns, std::size_t width) {
    std::vector<std::vector<PrintColumn>> blocks;
    for (std::size_t i = 1; i < columns.size(); ++i) {
        if (blocks.empty() ||
            (blocks.back().size() > 1 && totalWidth(blocks.back()) + gap + columns[i].width > width)) {
            blocks.push_back({columns.front()});
        }
        blocks.back().push_back(columns[i]);
    }
    return blocks;
}

} // namespace

std::string printTable(const std::string& name, const ovsdb::TableSchema& table,
                       const std::vector<Json>& rows, std::size_t width) {
    std::string out = name + " (" + std::to_string(rows.size()) + (rows.size() == 1 ? " row)\n" : " rows)\n");
    if (rows.empty()) {
        return out;
    }
    std::vector<PrintColumn> columns;
    for (const std::string& column : columnOrder(name, table)) {
        columns.push_back(makeColumn(column, table.columns.at(column), rows));
    }
    std::string leftOut;
    if (totalWidth(columns) > width) {
        leftOut = leaveOutBlank(columns);
    }
    if (totalWidth(columns) <= width || columns.size() < 2) {
        out += printBlock(columns, rows.size());
    } else {
        const char* separator = "";
        for (const std::vector<PrintColumn>& block : cut(columns, width)) {
            out += separator;
            out += printBlock(block, rows.size());
            separator = "\n";
        }
    }
    return leftOut.empty() ? out : out + "0 or empty in every row: " + leftOut + "\n";
}

} // namespace gateway
