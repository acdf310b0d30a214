// Keeps rows out that would bring a command line something to interpret.
#pragma once

#include <basalt/valuelist.h>

#include <cstddef>
#include <map>
#include <string>
#include <utility>

namespace zel::cfg {

struct RowFault {
    const char* column = nullptr;
    std::string why; // "holds ';'"
};

// The first word of the row that must not stand there; without a column if there is none. Columns that the
// gateway's tables do not have reach nothing, and may hold anything.
RowFault findFault(const std::string& table, const basalt::ValueList& row);

// The guard of a session's replica, see ovsdb::RowGuard. Reports each row that it keeps out, once per change
// of that row: a new connection brings every row again.
class RowGate {
  public:
    explicit RowGate(int moduleHandle) : log_(moduleHandle) {}

    bool admits(const std::string& table, const std::string& uuid, const basalt::ValueList& row);

  private:
    using Key = std::pair<std::string, std::string>; // table, uuid

    int log_;
    std::map<Key, std::size_t> refused_; // the row's hash
};

} // namespace zel::cfg
