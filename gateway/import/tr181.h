// Brings the QoS of a TR-181 (Device:2) configuration over. docs/import.md has the mapping, field by field.
#pragma once

#include "import/imported.h"
#include "import/interfaces.h"

#include <string>

namespace importers {

// `fileName` is for the messages. Throws ImportError.
Imported fromTr181(const std::string& fileName, const std::string& text, const Interfaces& interfaces);

} // namespace importers
