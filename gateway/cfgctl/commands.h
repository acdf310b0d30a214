// What cfgctl's subcommands do. Each throws Failure if it cannot.
#pragma once

#include "cfgctl/database.h"

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace cfgctl {

// COLUMN=VALUE from the command line, in its order.
using Assignment = std::pair<std::string, std::string>;
using Assignments = std::vector<Assignment>;

// Throws Failure (usage) on a text without "=" or without a column before it, and on a column that is given
// twice.
Assignments parseAssignments(const std::vector<std::string>& texts);

enum class ImportMode {
    replace, // the tables that the file names hold the file's rows afterwards, and nothing else
    merge,   // rows with the Id of a row in the file are replaced, the others stay
    dryRun,  // only checked
};

// "-" is standard input.
void importFile(Database& database, const std::string& fileName, ImportMode mode, std::ostream& out);

// No tables: all of them. So too below.
void exportTables(Database& database, const std::vector<std::string>& tables, std::ostream& out);

// `width`: of the terminal, in columns.
void showTables(Database& database, const std::vector<std::string>& tables, std::size_t width,
                std::ostream& out);

void setRows(Database& database, const std::string& table, const Assignment& key, const Assignments& values,
             std::ostream& out);
void addRow(Database& database, const std::string& table, const Assignments& values, std::ostream& out);
void deleteRows(Database& database, const std::string& table, const Assignment& key, std::ostream& out);

// A line for each row that changes, until there were `count` of them; 0: for ever. Tells `status` once no
// change can be missed any more.
void watchTables(Database& database, const std::vector<std::string>& tables, std::size_t count,
                 std::ostream& out, std::ostream& status);

} // namespace cfgctl
