// What set, add and del say on the command line, and what that asks of a database with such a schema. Needs
// no server.
#pragma once

#include "ovsdb/schema.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cfgctl {

// COLUMN=VALUE from the command line, in its order.
using Assignment = std::pair<std::string, std::string>;
using Assignments = std::vector<Assignment>;

// Throws Failure (usage) on a text without "=" or without a column before it, and on a column that is given
// twice. `form` and `key` are for the messages.
Assignments parseAssignments(const std::vector<std::string>& texts, const std::string& form = "COLUMN=VALUE",
                             const std::string& key = "column");

// These throw Failure if there is no such table or column, or if a column cannot hold the value.
const ovsdb::TableSchema& requireTable(const ovsdb::DatabaseSchema& schema, const std::string& table);

// The new values of rows that exist, in the database's notation.
ovsdb::Json changesOf(const ovsdb::DatabaseSchema& schema, const std::string& table,
                      const Assignments& values);

// A row with all its columns.
ovsdb::Json rowOf(const ovsdb::DatabaseSchema& schema, const std::string& table, const Assignments& values);

// Of the rows where the key column reads as that text; nothing if none can.
std::optional<ovsdb::Json> conditionsOf(const ovsdb::DatabaseSchema& schema, const std::string& table,
                                        const Assignment& key);

} // namespace cfgctl
