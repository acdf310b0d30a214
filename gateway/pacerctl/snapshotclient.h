// Lets the daemon's classes read a snapshot.
#pragma once

#include "pacerctl/snapshot.h"

#include <zel/cfg/common/iconfigclient.h>

namespace pacerctl {

// Reads only; every write is refused. The snapshot must outlive the client.
class SnapshotClient final : public zel::cfg::common::IConfigClient {
  public:
    explicit SnapshotClient(const Snapshot& snapshot) : snapshot_(snapshot) {}

    ResultCode selectKey(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                         const ColumnNames& columns, basalt::ValueList& row) const override;
    ResultCode selectRow(const std::string& table, unsigned index, const ColumnNames& columns,
                         basalt::ValueList& row) const override;
    ResultCode size(const std::string& table, unsigned& count) const override;

    ResultCode updateKey(const std::string&, const std::string&, const std::string&,
                         const basalt::ValueList&) const override {
        return ResultCode::refused;
    }
    ResultCode updateRow(const std::string&, unsigned, const basalt::ValueList&) const override {
        return ResultCode::refused;
    }
    ResultCode insertRow(const std::string&, const basalt::ValueList&) const override {
        return ResultCode::refused;
    }
    ResultCode deleteKey(const std::string&, const std::string&, const std::string&) const override {
        return ResultCode::refused;
    }
    ResultCode deleteAll(const std::string&) const override { return ResultCode::refused; }
    ResultCode startTransaction() const override { return ResultCode::refused; }
    ResultCode commitTransaction() const override { return ResultCode::refused; }
    ResultCode rollbackTransaction() const override { return ResultCode::refused; }
    bool isTransactionActive() const override { return false; }

  private:
    const Snapshot& snapshot_;
};

} // namespace pacerctl
