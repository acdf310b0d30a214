// A directory with the example gateways, down as they are and up, and FAPI tools that say what such a gateway
// has.
#pragma once

#include "fakepath.h"

#include <string>

namespace pacerctl::test {

// The working directory while it lives: EXAMPLE.json, EXAMPLE-up.json (every service with an interface is
// up).
class GoldenGateways {
  public:
    GoldenGateways();
    GoldenGateways(const GoldenGateways&) = delete;
    GoldenGateways& operator=(const GoldenGateways&) = delete;
    ~GoldenGateways();

    // From now on the tools answer what the real ones said with that example applied; empty: nothing is
    // configured.
    void apply(const std::string& example) const;
    // In what a tool answers.
    void replace(const std::string& tool, const std::string& from, const std::string& to) const;

  private:
    FakePath tools_;
    std::string oldDirectory_;
};

} // namespace pacerctl::test
