// Compares what is configured with what should be.
#pragma once

#include "pacerctl/applied.h"

#include <string>
#include <vector>

namespace pacerctl {

struct Difference {
    enum class Kind { missing, extra, different };
    Kind kind = Kind::missing;
    std::string object; // "queue ppp0_q4 on ppp0, egress"
    std::string detail; // of a different one: "length is 32, should be 64"
};

const char* nameOf(Difference::Kind kind);

// Counters are not compared. Addresses are compared by what they match, "10.0.0.1" and "10.0.0.1/32" alike;
// rules of one interface also by their order.
std::vector<Difference> compare(const Applied& wanted, const Applied& actual);

} // namespace pacerctl
