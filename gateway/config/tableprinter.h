// Rows as aligned columns.
#pragma once

#include "ovsdb/json.h"
#include "ovsdb/schema.h"

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace gateway {

inline constexpr std::size_t unlimitedWidth = std::numeric_limits<std::size_t>::max();

// A heading, column names broken at their capitals, and the rows. Numbers stand to the right. If a line would
// be wider than `width`, columns that are 0 or empty in every row are left out and named below; if that is
// not enough, the table is cut into several, each beginning with the first column. Control characters are
// written as JSON writes them.
std::string printTable(const std::string& name, const ovsdb::TableSchema& table,
                       const std::vector<ovsdb::Json>& rows, std::size_t width);

} // namespace gateway
