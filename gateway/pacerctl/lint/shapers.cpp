// Traps in the shapers.
#include "config/tables.h"
#include "pacerctl/lint/lint.h"

#include <zel/vastr.h>

#include <algorithm>

namespace pacerctl {

namespace {

namespace shaper = zel::pacerd::dbm::qosShaper;

constexpr long long highestRate = 100'000'000; // kbit/s, what the FAPI tool takes

void wrongInterface(const LintInput& input, Findings& findings) {
    const Node* port = input.gateway.wanPort();
    for (const Shaper& row : input.gateway.shapers) {
        if (row.enable != 0 && port != nullptr && row.interface != port->interface) {
            findings.add(rowOf(row), shaper::colIfName,
                         row.interface + " is not the WAN port (" + port->interface +
                             "): the shaper is not applied",
                         "Name the root of the stacks, not an interface on top of it.");
        }
    }
}

void shapesNoDirection(const LintInput& input, Findings& findings) {
    for (const Shaper& row : input.gateway.shapers) {
        if (row.enable == 1 && row.egress != 1 && row.ingress != 1) {
            findings.add(rowOf(row), shaper::colEgress,
                         "neither ShapeEgress nor ShapeIngress is 1: nothing is shaped",
                         "Say in which direction to shape, or disable the row.");
        }
    }
}

void badRate(const LintInput& input, Findings& findings) {
    for (const Shaper& row : input.gateway.shapers) {
        if (row.enable == 1 && (row.rate < 1 || row.rate > highestRate)) {
            findings.add(
                rowOf(row), shaper::colRate,
                "the rate " + std::to_string(row.rate) +
                    " is not within 1 to 100000000 kbit/s: the tool refuses the command, and the daemon "
                    "ends",
                "Give the rate in kbit/s.");
        }
    }
}

// The tool keeps one rate for each port and direction.
void replaced(const LintInput& input, Findings& findings) {
    const auto& rows = input.gateway.shapers;
    const auto collide = [](const Shaper& first, const Shaper& second) {
        return first.enable == 1 && second.enable == 1 && first.interface == second.interface &&
               ((first.egress == 1 && second.egress == 1) || (first.ingress == 1 && second.ingress == 1));
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = i + 1; j < rows.size(); ++j) {
            if (collide(rows[i], rows[j])) {
                findings.add(rowOf(rows[i]), shaper::colRate,
                             "the row Id " + std::to_string(rows[j].id) + " shapes " + rows[i].interface +
                                 " in the same direction and replaces this rate of " +
                                 std::to_string(rows[i].rate) + " kbit/s by " + std::to_string(rows[j].rate) +
                                 ": rates do not add up",
                             "Keep one row for each direction of the port.");
                break;
            }
        }
    }
}

void portNotShaped(const LintInput& input, Findings& findings) {
    const auto isShaped = [&](const BuiltQueue& queue) {
        return std::any_of(input.gateway.shapers.begin(), input.gateway.shapers.end(),
                           [&](const Shaper& row) {
                               return row.enable == 1 && row.interface == queue.port &&
                                      (queue.ingress ? row.ingress : row.egress) == 1;
                           });
    };
    const Node* port = input.gateway.wanPort();
    for (const bool ingress : {false, true}) {
        const auto queue =
            std::find_if(input.built.queues.begin(), input.built.queues.end(), [&](const BuiltQueue& each) {
                return port != nullptr && each.port == port->interface && each.ingress == ingress;
            });
        if (queue != input.built.queues.end() && !isShaped(*queue)) {
            const char* direction = ingress ? "ingress" : "egress";
            findings.add(
                {shaper::tblName, 0, ""}, ingress ? shaper::colIngress : shaper::colEgress,
                VAStr("%s has %s queues, but no %s shaper: packets wait where these queues cannot sort them",
                      port->interface.c_str(), direction, direction),
                "Shape the port a little below what the line carries.");
        }
    }
}

constexpr LintCheck checksOfShapers[] = {
    {"shaper-not-on-port", Severity::warning, "A shaper is not on the WAN port", wrongInterface},
    {"shaper-no-direction", Severity::warning, "A shaper shapes no direction", shapesNoDirection},
    {"shaper-rate", Severity::error, "A shaper has no usable rate", badRate},
    {"shaper-replaced", Severity::warning, "Two shapers limit one port in one direction", replaced},
    {"port-not-shaped", Severity::warning, "The WAN port has queues, but no shaper", portNotShaped},
};

} // namespace

std::span<const LintCheck> shaperChecks() {
    return checksOfShapers;
}

} // namespace pacerctl
