// What cfgctl's subcommands do. Each throws Failure if it cannot.
#pragma once

#include "cfgctl/database.h"
#include "cfgctl/rowwords.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace cfgctl {

enum class ImportMode {
    replace, // the tables that the file names hold the file's rows afterwards, and nothing else
    merge,   // rows with the Id of a row in the file are replaced, the others stay
    dryRun,  // only checked
    print,   // only checked, and written as JSON
};

enum class ImportFormat {
    json,  // a gateway file, as export writes it
    tr181, // lines "Device.QoS.Queue.1.Precedence=3"
    uci,   // OpenWrt's /etc/config/qos
};

struct Import {
    std::string fileName; // "-" is standard input
    ImportFormat format = ImportFormat::json;
    ImportMode mode = ImportMode::replace;
    // What the file's words for interfaces stand for: WORD=LOGICAL. For foreign formats.
    Assignments interfaces;
};

// `remarks` gets a line for each thing in a foreign file that does not come over as it stands.
void importFile(Database& database, const Import& import, std::ostream& out, std::ostream& remarks);

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
