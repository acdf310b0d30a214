// cfgctl's import of a TR-181 data model.
#include "import/tr181.h"
#include "importing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::import(importers::fromTr181, data, size);
    return 0;
}
