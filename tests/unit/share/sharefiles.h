// The files that the tests of this folder are about.
#pragma once

#include "config/gatewayfile.h"
#include "ovsdb/schema.h"

#include <string>
#include <vector>

namespace gateway::test {

std::string schemaFile();
ovsdb::DatabaseSchema schema();

std::string readSourceFile(const std::string& path);

// Names without ".json".
std::vector<std::string> exampleNames();
std::string exampleText(const std::string& name);
GatewayFile example(const std::string& name);

} // namespace gateway::test
