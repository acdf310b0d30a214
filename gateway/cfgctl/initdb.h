// Makes a database file.
#pragma once

#include <string>

namespace cfgctl {

// The schema that came with this program, beside its folder or in its build tree. Throws Failure if it is not
// there.
std::string ownSchemaFile();

// Throws Failure if the file exists already, the schema is not one of a configuration database, or the file
// cannot be made. The reasons of ovsdb-tool, which does it, go to standard error.
void createDatabase(const std::string& databaseFile, const std::string& schemaFile);

} // namespace cfgctl
