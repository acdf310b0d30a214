#include "rulefile.h"

#include "failure.h"
#include "values.h"

#include <algorithm>

namespace fapi {

namespace {

// Text without an end is longer than any name.
template <size_t size>
bool holds(const std::array<char, size>& text, bool (*isGood)(std::string_view)) {
    const auto end = std::find(text.begin(), text.end(), '\0');
    return isGood({text.data(), static_cast<size_t>(end - text.begin())});
}

bool isNone(std::string_view text) {
    return text.empty();
}

bool isWithin(uint8_t value, uint8_t highest) {
    return value <= highest || value == FAPI_NONE;
}

// Nothing in it would lead the tools, the kernel or its programs astray.
bool isWhole(const fapi_rule& match) {
    return (match.family == 0 || match.family == 4 || match.family == 6) &&
           (match.protocol == 6 || match.protocol == 17 || match.protocol == 2) &&
           isWithin(match.dscp, highestDscp) && isWithin(match.new_dscp, highestDscp) &&
           isWithin(match.new_pcp, highestPcp) && match.out <= FAPI_OUTS;
}

bool isWhole(const Rule& rule) {
    return rule.used == 0 ||
           (rule.used == 1 && holds(rule.name, isName) && holds(rule.inName, isInterfaceName) &&
            rule.inIndex > 0 && rule.outIndex >= 0 && rule.hasOut() == (rule.match.out != 0) &&
            holds(rule.outName, rule.hasOut() ? isInterfaceName : isNone) && isWhole(rule.match));
}

} // namespace

RuleTable parseRules(std::string_view bytes) {
    if (bytes.size() > largestRulesFile) {
        throw Failure("more than " + std::to_string(FAPI_RULES - 1) + " rules");
    }
    if (bytes.size() % sizeof(Rule) != 0) {
        throw Failure("the last rule is cut off");
    }
    const size_t count = bytes.size() / sizeof(Rule);
    const auto rules = std::make_shared_for_overwrite<Rule[]>(count);
    if (count != 0) {
        memcpy(rules.get(), bytes.data(), bytes.size());
    }
    const Rule* broken =
        std::find_if_not(rules.get(), rules.get() + count, [](const Rule& rule) { return isWhole(rule); });
    if (broken != rules.get() + count) {
        throw Failure("rule " + std::to_string(broken - rules.get() + 1) + " is damaged");
    }
    return {rules, static_cast<uint32_t>(count)};
}

} // namespace fapi
