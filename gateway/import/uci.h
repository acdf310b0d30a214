// Brings the file of OpenWrt's package qos-scripts (/etc/config/qos) over. docs/import.md has the mapping,
// option by option.
#pragma once

#include "import/imported.h"
#include "import/interfaces.h"

#include <string>

namespace importers {

// `fileName` is for the messages. Throws ImportError.
Imported fromUci(const std::string& fileName, const std::string& text, const Interfaces& interfaces);

} // namespace importers
