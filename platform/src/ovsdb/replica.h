// A copy of some of a database's tables.
#pragma once

#include "ovsdb/schema.h"

#include <basalt/valuelist.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ovsdb {

// A row's identity: 36 characters, as in the database.
class Uuid {
  public:
    // Throws ProtocolError.
    explicit Uuid(std::string_view text);
    std::string text() const { return {characters_.data(), characters_.size()}; }
    bool operator==(const Uuid&) const = default;
    bool operator<(const Uuid& other) const { return characters_ < other.characters_; }

  private:
    std::array<char, 36> characters_ = {};
};

struct Row {
    Uuid uuid;
    basalt::ValueList values;
};

// One row that came, went or changed. A side that did not exist is empty.
struct RowChange {
    std::string table;
    std::string uuid;
    basalt::ValueList before;
    basalt::ValueList after;
};

// Decides whether a row of the database is let into the replica. A row that is not let in does not exist for
// any reader. Every row passes here with each connection, each time it changes, and, as an empty row, when it
// goes.
using RowGuard =
    std::function<bool(const std::string& table, const std::string& uuid, const basalt::ValueList& row)>;

class ReplicaTable {
  public:
    explicit ReplicaTable(const TableSchema& schema);

    // In ascending "Id".
    const std::vector<Row>& rows() const { return rows_; }
    bool hasColumn(const std::string& column) const { return columns_.count(column) != 0; }

    // The first row whose column reads as `text`, nullptr if there is none. An absent column reads as "".
    const Row* findFirst(const std::string& column, const std::string& text) const;

  private:
    friend class Replica;

    // Row number by text; built when a column is first searched, dropped when the table changes.
    using Index = std::unordered_map<std::string, std::size_t>;

    // One row of an update; without values, the row is gone.
    struct Update {
        Uuid uuid;
        std::optional<basalt::ValueList> values;
        bool done = false;
    };

    void reserve(std::size_t more) { rows_.reserve(rows_.size() + more); }
    void apply(std::vector<Update>& updates, RowChange* changes);

    std::set<std::string> columns_;
    std::vector<Row> rows_;
    mutable std::map<std::string, Index> indexes_;
};

class Replica {
  public:
    // Holds those of `tables` that the schema has.
    Replica(const DatabaseSchema& schema, const std::vector<std::string>& tables);

    // nullptr if the database has no such table, or it was not asked for.
    const ReplicaTable* find(const std::string& table) const;

    // Takes in the answer to a monitor request or the content of an update notification (RFC 7047, sections
    // 4.1.5 and 4.1.6), all of it or, with a ProtocolError, nothing.
    std::vector<RowChange> apply(const Json& updates, const RowGuard& guard);

  private:
    std::map<std::string, ReplicaTable> tables_;
};

} // namespace ovsdb
