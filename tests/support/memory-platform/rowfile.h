// The database of a stand-alone daemon: a text file, one row a line.
#pragma once

#include "memoryclient.h"

#include <istream>

namespace zel::memory {

// A line is a table's name and its COLUMN=VALUE pairs, separated by blanks:
//
//   QoSQueues Enable=1 Name="voip" InterfaceName="ProviderVoIP" TrafficClasses="5,6" Precedence=3
//
// A value in double quotes is a text (\" and \\ stand for themselves), any other must be an integer. A row
// without "Id" gets its place in the table, counted from 1. A table's name alone makes a table without rows.
// Empty lines and lines that begin with # are skipped. Throws std::runtime_error that names the line.
Tables readRows(std::istream& input);

} // namespace zel::memory
