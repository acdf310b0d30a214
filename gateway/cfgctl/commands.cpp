#include "cfgctl/commands.h"

#include "cfgctl/failure.h"
#include "config/rowchecker.h"
#include "config/rowtext.h"
#include "config/tableprinter.h"
#include "import/tr181.h"
#include "import/uci.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>

namespace cfgctl {

namespace {

using gateway::Complaints;
using gateway::FileTable;
using ovsdb::Json;
using ovsdb::Transaction;

std::string counted(std::size_t count, const char* thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string readFile(const std::string& fileName) {
    if (fileName == "-") {
        return {std::istreambuf_iterator<char>(std::cin), {}};
    }
    errno = 0;
    std::ifstream file(fileName, std::ios::binary);
    if (!file.is_open() || std::filesystem::is_directory(fileName)) {
        throw Failure(ExitStatus::failure, fileName + ": " + std::strerror(errno != 0 ? errno : EISDIR));
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

// Each once.
std::vector<std::string> allIfNone(const Database& database, const std::vector<std::string>& tables) {
    std::vector<std::string> result;
    for (const std::string& table : tables) {
        requireTable(database.schema(), table);
        if (std::find(result.begin(), result.end(), table) == result.end()) {
            result.push_back(table);
        }
    }
    return tables.empty() ? gateway::tableOrder(database.schema()) : result;
}

// All rows of the tables in ascending Id, from one moment.
std::vector<std::vector<Json>> readTables(Database& database, const std::vector<std::string>& tables) {
    Transaction transaction;
    for (const std::string& table : tables) {
        transaction.select(table, Json::array());
    }
    const Json results = tables.empty() ? Json::array() : database.transact(transaction);
    std::vector<std::vector<Json>> content;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        content.push_back(results.at(i).at("rows").get<std::vector<Json>>());
        gateway::sortById(content.back());
    }
    return content;
}

// Does what `addOperation` adds for the rows under these conditions, where the key reads as it should.
// Returns how many there were.
template <typename AddOperation>
std::size_t changeWhere(Database& database, const std::string& table, const Assignment& key,
                        const std::optional<Json>& where, AddOperation addOperation) {
    std::size_t count = 0;
    if (where) {
        Transaction transaction;
        addOperation(transaction);
        count = ovsdb::countOf(database.transact(transaction, {table}), 0);
    }
    if (count == 0) {
        throw Failure(ExitStatus::failure,
                      table + ": no row where " + key.first + " is " + ovsdb::toText(Json(key.second)));
    }
    return count;
}

importers::Interfaces readInterfaces(Database& database, const Assignments& chosen) {
    const auto content = readTables(database, {"NetworkSetupNode", "StatusNetifWatchLogical"});
    importers::Interfaces interfaces(content[0], content[1], {chosen.begin(), chosen.end()});
    for (const auto& [word, logical] : chosen) {
        if (!interfaces.has(logical)) {
            std::string message = "--interface " + word;
            message += "=" + logical + ": the gateway has " + interfaces.describe();
            throw Failure(ExitStatus::usage, message);
        }
    }
    return interfaces;
}

// "; 2 things not carried over, 1 changed, 3 assumed"
std::string remarkCounts(const std::vector<importers::Remark>& remarks) {
    using Kind = importers::Remark::Kind;
    const auto count = [&remarks](Kind kind) {
        return static_cast<std::size_t>(std::count_if(
            remarks.begin(), remarks.end(), [kind](const auto& remark) { return remark.kind == kind; }));
    };
    return "; " + counted(count(Kind::dropped), "thing") + " not carried over, " +
           std::to_string(count(Kind::changed)) + " changed, " + std::to_string(count(Kind::assumed)) +
           " assumed";
}

// The file's content; what does not come over goes to `remarks`, its counts to `summary`.
gateway::GatewayFile readImport(Database& database, const Import& import, const std::string& shownName,
                                std::ostream& remarks, std::string& summary) {
    const std::string text = readFile(import.fileName);
    if (import.format == ImportFormat::json) {
        return gateway::parseGatewayFile(shownName, text);
    }
    const importers::Interfaces interfaces = readInterfaces(database, import.interfaces);
    const auto read = import.format == ImportFormat::tr181 ? importers::fromTr181 : importers::fromUci;
    importers::Imported imported = read(shownName, text, interfaces);
    for (const importers::Remark& remark : imported.remarks) {
        remarks << importers::toText(shownName, remark) << '\n';
    }
    summary = remarkCounts(imported.remarks);
    return std::move(imported.file);
}

Transaction importTransaction(const std::vector<gateway::CheckedTable>& tables, ImportMode mode,
                              std::vector<std::string>& places) {
    Transaction transaction;
    for (const gateway::CheckedTable& table : tables) {
        if (mode == ImportMode::replace) {
            transaction.remove(table.name, Json::array());
        } else {
            for (const Json& row : table.rows) {
                if (row.contains("Id")) {
                    transaction.remove(table.name, Json::array({ovsdb::condition("Id", "==", row["Id"])}));
                }
            }
        }
        places.resize(transaction.size(), table.name);
        for (std::size_t i = 0; i < table.rows.size(); ++i) {
            transaction.insert(table.name, table.rows[i]);
            places.push_back(table.places[i]);
        }
    }
    return transaction;
}

std::string nextId(Database& database, const std::string& table) {
    const auto content = readTables(database, {table});
    long long highest = 0;
    for (const Json& row : content.front()) {
        highest = std::max(highest, row.at("Id").get<long long>());
    }
    return std::to_string(highest + 1);
}

void insertRow(Database& database, const std::string& table, const Assignments& values) {
    Transaction transaction;
    transaction.insert(table, rowOf(database.schema(), table, values));
    database.transact(transaction, {table});
}

} // namespace

void importFile(Database& database, const Import& import, std::ostream& out, std::ostream& remarks) {
    const std::string shownName = import.fileName == "-" ? "standard input" : import.fileName;
    Complaints complaints;
    gateway::GatewayFile file;
    std::vector<gateway::CheckedTable> tables;
    std::string summary;
    try {
        file = readImport(database, import, shownName, remarks, summary);
        tables = gateway::checkFile(database.schema(), file, shownName, complaints);
    } catch (const gateway::FileError& error) {
        throw Failure(ExitStatus::failure, error.what());
    } catch (const importers::ImportError& error) {
        refuse(error.lines());
    }
    if (!complaints.empty()) {
        refuse(std::move(complaints));
    }
    if (import.mode == ImportMode::print) {
        out << gateway::writeGatewayFile(file);
        return;
    }
    std::vector<std::string> places;
    const Transaction transaction = importTransaction(tables, import.mode, places);
    if (import.mode != ImportMode::dryRun && !transaction.empty()) {
        database.transact(transaction, places);
    }
    std::size_t rows = 0;
    for (const gateway::CheckedTable& table : tables) {
        rows += table.rows.size();
    }
    out << shownName << ": " << counted(rows, "row") << " in " << counted(tables.size(), "table")
        << (import.mode == ImportMode::dryRun ? " checked" : " imported") << summary << '\n';
}

void exportTables(Database& database, const std::vector<std::string>& tables, std::ostream& out) {
    const std::vector<std::string> names = allIfNone(database, tables);
    const auto content = readTables(database, names);
    gateway::GatewayFile file;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto columns = gateway::columnOrder(names[i], requireTable(database.schema(), names[i]));
        FileTable& table = file.emplace_back(FileTable{names[i], {}});
        for (const Json& row : content[i]) {
            table.rows.push_back(gateway::toFileRow(columns, row));
        }
    }
    out << gateway::writeGatewayFile(file);
}

void showTables(Database& database, const std::vector<std::string>& tables, std::size_t width,
                std::ostream& out) {
    const std::vector<std::string> names = allIfNone(database, tables);
    const auto content = readTables(database, names);
    const char* separator = "";
    for (std::size_t i = 0; i < names.size(); ++i) {
        out << separator
            << gateway::printTable(names[i], requireTable(database.schema(), names[i]), content[i], width);
        separator = "\n";
    }
}

void setRows(Database& database, const std::string& table, const Assignment& key, const Assignments& values,
             std::ostream& out) {
    const auto where = conditionsOf(database.schema(), table, key);
    const Json changes = changesOf(database.schema(), table, values);
    const std::size_t count = changeWhere(database, table, key, where, [&](Transaction& transaction) {
        transaction.update(table, *where, changes);
    });
    out << table << ": " << counted(count, "row") << " set\n";
}

void addRow(Database& database, const std::string& table, const Assignments& values, std::ostream& out) {
    const bool hasId =
        std::any_of(values.begin(), values.end(), [](const auto& value) { return value.first == "Id"; });
    if (hasId || requireTable(database.schema(), table).columns.count("Id") == 0) {
        insertRow(database, table, values);
        out << table << ": 1 row added\n";
        return;
    }
    Assignments numbered = values;
    std::string& id = numbered.emplace_back("Id", nextId(database, table)).second;
    for (;;) {
        try {
            insertRow(database, table, numbered);
            out << table << ": 1 row added, Id " << id << '\n';
            return;
        } catch (const Failure&) {
            // Somebody may have taken the Id meanwhile. If not, it was something else.
            const std::string next = nextId(database, table);
            if (next == id) {
                throw;
            }
            id = next;
        }
    }
}

void deleteRows(Database& database, const std::string& table, const Assignment& key, std::ostream& out) {
    const auto where = conditionsOf(database.schema(), table, key);
    const std::size_t count = changeWhere(
        database, table, key, where, [&](Transaction& transaction) { transaction.remove(table, *where); });
    out << table << ": " << counted(count, "row") << " deleted\n";
}

void watchTables(Database& database, const std::vector<std::string>& tables, std::size_t count,
                 std::ostream& out, std::ostream& status) {
    const std::vector<std::string> names = allIfNone(database, tables);
    std::size_t seen = 0;
    database.watch(
        names, [&] { status << "watching " << counted(names.size(), "table") << std::endl; },
        [&](const ovsdb::RowChange& change) {
            out << gateway::changeText(change) << std::endl;
            return ++seen != count;
        });
}

} // namespace cfgctl
