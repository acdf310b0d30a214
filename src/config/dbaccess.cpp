#include "config/dbaccess.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <unistd.h>

namespace zel::pacerd {

namespace {

constexpr const char* source = "dbaccess.cpp";

enum Operation : unsigned {
    opUpdateKey = 1,
    opUpdateRow = 2,
    opInsertRow = 3,
    opDeleteKey = 4,
    opDeleteAll = 5,
    opDeleteAllAgain = 6, // deliberately the same client operation as 5
    opSelectKey = 7,
    opSelectRow = 8,
    opSize = 9,
    opStartTransaction = 10,
    opCommitTransaction = 11,
};

constexpr const char* sizeEntry = "size"; // the one entry of the list that opSize answers with

} // namespace

dbAccess::dbAccess(int handle, const cfg::common::IConfigClient& configClient)
    : moduleHandle(handle), client(configClient), externalTransaction(configClient.isTransactionActive()) {}

dbAccess::~dbAccess() {
    if (internalTransaction) {
        ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__,
                                "found active transaction, roll back cause anything may went wrong");
        client.rollbackTransaction();
        internalTransaction = false;
    }
}

bool dbAccess::updateKey(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                         basalt::ValueList values) const {
    return cfgClientOperation(opUpdateKey, table, 0, keyColumn, keyValue, values);
}

bool dbAccess::updateRow(const std::string& table, unsigned index, basalt::ValueList values) const {
    return cfgClientOperation(opUpdateRow, table, index, "", "", values);
}

bool dbAccess::insertRow(const std::string& table, basalt::ValueList values) const {
    return cfgClientOperation(opInsertRow, table, 0, "", "", values);
}

bool dbAccess::deleteKey(const std::string& table, const std::string& keyColumn,
                         const std::string& keyValue) const {
    basalt::ValueList none;
    return cfgClientOperation(opDeleteKey, table, 0, keyColumn, keyValue, none);
}

bool dbAccess::deleteAll(const std::string& table) const {
    basalt::ValueList none;
    return cfgClientOperation(opDeleteAll, table, 0, "", "", none);
}

bool dbAccess::selectRow(const std::string& table, unsigned index, basalt::ValueList& row) const {
    return cfgClientOperation(opSelectRow, table, index, "", "", row);
}

bool dbAccess::selectKey(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                         basalt::ValueList& row, bool mustExist) const {
    if (!cfgClientOperation(opSelectKey, table, 0, keyColumn, keyValue, row)) {
        return false;
    }
    if (mustExist && !row.hasValue("Id")) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("selectkey return with empty value on request: table '%s', '%s'=='%s'",
                                      table.c_str(), keyColumn.c_str(), keyValue.c_str()));
        return false;
    }
    return true;
}

bool dbAccess::size(const std::string& table, unsigned& count) const {
    basalt::ValueList values;
    if (!cfgClientOperation(opSize, table, 0, "", "", values)) {
        return false;
    }
    count = static_cast<unsigned>(values.getValue(sizeEntry).getInteger());
    return true;
}

bool dbAccess::startTransaction() {
    if (externalTransaction) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                "external transaction in progress, skip start");
        return false;
    }
    if (internalTransaction) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                "internal transaction already started, skip start");
        return false;
    }
    basalt::ValueList none;
    if (!cfgClientOperation(opStartTransaction, "", 0, "", "", none)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "failed starting transaction!");
        return false;
    }
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__, "transaction started successfully!");
    internalTransaction = true;
    return true;
}

bool dbAccess::commitTransaction() {
    if (externalTransaction) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                "external transaction in progress, skip commit");
        return false;
    }
    if (!internalTransaction) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                "internal transaction not in progress, skip commit");
        return false;
    }
    basalt::ValueList none;
    if (!cfgClientOperation(opCommitTransaction, "", 0, "", "", none)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "failed committing transaction!");
        return false;
    }
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__, "transaction committed successfully");
    internalTransaction = false;
    return true;
}

