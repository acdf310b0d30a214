#include "rowfile.h"

#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace zel::memory {

namespace {

basalt::Value readValue(std::istream& line) {
    if (line.peek() == '"') {
        std::string text;
        line >> std::quoted(text);
        return basalt::Value(text);
    }
    long long number = 0;
    line >> number;
    return basalt::Value(number);
}

basalt::ValueList readRow(std::istream& line) {
    basalt::ValueList row;
    while (line >> std::ws && !line.eof()) {
        std::string column;
        std::getline(line, column, '=');
        const basalt::Value value = readValue(line);
        const bool complete = !line.fail() && (line.eof() || line.peek() == ' ' || line.eof());
        if (column.empty() || !complete) {
            throw std::runtime_error("expected COLUMN=INTEGER or COLUMN=\"TEXT\" at '" + column + "'");
        }
        row.setValue(column, value);
    }
    return row;
}

} // namespace

Tables readRows(std::istream& input) {
    Tables tables;
    std::string text;
    for (int number = 1; std::getline(input, text); ++number) {
        std::istringstream line(text);
        std::string table;
        if (!(line >> table) || table.front() == '#') {
            continue;
        }
        try {
            Rows& rows = tables[table];
            basalt::ValueList row = readRow(line);
            if (row.empty()) {
                continue;
            }
            if (!row.hasValue("Id")) {
                row.setValue("Id", basalt::Value(static_cast<long long>(rows.size()) + 1));
            }
            rows.push_back(row);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error("line " + std::to_string(number) + ": " + error.what());
        }
    }
    for (auto& [table, rows] : tables) {
        sortById(rows);
    }
    return tables;
}

} // namespace zel::memory
