#include "pacerctl/snapshotclient.h"

namespace pacerctl {

namespace {

basalt::ValueList choose(const basalt::ValueList& row, const SnapshotClient::ColumnNames& columns) {
    if (columns.empty()) {
        return row;
    }
    basalt::ValueList chosen;
    for (const std::string& column : columns) {
        if (row.hasValue(column)) {
            chosen.setValue(column, row.getValue(column));
        }
    }
    return chosen;
}

} // namespace

SnapshotClient::ResultCode SnapshotClient::selectKey(const std::string& table, const std::string& keyColumn,
                                                     const std::string& keyValue, const ColumnNames& columns,
                                                     basalt::ValueList& row) const {
    for (const basalt::ValueList& each : snapshot_.rows(table)) {
        if (each.getValue(keyColumn).getText() == keyValue) {
            row = choose(each, columns);
            return ResultCode::done;
        }
    }
    return ResultCode::nothingThere;
}

SnapshotClient::ResultCode SnapshotClient::selectRow(const std::string& table, unsigned index,
                                                     const ColumnNames& columns,
                                                     basalt::ValueList& row) const {
    const Rows& rows = snapshot_.rows(table);
    if (index >= rows.size()) {
        return ResultCode::nothingThere;
    }
    row = choose(rows[index], columns);
    return ResultCode::done;
}

SnapshotClient::ResultCode SnapshotClient::size(const std::string& table, unsigned& count) const {
    if (!snapshot_.hasTable(table)) {
        return ResultCode::nothingThere;
    }
    count = static_cast<unsigned>(snapshot_.rows(table).size());
    return ResultCode::done;
}

} // namespace pacerctl
