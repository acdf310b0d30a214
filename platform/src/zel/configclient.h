// The configuration client on an OVSDB session.
#pragma once

#include "ovsdb/session.h"

#include <zel/cfg/common/iconfigclient.h>

namespace zel::cfg {

class ConfigClient final : public common::IConfigClient {
  public:
    // `name` stands in the database's log beside what was changed.
    ConfigClient(ovsdb::Session& session, std::string name, bool readOnly);

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

    // A commit that fails leaves the transaction as it is, to be committed again or rolled back.
    ResultCode startTransaction() const override;
    ResultCode commitTransaction() const override;
    ResultCode rollbackTransaction() const override;
    bool isTransactionActive() const override { return transactionActive_; }

  private:
    // nullptr if it cannot be read, and then `code` says why.
    const ovsdb::ReplicaTable* findTable(const std::string& table, ResultCode& code) const;
    ResultCode beginWrite(const std::string& table) const;
    ResultCode toWireRow(const std::string& table, const basalt::ValueList& values, ovsdb::Json& row) const;
    ResultCode toConditions(const std::string& table, const std::string& column, const std::string& text,
                            std::vector<ovsdb::Json>& conditions) const;
    ResultCode updateWhere(const std::string& table, const std::vector<ovsdb::Json>& conditions,
                           const basalt::ValueList& values) const;
    ResultCode send(const ovsdb::Transaction& transaction, bool needsRow) const;

    ovsdb::Session& session_;
    std::string name_;
    bool readOnly_;
    // Collected here because clients are handed out as const; see IConfigClient.
    mutable bool transactionActive_ = false;
    mutable ovsdb::Transaction collected_;
};

} // namespace zel::cfg
