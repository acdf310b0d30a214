// Column values: between the wire's notation (RFC 7047, section 5.1) and basalt::Value.
#pragma once

#include "ovsdb/schema.h"

#include <basalt/value.h>

#include <optional>
#include <string>

namespace ovsdb {

// An integer becomes an integer and a text a text; a boolean becomes 0 or 1, a real its text. The empty set
// gives nothing, a set of one element that element. Larger sets, maps and uuids become their JSON text.
// Throws ProtocolError on what is no value at all.
std::optional<basalt::Value> toValue(const Json& datum);

// The other way, by the column's type. Nothing if the value does not fit it: "abc" in an integer column, an
// empty Value where one is required, a text that cannot be sent. Ranges and enumerations are the server's to
// check.
std::optional<Json> toDatum(const ColumnType& type, const basalt::Value& value);

// What an optional column holds when it holds nothing.
Json emptySet();

} // namespace ovsdb
