// A classifier rule as it is stored: a record of fixed size, so that adding one rule to a thousand writes one
// record.
#pragma once

#include "../bpf/match.h"
#include "interface.h"

#include <array>
#include <cstring>
#include <string>
#include <type_traits>

namespace fapi {

constexpr uint8_t highestDscp = 63;
constexpr uint8_t highestPcp = 7;

struct Rule {
    uint32_t used;     // 0: a free record
    uint32_t sequence; // rules are tried in this order, which is that of their adding
    std::array<char, 64> name;
    std::array<char, 16> inName;
    int32_t inIndex;
    std::array<char, 16> outName; // empty for any leaving interface
    int32_t outIndex;
    uint32_t downstream; // said with --mark_ing; no difference to the kernel
    fapi_rule match;     // `next` is not stored
    std::array<char, 44> reserved;

    Interface in() const { return {inName.data(), inIndex}; }
    Interface out() const { return {outName.data(), outIndex}; }
    bool hasOut() const { return outIndex != 0; }
    bool operator==(const Rule& other) const { return memcmp(this, &other, sizeof other) == 0; }
};
static_assert(std::is_trivially_copyable_v<Rule> && sizeof(Rule) == 256);

} // namespace fapi
