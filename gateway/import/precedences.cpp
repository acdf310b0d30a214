#include "import/precedences.h"

#include "import/qosrows.h"

#include <algorithm>
#include <cstddef>

namespace importers {

namespace {

bool canStay(const std::vector<WantedPrecedence>& wanted) {
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const long long precedence = wanted[i].precedence;
        const bool rises = i == 0 || wanted[i - 1].precedence < precedence;
        if (!rises || precedence < 1 || precedence > maxPrecedence ||
            (precedence == defaultQueue) != wanted[i].isDefault) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<std::vector<int>> assignPrecedences(const std::vector<WantedPrecedence>& wanted) {
    std::vector<int> precedences;
    if (canStay(wanted)) {
        for (const WantedPrecedence& one : wanted) {
            precedences.push_back(static_cast<int>(one.precedence));
        }
        return precedences;
    }
    const bool hasDefault =
        std::any_of(wanted.begin(), wanted.end(), [](const auto& one) { return one.isDefault; });
    int next = 1;
    for (const WantedPrecedence& one : wanted) {
        if (one.isDefault) {
            next = defaultQueue;
        } else if (next == defaultQueue) {
            if (hasDefault) {
                return std::nullopt;
            }
            ++next;
        }
        if (next > maxPrecedence) {
            return std::nullopt;
        }
        precedences.push_back(next++);
    }
    return precedences;
}

} // namespace importers
