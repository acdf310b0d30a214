// The configuration database as a map in memory.
#pragma once

#include <zel/cfg/common/iconfigclient.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace zel::memory {

// A table's rows stand in ascending "Id"; sortById() puts them so.
using Rows = std::vector<basalt::ValueList>;
using Tables = std::map<std::string, Rows>;

void sortById(Rows& rows);

// No schema stands behind it: a row holds whatever columns it was given, and selecting a column that a row
// does not have leaves that column out.
class MemoryClient : public cfg::common::IConfigClient {
  public:
    const Tables& tables() const { return tables_; }
    void setTables(Tables tables) { tables_ = std::move(tables); }

    ResultCode updateKey(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                         const basalt::ValueList& values) const override;
    ResultCode updateRow(const std::string& table, unsigned index,
                         const basalt::ValueList& values) const override;
    ResultCode insertRow(const std::string& table, const basalt::ValueList& values) const override;
    ResultCode deleteKey(const std::string& table, const std::string& keyColumn,
                         const std::string& keyValue) const override;
    ResultCode deleteAll(const std::string& table) const override;
    ResultCode selectKey(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                         const ColumnNames& columns, basalt::ValueList& row) const override;
    ResultCode selectRow(const std::string& table, unsigned index, const ColumnNames& columns,
                         basalt::ValueList& row) const override;
    ResultCode size(const std::string& table, unsigned& count) const override;
    ResultCode startTransaction() const override;
    ResultCode commitTransaction() const override;
    ResultCode rollbackTransaction() const override;
    bool isTransactionActive() const override { return active_; }

  private:
    using Write = std::function<ResultCode(Tables&)>;

    // At once, or at commit while a transaction is active.
    ResultCode write(Write change) const;

    // Clients are shared by const reference: writes change the database behind the client, not the client.
    mutable Tables tables_;
    mutable bool active_ = false;
    mutable std::vector<Write> collected_;
};

} // namespace zel::memory
