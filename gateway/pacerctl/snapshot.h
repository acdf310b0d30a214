// The seven tables at one moment, from the configuration server or from a file.
#pragma once

#include <basalt/valuelist.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace pacerctl {

using Rows = std::vector<basalt::ValueList>;

// There is nothing to work on: what() says why.
class NoDatabase : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A table or column that the daemon does not read.
struct UnknownName {
    std::string table;
    std::string column; // empty: the whole table
};

class Snapshot {
  public:
    // `source` is where the tables come from, for the reader.
    explicit Snapshot(std::string source = "") : source_(std::move(source)) {}

    const std::string& source() const { return source_; }

    // Keeps the rows in ascending "Id", those of one "Id" as they come.
    void setTable(const std::string& table, Rows rows);
    // No rows if there is no such table.
    const Rows& rows(const std::string& table) const;
    bool hasTable(const std::string& table) const { return tables_.count(table) != 0; }

    std::vector<UnknownName> unknownNames;

    // Takes out what the platform keeps from the daemon: rows whose words a shell or a tool would interpret.
    // Returns a sentence about each.
    std::vector<std::string> dropRefusedRows();

  private:
    std::string source_;
    std::map<std::string, Rows> tables_;
};

// `text` is {"Table": [{"Column": value, ...}, ...], ...}, as cfgctl writes and reads it. A column that a row
// leaves out has the database's own default: 0, the empty text, or nothing for an optional column. Ranges are
// not checked: showing what is wrong is what this program is for. Throws NoDatabase.
Snapshot parseSnapshot(const std::string& fileName, const std::string& text);

// Throws NoDatabase.
Snapshot readSnapshotFile(const std::string& fileName);

// Asks the server for its database "Gateway". Throws NoDatabase, at the latest after a few seconds.
Snapshot fetchSnapshot(const std::string& socketPath);

} // namespace pacerctl
