#include "zel/configclient.h"

#include "ovsdb/datum.h"

#include <array>
#include <chrono>
#include <utility>

namespace zel::cfg {

namespace {

using basalt::ValueList;
using basalt::protocol::EResultCode;
using ovsdb::Json;
using ovsdb::TransactResult;

// A read that finds no snapshot gives the server this long to deliver one.
constexpr std::chrono::milliseconds snapshotWait{1000};

EResultCode fromStatus(TransactResult::Status status) {
    switch (status) {
    case TransactResult::Status::answered:
        return EResultCode::done;
    case TransactResult::Status::notConnected:
        return EResultCode::notConnected;
    case TransactResult::Status::noAnswer:
        return EResultCode::timedOut;
    case TransactResult::Status::failed:
        return EResultCode::refused;
    }
    return EResultCode::protocolError;
}

// The words of RFC 7047, section 3.1 and 5.2, and those that ovsdb-server adds.
EResultCode fromError(const std::string& error) {
    static constexpr std::array<std::pair<const char*, EResultCode::Code>, 11> known = {{
        {"constraint violation", EResultCode::constraintViolated},
        {"referential integrity violation", EResultCode::constraintViolated},
        {"domain error", EResultCode::constraintViolated},
        {"range error", EResultCode::constraintViolated},
        {"resources exhausted", EResultCode::serverBusy},
        {"not owner", EResultCode::serverBusy},
        {"timed out", EResultCode::serverBusy},
        {"I/O error", EResultCode::serverBusy},
        {"unknown table", EResultCode::nothingThere},
        {"unknown column", EResultCode::unknownColumn},
        {"syntax error", EResultCode::protocolError},
    }};
    for (const auto& [word, code] : known) {
        if (error == word) {
            return code;
        }
    }
    return EResultCode::refused;
}

EResultCode select(const ovsdb::ReplicaTable& table, const ovsdb::Row& from,
                   const common::IConfigClient::ColumnNames& columns, ValueList& row) {
    if (columns.empty()) {
        row = from.values;
        return EResultCode::done;
    }
    std::vector<ValueList::Entry> chosen;
    for (const std::string& column : columns) {
        if (!table.hasColumn(column)) {
            return EResultCode::unknownColumn;
        }
        if (from.values.hasValue(column)) {
            chosen.emplace_back(column, from.values.getValue(column));
        }
    }
    row = ValueList(std::move(chosen));
    return EResultCode::done;
}

} // namespace

ConfigClient::ConfigClient(ovsdb::Session& session, std::string name, bool readOnly)
    : session_(session), name_(std::move(name)), readOnly_(readOnly) {}

// --- reads ---

const ovsdb::ReplicaTable* ConfigClient::findTable(const std::string& table, EResultCode& code) const {
    if (session_.replica() == nullptr) {
        code = fromStatus(session_.waitForSnapshot(snapshotWait));
        if (session_.replica() == nullptr) {
            return nullptr;
        }
    }
    const ovsdb::ReplicaTable* found = session_.replica()->find(table);
    code = found == nullptr ? EResultCode::nothingThere : EResultCode::done;
    return found;
}

EResultCode ConfigClient::selectKey(const std::string& table, const std::string& keyColumn,
                                    const std::string& keyValue, const ColumnNames& columns,
                                    ValueList& row) const {
    EResultCode code;
    const ovsdb::ReplicaTable* found = findTable(table, code);
    if (found == nullptr) {
        return code;
    }
    if (!found->hasColumn(keyColumn)) {
        return EResultCode::unknownColumn;
    }
    const ovsdb::Row* match = found->findFirst(keyColumn, keyValue);
    return match == nullptr ? EResultCode::nothingThere : select(*found, *match, columns, row);
}

EResultCode ConfigClient::selectRow(const std::string& table, unsigned index, const ColumnNames& columns,
                                    ValueList& row) const {
    EResultCode code;
    const ovsdb::ReplicaTable* found = findTable(table, code);
    if (found == nullptr) {
        return code;
    }
    return index < found->rows().size() ? select(*found, found->rows()[index], columns, row)
                                        : EResultCode::nothingThere;
}

EResultCode ConfigClient::size(const std::string& table, unsigned& count) const {
    EResultCode code;
    const ovsdb::ReplicaTable* found = findTable(table, code);
    if (found != nullptr) {
        count = static_cast<unsigned>(found->rows().size());
    }
    return code;
}

// --- writes ---

EResultCode ConfigClient::beginWrite(const std::string& table) const {
    if (readOnly_) {
        return EResultCode::refused;
    }
    if (const EResultCode code = fromStatus(session_.waitForSchema()); code != EResultCode::done) {
        return code;
    }
    return session_.schema()->findTable(table) == nullptr ? EResultCode::nothingThere : EResultCode::done;
}

EResultCode ConfigClient::toWireRow(const std::string& table, const ValueList& values, Json& row) const {
    row = Json::object();
    for (const auto& [column, value] : values) {
        const ovsdb::ColumnType* type = session_.schema()->findColumn(table, column);
        if (type == nullptr) {
            return EResultCode::unknownColumn;
        }
        auto datum = ovsdb::toDatum(*type, value);
        if (!datum) {
            return EResultCode::constraintViolated;
        }
        row[column] = std::move(*datum);
    }
    return EResultCode::done;
}

// One condition per way in which a row can read as `text`; none if no row can.
EResultCode ConfigClient::toConditions(const std::string& table, const std::string& column,
                                       const std::string& text, std::vector<Json>& conditions) const {
    const ovsdb::ColumnType* type = session_.schema()->findColumn(table, column);
    if (type == nullptr) {
        return EResultCode::unknownColumn;
    }
    if (text.empty() && type->isOptional()) {
        conditions.push_back(ovsdb::condition(column, "==", ovsdb::emptySet()));
    }
    const auto datum = ovsdb::toDatum(*type, basalt::Value(text));
    // "007" and 7 are different texts.
    if (datum && ovsdb::toValue(*datum).value_or(basalt::Value()).getText() == text) {
        conditions.push_back(ovsdb::condition(column, "==", *datum));
    }
    return EResultCode::done;
}

EResultCode ConfigClient::updateWhere(const std::string& table, const std::vector<Json>& conditions,
                                      const ValueList& values) const {
    Json row;
    if (const EResultCode code = toWireRow(table, values, row); code != EResultCode::done) {
        return code;
    }
    if (conditions.empty()) {
        return EResultCode::nothingThere;
    }
    ovsdb::Transaction single;
    ovsdb::Transaction& target = transactionActive_ ? collected_ : single;
    if (transactionActive_ && conditions.size() == 1) {
        target.requireRow(table, Json::array({conditions.front()}));
    }
    for (const Json& where : conditions) {
        target.update(table, Json::array({where}), row);
    }
    return transactionActive_ ? EResultCode::done : send(single, true);
}

EResultCode ConfigClient::updateKey(const std::string& table, const std::string& keyColumn,
                                    const std::string& keyValue, const ValueList& values) const {
    if (const EResultCode code = beginWrite(table); code != EResultCode::done) {
        return code;
    }
    std::vector<Json> conditions;
    const EResultCode code = toConditions(table, keyColumn, keyValue, conditions);
    return code == EResultCode::done ? updateWhere(table, conditions, values) : code;
}

EResultCode ConfigClient::updateRow(const std::string& table, unsigned index, const ValueList& values) const {
    EResultCode code = beginWrite(table);
    if (code != EResultCode::done) {
        return code;
    }
    const ovsdb::ReplicaTable* found = findTable(table, code);
    if (found == nullptr) {
        return code;
    }
    if (index >= found->rows().size()) {
        return EResultCode::nothingThere;
    }
    return updateWhere(table, {ovsdb::isRow(found->rows()[index].uuid.text())}, values);
}

EResultCode ConfigClient::insertRow(const std::string& table, const ValueList& values) const {
    Json row;
    if (const EResultCode code = beginWrite(table); code != EResultCode::done) {
        return code;
    }
    if (const EResultCode code = toWireRow(table, values, row); code != EResultCode::done) {
        return code;
    }
    ovsdb::Transaction single;
    (transactionActive_ ? collected_ : single).insert(table, std::move(row));
    return transactionActive_ ? EResultCode::done : send(single, false);
}

EResultCode ConfigClient::deleteKey(const std::string& table, const std::string& keyColumn,
                                    const std::string& keyValue) const {
    if (const EResultCode code = beginWrite(table); code != EResultCode::done) {
        return code;
    }
    std::vector<Json> conditions;
    if (const EResultCode code = toConditions(table, keyColumn, keyValue, conditions);
        code != EResultCode::done) {
        return code;
    }
    if (conditions.empty()) {
        return EResultCode::nothingThere;
    }
    ovsdb::Transaction single;
    for (const Json& where : conditions) {
        (transactionActive_ ? collected_ : single).remove(table, Json::array({where}));
    }
    return transactionActive_ ? EResultCode::done : send(single, true);
}

EResultCode ConfigClient::deleteAll(const std::string& table) const {
    if (const EResultCode code = beginWrite(table); code != EResultCode::done) {
        return code;
    }
    ovsdb::Transaction single;
    (transactionActive_ ? collected_ : single).remove(table, Json::array());
    return transactionActive_ ? EResultCode::done : send(single, false);
}

// With `needsRow`, a transaction that changes no row at all answers that there is nothing.
EResultCode ConfigClient::send(const ovsdb::Transaction& transaction, bool needsRow) const {
    ovsdb::Transaction marked = transaction;
    marked.comment(name_);
    const TransactResult result = session_.transact(marked);
    if (result.status != TransactResult::Status::answered) {
        return fromStatus(result.status);
    }
    try {
        const ovsdb::TransactError error = ovsdb::findError(result.results);
        if (!error.error.empty()) {
            const bool rowIsMissing = error.error == "timed out" && error.operation < transaction.size() &&
                                      transaction.operations()[error.operation]["op"] == "wait";
            return rowIsMissing ? EResultCode(EResultCode::nothingThere) : fromError(error.error);
        }
        std::size_t changed = 0;
        for (std::size_t i = 0; i < transaction.size(); ++i) {
            changed += ovsdb::countOf(result.results, i);
        }
        return needsRow && changed == 0 ? EResultCode::nothingThere : EResultCode::done;
    } catch (const ovsdb::ProtocolError&) {
        return EResultCode::protocolError;
    }
}

// --- transactions ---

EResultCode ConfigClient::startTransaction() const {
    if (readOnly_) {
        return EResultCode::refused;
    }
    if (transactionActive_) {
        return EResultCode::invalidTransaction;
    }
    transactionActive_ = true;
    return EResultCode::done;
}

EResultCode ConfigClient::commitTransaction() const {
    if (!transactionActive_) {
        return EResultCode::invalidTransaction;
    }
    const EResultCode code = collected_.empty() ? EResultCode(EResultCode::done) : send(collected_, false);
    if (code == EResultCode::done) {
        rollbackTransaction();
    }
    return code;
}

EResultCode ConfigClient::rollbackTransaction() const {
    if (!transactionActive_) {
        return EResultCode::invalidTransaction;
    }
    collected_ = {};
    transactionActive_ = false;
    return EResultCode::done;
}

} // namespace zel::cfg