bool dbAccess::rollbackTransaction() {
    if (!internalTransaction) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                "skip roll back transaction, transaction not started");
        return false;
    }
    internalTransaction = false;
    return client.rollbackTransaction() == ResultCode::done;
}

bool dbAccess::cfgClientOperation(unsigned op, const std::string& table, unsigned offset,
                                  const std::string& keyColumn, const std::string& keyValue,
                                  basalt::ValueList& values) const {
    if (op < opUpdateKey || op > opCommitTransaction) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("unknown operation '%d'", static_cast<int>(op)));
        return false;
    }
    for (std::uint32_t attempt = 0; attempt < maxRetries;) {
        const ResultCode result = callClient(op, table, offset, keyColumn, keyValue, values);
        if (result == ResultCode::done) {
            return true;
        }
        // That no row matches is an answer to the operations with a key.
        if (result == ResultCode::nothingThere && op == opUpdateKey) {
            ZEL_Sysloglevel_tracedo(
                moduleHandle, source, __LINE__,
                VAStr("updatekey on table '%s', key '%s', value '%s' failed with reason '%s'", table.c_str(),
                      keyColumn.c_str(), keyValue.c_str(), result.strerror()));
            return false;
        }
        if (result == ResultCode::nothingThere && op == opDeleteKey) {
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                    VAStr("no row to delete  @table '%s' with key '%s' = '%s'", table.c_str(),
                                          keyColumn.c_str(), keyValue.c_str()));
            return true;
        }
        if (result == ResultCode::nothingThere && op == opSelectKey) {
            ZEL_Sysloglevel_tracedo(
                moduleHandle, source, __LINE__,
                VAStr("selectkey on table '%s', key '%s', value '%s' failed with reason '%s'", table.c_str(),
                      keyColumn.c_str(), keyValue.c_str(), result.strerror()));
            values.clear();
            return true;
        }

        ++attempt;
        ZEL_Sysloglevel_warning(
            moduleHandle, source, __LINE__,
            VAStr("DB access failed @table '%s', operation: '%d' (fail reason: %s), retry (%d)",
                  table.c_str(), static_cast<int>(op), result.strerror(), static_cast<int>(attempt)));
        if (!result.isTransient()) {
            // Deliberately without the quotes around the operation that the warning has.
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("DB access failed @table '%s', operation: %d (fail reason: %s), retry (%d)",
                      table.c_str(), static_cast<int>(op), result.strerror(), static_cast<int>(attempt)));
            return false;
        }
        // The pause follows the last attempt too.
        usleep(retryDelayUs);
    }
    return false;
}

dbAccess::ResultCode dbAccess::callClient(unsigned op, const std::string& table, unsigned offset,
                                          const std::string& keyColumn, const std::string& keyValue,
                                          basalt::ValueList& values) const {
    switch (op) {
    case opUpdateKey:
        return client.updateKey(table, keyColumn, keyValue, values);
    case opUpdateRow:
        return client.updateRow(table, offset, values);
    case opInsertRow:
        return client.insertRow(table, values);
    case opDeleteKey:
        return client.deleteKey(table, keyColumn, keyValue);
    case opDeleteAll:
    case opDeleteAllAgain:
        return client.deleteAll(table);
    case opSelectKey:
        return client.selectKey(table, keyColumn, keyValue, {}, values);
    case opSelectRow:
        return client.selectRow(table, offset, {}, values);
    case opSize: {
        unsigned count = 0;
        const ResultCode result = client.size(table, count);
        if (result == ResultCode::done) {
            values.clear();
            values.setValue(sizeEntry, basalt::Value(static_cast<long long>(count)));
        }
        return result;
    }
    case opStartTransaction:
        return client.startTransaction();
    default:
        return client.commitTransaction();
    }
}

} // namespace zel::pacerd
