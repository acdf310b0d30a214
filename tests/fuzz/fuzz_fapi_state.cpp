// The FAPI tools' state file: whatever stands in it is refused, or reads the same after it was written again,
// and gives every port a tree that the tools can plan.
#include "failure.h"
#include "input.h"
#include "port.h"
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
    for (const fapi::PortPlan& plan : fapi::plansOf(state)) {
        constexpr std::uint32_t mtu = 1500;
        fuzz::require(fapi::treeOf(plan, mtu).leaves.size() == plan.queues.size() + 2, "each queue is a leaf",
                      written);
    }
    return 0;
}
