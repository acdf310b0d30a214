// Rows in words, for the terminal.
#pragma once

#include "config/gatewayfile.h"
#include "ovsdb/replica.h"
#include "ovsdb/schema.h"

#include <string>
#include <vector>

namespace gateway {

// A database's tables and a table's columns in the order in which docs/database.md has them, and then those
// that only this database has, by name.
std::vector<std::string> tableOrder(const ovsdb::DatabaseSchema& schema);
std::vector<std::string> columnOrder(const std::string& name, const ovsdb::TableSchema& table);

// A row from the database as it stands in a file: without the database's own columns and without empty ones.
FileRow toFileRow(const std::vector<std::string>& columns, const Json& row);

// Ascending "Id"; rows without one come first.
void sortById(std::vector<Json>& rows);

// One line, whatever the values hold:
//   StatusDsl Id=1 changed Status: 0 -> 4, StatusString: "Idle" -> "Showtime"
//   QoSShaper Id=2 added Enable: 1, InterfaceName: "eth1"
//   QoSShaper Id=2 removed
std::string changeText(const ovsdb::RowChange& change);

} // namespace gateway
