// Configurations that the tests start from.
#pragma once

#include "database.h"

#include <string>

namespace e2e {

std::string schemaFile();                     // the one that is shipped
Json exampleGateway(const std::string& name); // a shipped example: "dsl-tripleplay"

std::string manualPage(const std::string& name); // "pacerd_ng.8"

// The path of an input of the import tests.
std::string importFile(const std::string& name);

// A DSL line ptm0 with one stack ppp0, ptm0.7, ptm0, a home network br0 and lo. At least one object of each
// kind; eleven commands. The line is up, the internet is not.
Json smallGateway();

// What takes the WAN up and down: one row, so one notification.
Json internetUp();
Json internetDown();
inline constexpr int internetRow = 3;
inline constexpr const char* statusTable = "StatusNetifWatchLogical";

} // namespace e2e
