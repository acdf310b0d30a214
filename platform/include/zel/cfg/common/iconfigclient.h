// Reads and writes of the configuration database.
#pragma once

#include <basalt/protocol/resultcode.h>
#include <basalt/valuelist.h>

#include <string>
#include <vector>

namespace zel::cfg::common {

// Shapes: a table is named as in the database; `index` counts the table's rows from 0 in ascending "Id";
// a key is compared as text, whatever the column's type; an empty column selection means every column.
//
// Errors: each operation answers 0 when done, 1 to 3 when the same request may succeed later, 10 when the
// table, the row or the index does not exist, and another code when the request itself is wrong. A result
// parameter is changed only by an operation that answers 0.
//
// All reads inside one NotificationHandler::process() see the same snapshot of the database. Operations are
// const because clients are shared by const reference: they change the database, not the client.
class IConfigClient {
  public:
    using ResultCode = basalt::protocol::EResultCode;
    using ColumnNames = std::vector<std::string>;

    IConfigClient() = default;
    IConfigClient(const IConfigClient&) = delete;
    IConfigClient& operator=(const IConfigClient&) = delete;
    virtual ~IConfigClient() = default;

    virtual ResultCode updateKey(const std::string& table, const std::string& keyColumn,
                                 const std::string& keyValue, const basalt::ValueList& values) const = 0;
    virtual ResultCode updateRow(const std::string& table, unsigned index,
                                 const basalt::ValueList& values) const = 0;
    virtual ResultCode insertRow(const std::string& table, const basalt::ValueList& values) const = 0;
    virtual ResultCode deleteKey(const std::string& table, const std::string& keyColumn,
                                 const std::string& keyValue) const = 0;
    virtual ResultCode deleteAll(const std::string& table) const = 0;

    // The first row, in ascending "Id", whose key column has the key value.
    virtual ResultCode selectKey(const std::string& table, const std::string& keyColumn,
                                 const std::string& keyValue, const ColumnNames& columns,
                                 basalt::ValueList& row) const = 0;
    virtual ResultCode selectRow(const std::string& table, unsigned index, const ColumnNames& columns,
                                 basalt::ValueList& row) const = 0;
    virtual ResultCode size(const std::string& table, unsigned& count) const = 0;

    // Between start and commit the writes above are collected; commit sends them as one, all or nothing.
    virtual ResultCode startTransaction() const = 0;
    virtual ResultCode commitTransaction() const = 0;
    virtual ResultCode rollbackTransaction() const = 0;
    virtual bool isTransactionActive() const = 0;
};

} // namespace zel::cfg::common
