// What a column may hold, as its schema says.
#pragma once

#include "ovsdb/schema.h"

#include <optional>
#include <string>

namespace gateway {

using ovsdb::Json;

// "an integer from 0 to 63", `one of "DT", "RED", or nothing`. Also the wording of docs/database.md.
std::string allowedText(const ovsdb::ColumnType& type);

// What a new row holds in a column that it does not name, in the database's notation. Nothing if the row must
// name the column: because the database's own default (0 or the empty text) is not allowed there, or because
// the column is "Enable", where 0 would switch off a row that nobody meant to switch off.
std::optional<Json> defaultDatum(const std::string& column, const ovsdb::ColumnType& type);

// Why `value` cannot stand in the column, `"sp" is not allowed`; empty if it can. Sets and maps are taken in
// the database's notation and left to the database to judge.
std::string whyNotAllowed(const ovsdb::ColumnType& type, const Json& value);

// The value that a text on the command line stands for; the empty text empties an optional column. Nothing if
// the text is none of the column's type. Ranges are not looked at.
std::optional<Json> fromText(const ovsdb::ColumnType& type, const std::string& text);

// A value from the database as text; the empty set is the empty text.
std::string toText(const Json& datum);

bool isEmptySet(const Json& datum);

bool isUtf8(const std::string& text);

// The database's empty set: an optional column without a value.
Json emptySet();

} // namespace gateway
