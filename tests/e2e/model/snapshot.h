// The database as the model sees it.
#pragma once

#include "database.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace e2e::model {

// A column without a value is not in the row.
using Cell = std::variant<long long, std::string>;

class Row {
  public:
    bool has(const std::string& column) const { return cells.count(column) > 0; }
    long long number(const std::string& column) const; // a text by its leading number, else 0
    std::string text(const std::string& column) const; // a number in decimal
    bool empty() const { return cells.empty(); }

    std::map<std::string, Cell> cells;
};

struct Table {
    std::set<std::string> columns;
    std::vector<Row> rows; // in ascending "Id"
};

class Snapshot {
  public:
    // Configuration and schema as the database knows them.
    Snapshot(const Json& configuration, const Json& schema);

    const Table* find(const std::string& name) const;

  private:
    std::map<std::string, Table> tables_;
};

// The transaction that leads from one configuration to another, and the tables that it changes.
struct Difference {
    Json operations = Json::array();
    std::set<std::string> tables;
};
Difference difference(const Json& before, const Json& after);

} // namespace e2e::model
