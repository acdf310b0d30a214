// The tables and columns that the gateway's programs read.
#pragma once

#include <span>
#include <string_view>

namespace zel::cfg {

// What a column's text may reach, and so what it may hold.
enum class ColumnClass {
    number,        // also where a database keeps it as a text
    freeText,      // is compared, parsed or logged, but does not itself enter a command
    word,          // becomes part of a command line
    interfaceName, // a word that names a Linux interface
};

struct GatewayColumn {
    const char* name;
    ColumnClass kind;
};

struct GatewayTable {
    const char* name;
    std::span<const GatewayColumn> columns;
};

// The name of the database that has them.
inline constexpr const char* gatewayDatabase = "Gateway";

std::span<const GatewayTable> gatewayTables();

// nullptr if there is none.
const GatewayTable* findGatewayTable(std::string_view table);
const GatewayColumn* findGatewayColumn(std::string_view table, std::string_view column);

inline bool isWord(ColumnClass kind) {
    return kind == ColumnClass::word || kind == ColumnClass::interfaceName;
}

} // namespace zel::cfg
