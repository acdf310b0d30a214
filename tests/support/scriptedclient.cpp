#include "scriptedclient.h"

#include <algorithm>
#include <stdexcept>

namespace zel::pacerd::test {

namespace {

using basalt::ValueList;
using ResultCode = memory::MemoryClient::ResultCode;

const char* nameOf(Operation operation) {
    static constexpr const char* names[] = {
        "updateKey",        "updateRow",         "insertRow",           "deleteKey",
        "deleteAll",        "selectKey",         "selectRow",           "size",
        "startTransaction", "commitTransaction", "rollbackTransaction", "isTransactionActive",
    };
    return names[static_cast<int>(operation)];
}

std::string text(const ValueList& values) {
    std::string result;
    for (const auto& [name, value] : values) {
        result += " " + name + ":" + value.getText();
    }
    return result;
}

std::string text(const cfg::common::IConfigClient::ColumnNames& columns) {
    std::string result = columns.empty() ? "all" : "";
    for (const std::string& column : columns) {
        result += (result.empty() ? "" : ",") + column;
    }
    return " columns:" + result;
}

std::string key(const std::string& column, const std::string& value) {
    return " " + column + "=" + value;
}

std::string at(unsigned index) {
    std::string result = " ";
    result += std::to_string(index);
    return result;
}

} // namespace

ScriptedClient::ScriptedClient() {
    setTables({{"NetworkSetupNode", {}},
               {"StatusDsl", {}},
               {"StatusNetifWatchLogical", {}},
               {"QoSShaper", {}},
               {"QoSQueues", {}},
               {"QoSClassificationAction", {}},
               {"QoSClassification", {}}});
}

void ScriptedClient::add(const Row& row) {
    memory::Tables all = tables();
    memory::Rows& rows = all.at(row.table());
    ValueList values = row.values();
    if (!values.hasValue("Id")) {
        const long long last = rows.empty() ? 0 : rows.back().getValue("Id").getInteger();
        values.setValue("Id", basalt::Value(last + 1));
    }
    rows.push_back(values);
    memory::sortById(rows);
    setTables(std::move(all));
}

void ScriptedClient::clear(const std::string& table) {
    memory::Tables all = tables();
    all.at(table).clear();
    setTables(std::move(all));
}

void ScriptedClient::dropTable(const std::string& table) {
    memory::Tables all = tables();
    all.erase(table);
    setTables(std::move(all));
}

void ScriptedClient::change(const std::string& table, const std::string& keyColumn,
                            const std::string& keyValue, const std::string& column,
                            const basalt::Value& value) {
    ValueList values;
    values.setValue(column, value);
    if (MemoryClient::updateKey(table, keyColumn, keyValue, values) != ResultCode::done) {
        throw std::invalid_argument("no row of " + table + " has " + keyColumn + " " + keyValue);
    }
}

void ScriptedClient::answer(ResultCode code, Operation operation, const std::string& table, unsigned times,
                            unsigned skip) {
    scripts_.push_back({code, operation, table, times, skip});
}

std::size_t ScriptedClient::callsOf(Operation operation, const std::string& table) const {
    const std::string begin = nameOf(operation) + (table.empty() ? "" : " " + table);
    return static_cast<std::size_t>(std::count_if(calls_.begin(), calls_.end(), [&](const std::string& call) {
        return call == begin || call.starts_with(begin + " ");
    }));
}

ResultCode ScriptedClient::called(Operation operation, const std::string& table,
                                  const std::string& arguments) const {
    calls_.push_back(nameOf(operation) + (table.empty() ? "" : " " + table) + arguments);
    const auto script = std::find_if(scripts_.begin(), scripts_.end(), [&](const Script& candidate) {
        return candidate.operation == operation && candidate.table == table && candidate.times > 0;
    });
    if (script == scripts_.end()) {
        return ResultCode::done;
    }
    if (script->skip > 0) {
        --script->skip;
        return ResultCode::done;
    }
    --script->times;
    return script->code;
}

ResultCode ScriptedClient::updateKey(const std::string& table, const std::string& keyColumn,
                                     const std::string& keyValue, const ValueList& values) const {
    const ResultCode code = called(Operation::updateKey, table, key(keyColumn, keyValue) + text(values));
    return code == ResultCode::done ? MemoryClient::updateKey(table, keyColumn, keyValue, values) : code;
}

ResultCode ScriptedClient::updateRow(const std::string& table, unsigned index,
                                     const ValueList& values) const {
    const ResultCode code = called(Operation::updateRow, table, at(index) + text(values));
    return code == ResultCode::done ? MemoryClient::updateRow(table, index, values) : code;
}

ResultCode ScriptedClient::insertRow(const std::string& table, const ValueList& values) const {
    const ResultCode code = called(Operation::insertRow, table, text(values));
    return code == ResultCode::done ? MemoryClient::insertRow(table, values) : code;
}

ResultCode ScriptedClient::deleteKey(const std::string& table, const std::string& keyColumn,
                                     const std::string& keyValue) const {
    const ResultCode code = called(Operation::deleteKey, table, key(keyColumn, keyValue));
    return code == ResultCode::done ? MemoryClient::deleteKey(table, keyColumn, keyValue) : code;
}

ResultCode ScriptedClient::deleteAll(const std::string& table) const {
    const ResultCode code = called(Operation::deleteAll, table, "");
    return code == ResultCode::done ? MemoryClient::deleteAll(table) : code;
}

ResultCode ScriptedClient::selectKey(const std::string& table, const std::string& keyColumn,
                                     const std::string& keyValue, const ColumnNames& columns,
                                     ValueList& row) const {
    const ResultCode code = called(Operation::selectKey, table, key(keyColumn, keyValue) + text(columns));
    return code == ResultCode::done ? MemoryClient::selectKey(table, keyColumn, keyValue, columns, row)
                                    : code;
}

ResultCode ScriptedClient::selectRow(const std::string& table, unsigned index, const ColumnNames& columns,
                                     ValueList& row) const {
    const ResultCode code = called(Operation::selectRow, table, at(index) + text(columns));
    return code == ResultCode::done ? MemoryClient::selectRow(table, index, columns, row) : code;
}

ResultCode ScriptedClient::size(const std::string& table, unsigned& count) const {
    const ResultCode code = called(Operation::size, table, "");
    return code == ResultCode::done ? MemoryClient::size(table, count) : code;
}

ResultCode ScriptedClient::startTransaction() const {
    const ResultCode code = called(Operation::startTransaction, "", "");
    return code == ResultCode::done ? MemoryClient::startTransaction() : code;
}

ResultCode ScriptedClient::commitTransaction() const {
    const ResultCode code = called(Operation::commitTransaction, "", "");
    return code == ResultCode::done ? MemoryClient::commitTransaction() : code;
}

ResultCode ScriptedClient::rollbackTransaction() const {
    const ResultCode code = called(Operation::rollbackTransaction, "", "");
    return code == ResultCode::done ? MemoryClient::rollbackTransaction() : code;
}

bool ScriptedClient::isTransactionActive() const {
    called(Operation::isTransactionActive, "", "");
    return MemoryClient::isTransactionActive();
}

} // namespace zel::pacerd::test
