#include "config/rowchecker.h"

#include "config/columnrules.h"
#include "zel/wordrule.h"

#include <algorithm>
#include <cstddef>
#include <map>

namespace gateway {

namespace {

template <typename Map>
std::string namesOf(const Map& map) {
    std::string names;
    for (const auto& [name, entry] : map) {
        names += (names.empty() ? "" : ", ") + name;
    }
    return names;
}

// "dsl.json: QoSQueues row 3 (Id 14)", rows counted from 1.
std::string placeOf(const std::string& fileName, const std::string& table, std::size_t number,
                    const FileRow& row) {
    std::string place = fileName + ": " + table + " row " + std::to_string(number);
    const auto id = std::find_if(row.begin(), row.end(), [](const auto& entry) {
        return entry.first == "Id" && entry.second.is_number_integer();
    });
    return id == row.end() ? place : place + " (Id " + ovsdb::toText(id->second) + ")";
}

// Two rows of the table that the database would not let stand together.
void checkIndexes(const ovsdb::TableSchema& schema, const CheckedTable& table, Complaints& complaints) {
    for (const std::vector<std::string>& index : schema.indexes) {
        std::map<Json, std::size_t> firstWith;
        for (std::size_t i = 0; i < table.rows.size(); ++i) {
            Json key = Json::array();
            std::string names;
            for (const std::string& column : index) {
                key.push_back(table.rows[i].value(column, Json()));
                names += (names.empty() ? "" : ", ") + column;
            }
            const auto [first, isNew] = firstWith.emplace(std::move(key), i);
            if (!isNew) {
                complaints.push_back(table.places[i] + ": row " + std::to_string(first->second + 1) +
                                     " has the same " + names);
            }
        }
    }
}

std::string complaint(const std::string& place, const std::string& column, const std::string& what,
                      const ovsdb::ColumnType& type) {
    return place + ": column \"" + column + "\"" + what + "; allowed: " + allowedText(type);
}

// What the daemon would not let in is not written in the first place.
void checkWord(const std::string& table, const std::string& column, const Json& value,
               const std::string& place, Complaints& complaints) {
    const zel::cfg::GatewayColumn* known = zel::cfg::findGatewayColumn(table, column);
    if (known == nullptr || !value.is_string()) {
        return;
    }
    const std::string why = zel::cfg::whyNoWord(known->kind, value.get_ref<const std::string&>());
    if (!why.empty()) {
        complaints.push_back(
            place + ": column \"" + column + "\" " + why +
            ", and becomes part of a command line; allowed: " + zel::cfg::allowedWord(known->kind));
    }
}

} // namespace

std::string unknownColumn(const ovsdb::TableSchema& table, const std::string& column) {
    return "unknown column " + ovsdb::toText(Json(column)) + "; the table has " + namesOf(table.columns);
}

const ovsdb::TableSchema* findTable(const ovsdb::DatabaseSchema& schema, const std::string& table,
                                    const std::string& place, Complaints& complaints) {
    const ovsdb::TableSchema* found = schema.findTable(table);
    if (found == nullptr) {
        complaints.push_back(place + "unknown table " + ovsdb::toText(Json(table)) + "; the database has " +
                             namesOf(schema.tables));
    }
    return found;
}

Json changedColumns(const std::string& tableName, const ovsdb::TableSchema& table, const FileRow& row,
                    const std::string& place, Complaints& complaints) {
    Json result = Json::object();
    for (const auto& [column, value] : row) {
        const auto type = table.columns.find(column);
        if (type == table.columns.end()) {
            complaints.push_back(place + ": " + unknownColumn(table, column));
            continue;
        }
        const std::string why = whyNotAllowed(type->second, value);
        if (!why.empty()) {
            complaints.push_back(complaint(place, column, ": " + why, type->second));
        } else {
            checkWord(tableName, column, value, place, complaints);
        }
        result[column] = value;
    }
    return result;
}

Json completeRow(const std::string& tableName, const ovsdb::TableSchema& table, const FileRow& row,
                 const std::string& place, Complaints& complaints) {
    Json result = changedColumns(tableName, table, row, place, complaints);
    for (const auto& [column, type] : table.columns) {
        if (result.contains(column)) {
            continue;
        }
        if (const auto value = defaultDatum(column, type)) {
            result[column] = *value;
        } else {
            complaints.push_back(complaint(place, column, " is missing", type));
        }
    }
    return result;
}

std::vector<CheckedTable> checkFile(const ovsdb::DatabaseSchema& schema, const GatewayFile& file,
                                    const std::string& fileName, Complaints& complaints) {
    std::vector<CheckedTable> checked;
    for (const FileTable& table : file) {
        const ovsdb::TableSchema* tableSchema = findTable(schema, table.name, fileName + ": ", complaints);
        if (tableSchema == nullptr) {
            continue;
        }
        CheckedTable& result = checked.emplace_back(CheckedTable{table.name, {}, {}});
        for (const FileRow& row : table.rows) {
            result.places.push_back(placeOf(fileName, table.name, result.places.size() + 1, row));
            result.rows.push_back(
                completeRow(table.name, *tableSchema, row, result.places.back(), complaints));
        }
        checkIndexes(*tableSchema, result, complaints);
    }
    return checked;
}

} // namespace gateway
