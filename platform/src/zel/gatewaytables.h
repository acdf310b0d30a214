// The tables and columns that the gateway's programs read.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace zel::cfg {

// What a column's text may reach, and so what it may hold.
enum class ColumnClass {
    number,
    freeText,      // is compared and logged, but runs nothing
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

} // namespace zel::cfg
