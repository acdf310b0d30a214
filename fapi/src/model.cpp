#include "model.h"

#include "rule.h"

#include <algorithm>

namespace fapi {

State::State() = default;
State::State(const State&) = default;
State& State::operator=(const State&) = default;
State::~State() = default;

bool State::empty() const {
    return ifMaps.empty() && shapers.empty() && queues.empty() &&
           std::none_of(rules.begin(), rules.end(), [](const Rule& rule) { return rule.used != 0; });
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
