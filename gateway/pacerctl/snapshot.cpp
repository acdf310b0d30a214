#include "pacerctl/snapshot.h"

#include "config/columnrules.h"
#include "config/gatewayfile.h"
#include "ovsdb/datum.h"
#include "ovsdb/session.h"
#include "zel/gatewaytables.h"
#include "zel/rowgate.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>

namespace pacerctl {

namespace {

using zel::cfg::ColumnClass;
using zel::cfg::GatewayColumn;
using zel::cfg::GatewayTable;
using zel::cfg::gatewayTables;

constexpr std::chrono::seconds serverPatience{30}; // a loaded gateway is slow, not dead

// The one column of the tables that a row may have no value in.
constexpr const char* optionalColumn = "DSCPMatch";

void addOnce(std::vector<UnknownName>& names, const std::string& table, const std::string& column) {
    const bool known = std::any_of(names.begin(), names.end(), [&](const UnknownName& each) {
        return each.table == table && each.column == column;
    });
    if (!known) {
        names.push_back({table, column});
    }
}

basalt::Value defaultOf(const GatewayColumn& column) {
    return column.kind == ColumnClass::number ? basalt::Value(0LL) : basalt::Value(std::string());
}

basalt::ValueList toRow(const GatewayTable& table, const gateway::FileRow& fileRow, Snapshot& snapshot) {
    basalt::ValueList row;
    for (const auto& [column, json] : fileRow) {
        if (zel::cfg::findGatewayColumn(table.name, column) == nullptr) {
            addOnce(snapshot.unknownNames, table.name, column);
        }
        if (auto value = ovsdb::toValue(json)) {
            row.setValue(column, std::move(*value));
        }
    }
    for (const GatewayColumn& column : table.columns) {
        const bool named = std::any_of(fileRow.begin(), fileRow.end(),
                                       [&](const auto& entry) { return entry.first == column.name; });
        // Without an "Id" a row is none for the daemon: nothing is made up there.
        const bool hasDefault =
            std::strcmp(column.name, optionalColumn) != 0 && std::strcmp(column.name, "Id") != 0;
        if (!named && hasDefault) {
            row.setValue(column.name, defaultOf(column));
        }
    }
    return row;
}

// Keeps the reason of the first failure.
class Outage final : public ovsdb::SessionObserver {
  public:
    void onOutage(const std::string& why) override { reason = why; }
    void onRecovery() override {}
    void onSchema(const ovsdb::DatabaseSchema& /*schema*/) override {}

    std::string reason = "does not answer";
};

} // namespace

void Snapshot::setTable(const std::string& table, Rows rows) {
    std::stable_sort(rows.begin(), rows.end(), [](const auto& left, const auto& right) {
        return left.getValue("Id").getInteger() < right.getValue("Id").getInteger();
    });
    tables_[table] = std::move(rows);
}

std::vector<std::string> Snapshot::dropRefusedRows() {
    std::vector<std::string> dropped;
    for (auto& [table, rows] : tables_) {
        std::erase_if(rows, [&, name = table](const basalt::ValueList& row) {
            const zel::cfg::RowFault fault = zel::cfg::findFault(name, row);
            if (fault.column != nullptr) {
                dropped.push_back(name + " Id=" + row.getValue("Id").getText() +
                                  " does not exist for the daemon: its " + fault.column + " " + fault.why);
            }
            return fault.column != nullptr;
        });
    }
    return dropped;
}

const Rows& Snapshot::rows(const std::string& table) const {
    static const Rows none;
    const auto found = tables_.find(table);
    return found == tables_.end() ? none : found->second;
}

Snapshot parseSnapshot(const std::string& fileName, const std::string& text) {
    Snapshot snapshot(fileName);
    for (const GatewayTable& table : gatewayTables()) {
        snapshot.setTable(table.name, {});
    }
    try {
        for (const gateway::FileTable& fileTable : gateway::parseGatewayFile(fileName, text)) {
            const GatewayTable* table = zel::cfg::findGatewayTable(fileTable.name);
            if (table == nullptr) {
                addOnce(snapshot.unknownNames, fileTable.name, "");
                continue;
            }
            Rows rows;
            for (const gateway::FileRow& fileRow : fileTable.rows) {
                rows.push_back(toRow(*table, fileRow, snapshot));
            }
            snapshot.setTable(table->name, std::move(rows));
        }
    } catch (const gateway::FileError& error) {
        throw NoDatabase(error.what());
    } catch (const ovsdb::ProtocolError& error) {
        throw NoDatabase(fileName + ": " + error.what());
    }
    return snapshot;
}

Snapshot readSnapshotFile(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        throw NoDatabase("cannot read '" + fileName + "': " + std::strerror(errno));
    }
    return parseSnapshot(fileName, text);
}

Snapshot fetchSnapshot(const std::string& socketPath) {
    ovsdb::SessionOptions options;
    options.socketPath = socketPath;
    options.database = zel::cfg::gatewayDatabase;
    for (const GatewayTable& table : gatewayTables()) {
        options.tables.emplace_back(table.name);
    }
    options.answerTimeout = serverPatience;
    Outage outage;
    ovsdb::Session session(std::move(options), outage);
    const auto status = session.waitForSnapshot(serverPatience);
    if (status != ovsdb::TransactResult::Status::answered || session.replica() == nullptr) {
        throw NoDatabase("no configuration server: '" + socketPath + "' " + outage.reason);
    }
    Snapshot snapshot(socketPath);
    for (const GatewayTable& table : gatewayTables()) {
        const ovsdb::ReplicaTable* found = session.replica()->find(table.name);
        if (found == nullptr) {
            continue;
        }
        Rows rows;
        for (const ovsdb::Row& row : found->rows()) {
            rows.push_back(row.values);
        }
        snapshot.setTable(table.name, std::move(rows));
    }
    return snapshot;
}

} // namespace pacerctl
