// Column types for tests, written as a schema writes them.
#pragma once

#include "ovsdb/schema.h"

#include <string>

namespace gateway::test {

// From {"Table": {"Column": TYPE, ...}, ...}; each table's "Id" is unique.
inline ovsdb::DatabaseSchema schemaOf(const char* tables) {
    ovsdb::Json json = {{"name", "Gateway"}, {"version", "1.0.0"}, {"tables", ovsdb::Json::object()}};
    const ovsdb::Json content = ovsdb::Json::parse(tables);
    for (const auto& [table, columns] : content.items()) {
        ovsdb::Json& entry = json["tables"][table];
        entry["columns"] = ovsdb::Json::object();
        for (const auto& [column, type] : columns.items()) {
            entry["columns"][column] = {{"type", type}};
        }
        entry["indexes"] = ovsdb::Json::parse(R"([["Id"]])");
    }
    return ovsdb::DatabaseSchema::parse(json);
}

inline ovsdb::ColumnType columnOf(const std::string& type) {
    return *schemaOf((R"({"T": {"C": )" + type + "}}").c_str()).findColumn("T", "C");
}

inline const char* const flag = R"({"key": {"type": "integer", "minInteger": 0, "maxInteger": 1}})";
inline const char* const scheduler = R"({"key": {"type": "string", "enum": ["set", ["SP", "WFQ"]]}})";
inline const char* const word = R"({"key": {"type": "string", "minLength": 1, "maxLength": 4}})";
inline const char* const optionalDscp =
    R"({"key": {"type": "integer", "minInteger": -1, "maxInteger": 63}, "min": 0, "max": 1})";

} // namespace gateway::test
