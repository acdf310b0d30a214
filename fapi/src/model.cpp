#include "model.h"

namespace fapi {

bool State::empty() const {
    return ifMaps.empty() && shapers.empty() && queues.empty() && rules.empty();
}

std::string nameOf(Direction direction) {
    return direction == Direction::egress ? "egress" : "ingress";
}

Interface portOf(const State& state, const Interface& owner) {
    for (const IfMap& map : state.ifMaps) {
        if (map.upper == owner) {
            return map.base;
        }
    }
    return owner;
}

} // namespace fapi
