// The in-memory database with a test's hand in it: answers that fail, and a record of what was asked.
#pragma once

#include "rows.h"

#include <memoryclient.h>

#include <list>
#include <string>
#include <vector>

namespace zel::pacerd::test {

enum class Operation {
    updateKey,
    updateRow,
    insertRow,
    deleteKey,
    deleteAll,
    selectKey,
    selectRow,
    size,
    startTransaction,
    commitTransaction,
    rollbackTransaction,
    isTransactionActive,
};

// The daemon's seven tables exist from the start, without rows.
class ScriptedClient final : public memory::MemoryClient {
  public:
    ScriptedClient();

    // A row without "Id" gets the next one of its table.
    void add(const Row& row);
    void clear(const std::string& table);
    void dropTable(const std::string& table);
    // Sets a column of the row whose key column has the key value; the row must exist.
    void change(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                const std::string& column, const basalt::Value& value);

    // Answers `code` to the next `times` calls of that operation on that table that come after `skip` others.
    // Scripts of the same operation and table are used up one after the other.
    void answer(ResultCode code, Operation operation, const std::string& table, unsigned times = 1,
                unsigned skip = 0);

    // Every call as the operation's name and its arguments, such as "selectKey QoSQueues Name=voip
    // columns:all".
    const std::vector<std::string>& calls() const { return calls_; }
    std::size_t callsOf(Operation operation, const std::string& table) const;
    void forgetCalls() { calls_.clear(); }

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
    bool isTransactionActive() const override;

  private:
    struct Script {
        ResultCode code;
        Operation operation;
        std::string table;
        unsigned times;
        unsigned skip;
    };

    // Records the call; the scripted result, or done if the call is to go through.
    ResultCode called(Operation operation, const std::string& table, const std::string& arguments) const;

    mutable std::list<Script> scripts_;
    mutable std::vector<std::string> calls_;
};

} // namespace zel::pacerd::test
