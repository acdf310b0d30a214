// The FAPI tools' state file: whatever stands in it is refused, or reads the same after it was written again.
#include "failure.h"
#include "input.h"
#include "store.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    fapi::State state;
    try {
        state = fapi::parseState(text);
    } catch (const fapi::Failure&) {
        return 0;
    }
    const std::string written = fapi::formatState(state);
    fuzz::require(fapi::formatState(fapi::parseState(written)) == written,
                  "what is written reads as the same", written);
    return 0;
}
