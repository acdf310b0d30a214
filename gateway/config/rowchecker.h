// Checks rows against a database's schema before they are sent.
#pragma once

#include "config/gatewayfile.h"
#include "ovsdb/schema.h"

#include <string>
#include <vector>

namespace gateway {

// What is wrong, one line each: place, what stands there, what is allowed there.
using Complaints = std::vector<std::string>;

// A row with a value for every column of its table, in the database's notation: {"Column": datum, ...}. What
// the row leaves out gets its default. If complaints were added, the result is of no use.
Json completeRow(const std::string& tableName, const ovsdb::TableSchema& table, const FileRow& row,
                 const std::string& place, Complaints& complaints);

// The values of a change to existing rows, nothing added. Besides the schema, words of the gateway's tables
// have to keep to what a command line can take.
Json changedColumns(const std::string& tableName, const ovsdb::TableSchema& table, const FileRow& row,
                    const std::string& place, Complaints& complaints);

struct CheckedTable {
    std::string name;
    std::vector<Json> rows;          // as completeRow gives them
    std::vector<std::string> places; // of each row: "dsl.json: QoSQueues row 3 (Id 14)"
};

// Every row of a file. Complaints name file, table, row and "Id"; tables that the database does not have and
// values that must be unique but occur twice are complained about, too.
std::vector<CheckedTable> checkFile(const ovsdb::DatabaseSchema& schema, const GatewayFile& file,
                                    const std::string& fileName, Complaints& complaints);

// nullptr with a complaint if there is no such table.
const ovsdb::TableSchema* findTable(const ovsdb::DatabaseSchema& schema, const std::string& table,
                                    const std::string& place, Complaints& complaints);

// `unknown column "Hue"; QoSQueues has Id, Name, ...`
std::string unknownColumn(const ovsdb::TableSchema& table, const std::string& column);

} // namespace gateway
