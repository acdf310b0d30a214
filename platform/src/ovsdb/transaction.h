// Builds the operations of one transact request (RFC 7047, section 5.2) and reads the answer.
#pragma once

#include "ovsdb/json.h"

#include <string>
#include <vector>

namespace ovsdb {

// [column, function, value]
Json condition(const std::string& column, const char* function, Json value);
// Matches the one row with that identity.
Json isRow(const std::string& uuid);

class Transaction {
  public:
    // A remark that the server keeps in the database's log.
    void comment(const std::string& text);

    // `where` is a list of conditions that must all hold; an empty one matches every row.
    void insert(const std::string& table, Json row);
    void update(const std::string& table, Json where, Json row);
    void remove(const std::string& table, Json where);
    void select(const std::string& table, Json where);
    // Fails the whole transaction, with the error "timed out", if no row matches.
    void requireRow(const std::string& table, Json where);

    // Number of operations, and so of the next one's answer in the reply.
    std::size_t size() const { return operations_.size(); }
    bool empty() const { return operations_.empty(); }
    const std::vector<Json>& operations() const { return operations_; }

  private:
    std::vector<Json> operations_;
};

// What the server says about a transaction.
struct TransactError {
    std::string error; // RFC 7047's word: "constraint violation", "timed out", ...; empty: none, all is done
    std::string details;       // the server's explanation
    std::size_t operation = 0; // of the failed one; the number of operations if only the commit failed
};

// `results` is a reply's "result". Throws ProtocolError if it is none.
TransactError findError(const Json& results);

// Rows that operation number `operation` updated or removed.
std::size_t countOf(const Json& results, std::size_t operation);

} // namespace ovsdb
