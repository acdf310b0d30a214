// A gateway's configuration as a file: {"Table": [{"Column": value, ...}, ...], ...}
#pragma once

#include "ovsdb/json.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

using ovsdb::Json;

// Column names and values, in the file's order, each name once. null in the file is the empty set here.
using FileRow = std::vector<std::pair<std::string, Json>>;

struct FileTable {
    std::string name;
    std::vector<FileRow> rows;
};

using GatewayFile = std::vector<FileTable>;

// what() begins with the file's name and says where in it something is wrong.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Takes `text` apart. `fileName` is for the messages. Throws FileError if it is no JSON, not of the form
// above, or names something twice. Whether such tables and columns exist is not looked at.
GatewayFile parseGatewayFile(const std::string& fileName, const std::string& text);

// The other way. A table's rows stand one in a line; equal content gives equal bytes.
std::string writeGatewayFile(const GatewayFile& file);

} // namespace gateway
