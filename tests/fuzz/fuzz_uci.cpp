// cfgctl's import of OpenWrt's qos-scripts.
#include "import/uci.h"
#include "importing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::import(importers::fromUci, data, size);
    return 0;
}
