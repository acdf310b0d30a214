// A database's schema, as get_schema answers it (RFC 7047, section 3.2).
#pragma once

#include "ovsdb/json.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ovsdb {

enum class AtomType { integer, real, boolean, string, uuid };

// "integer", "real", ...
const char* toText(AtomType type);

struct BaseType {
    AtomType type = AtomType::string;
    std::optional<long long> minInteger;
    std::optional<long long> maxInteger;
    std::optional<double> minReal;
    std::optional<double> maxReal;
    std::optional<unsigned long long> minLength; // of a string, in characters
    std::optional<unsigned long long> maxLength;
    std::vector<Json> allowed; // empty: no enumeration
    std::string refTable;      // of a uuid that refers to a row; else empty

    // What may stand there, for a person: "an integer from 0 to 63", `one of "SP", "WFQ"`.
    std::string describe() const;
};

struct ColumnType {
    static constexpr unsigned unlimited = ~0U;

    BaseType key;
    std::optional<BaseType> value; // set: the column is a map
    unsigned min = 1;              // number of elements
    unsigned max = 1;

    bool isMap() const { return value.has_value(); }
    bool isScalar() const { return !isMap() && max == 1; } // at most one element
    bool isOptional() const { return min == 0; }
};

struct TableSchema {
    std::map<std::string, ColumnType> columns;
    std::vector<std::vector<std::string>> indexes; // column sets whose values are unique in the table
};

struct DatabaseSchema {
    std::string name;
    std::string version;
    std::map<std::string, TableSchema> tables;

    // nullptr if there is none.
    const TableSchema* findTable(const std::string& table) const;
    const ColumnType* findColumn(const std::string& table, const std::string& column) const;

    // Throws ProtocolError.
    static DatabaseSchema parse(const Json& json);
};

} // namespace ovsdb
