#include "cfgctl/rowwords.h"

#include "cfgctl/failure.h"
#include "config/columnrules.h"
#include "config/rowchecker.h"
#include "ovsdb/transaction.h"

#include <set>

namespace cfgctl {

namespace {

using gateway::Complaints;
using gateway::FileRow;
using ovsdb::DatabaseSchema;
using ovsdb::Json;
using ovsdb::TableSchema;

const ovsdb::ColumnType& requireColumn(const TableSchema& table, const std::string& name,
                                       const std::string& column) {
    const auto found = table.columns.find(column);
    if (found == table.columns.end()) {
        throw Failure(ExitStatus::failure, name + ": " + gateway::unknownColumn(table, column));
    }
    return found->second;
}

FileRow toFileRow(const TableSchema& table, const std::string& name, const Assignments& values) {
    FileRow row;
    for (const auto& [column, text] : values) {
        const auto value = gateway::fromText(requireColumn(table, name, column), text);
        // A text that is none of the column's type is left to the checker to complain about.
        row.emplace_back(column, value ? *value : Json(text));
    }
    return row;
}

// `check` is one of the two that say what a row's columns may hold.
template <typename Check>
Json checked(const DatabaseSchema& schema, const std::string& table, const Assignments& values, Check check) {
    const TableSchema& columns = requireTable(schema, table);
    Complaints complaints;
    Json result = check(table, columns, toFileRow(columns, table, values), table, complaints);
    if (!complaints.empty()) {
        refuse(std::move(complaints));
    }
    return result;
}

} // namespace

Assignments parseAssignments(const std::vector<std::string>& texts, const std::string& form,
                             const std::string& key) {
    Assignments assignments;
    std::set<std::string> columns;
    for (const std::string& text : texts) {
        const std::size_t sign = text.find('=');
        if (sign == std::string::npos || sign == 0) {
            throw Failure(ExitStatus::usage, ovsdb::toText(Json(text)) + " is not of the form " + form);
        }
        assignments.emplace_back(text.substr(0, sign), text.substr(sign + 1));
        const std::string& name = assignments.back().first;
        if (!columns.insert(name).second) {
            throw Failure(ExitStatus::usage, key + " " + ovsdb::toText(Json(name)) + " is given twice");
        }
    }
    return assignments;
}

const TableSchema& requireTable(const DatabaseSchema& schema, const std::string& table) {
    Complaints complaints;
    const TableSchema* found = gateway::findTable(schema, table, "", complaints);
    if (found == nullptr) {
        refuse(std::move(complaints));
    }
    return *found;
}

Json changesOf(const DatabaseSchema& schema, const std::string& table, const Assignments& values) {
    return checked(schema, table, values, gateway::changedColumns);
}

Json rowOf(const DatabaseSchema& schema, const std::string& table, const Assignments& values) {
    return checked(schema, table, values, gateway::completeRow);
}

std::optional<Json> conditionsOf(const DatabaseSchema& schema, const std::string& table,
                                 const Assignment& key) {
    const auto& [column, text] = key;
    const auto value = gateway::fromText(requireColumn(requireTable(schema, table), table, column), text);
    if (!value || gateway::toText(*value) != text || !gateway::isUtf8(text)) {
        return std::nullopt;
    }
    return Json::array({ovsdb::condition(column, "==", *value)});
}

} // namespace cfgctl
