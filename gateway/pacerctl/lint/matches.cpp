// Traps in what rules match: criteria that the tool refuses, and rules that never get a packet.
#include "config/tables.h"
#include "pacerctl/lint/lint.h"
#include "pacerctl/match.h"

#include <optional>

namespace pacerctl {

namespace {

namespace rule = zel::pacerd::dbm::qosClassRule;

constexpr const char* refused = ": the classifier tool refuses the command, and the daemon ends";

bool matchesMore(const Rule& row) {
    return row.hasCommand() && row.tcpAck != 1;
}

void addresses(const LintInput& input, Findings& findings) {
    for (const BuiltRule& built : input.built.rules) {
        const Rule& row = *built.rule;
        for (const auto& [criterion, column] :
             {std::pair(&row.destination, rule::colDstIp), std::pair(&row.source, rule::colSrcIp)}) {
            if (matchesMore(row) && !criterion->empty() && !parsePrefix(criterion->text)) {
                findings.add(rowOf(row), column,
                             "'" + criterion->text + "' is no address and no prefix" + refused,
                             "Write an IPv4 or IPv6 address, with /LENGTH for a network.");
            }
        }
    }
}

void families(const LintInput& input, Findings& findings) {
    for (const BuiltRule& built : input.built.rules) {
        const auto destination = parsePrefix(built.rule->destination.text);
        const auto source = parsePrefix(built.rule->source.text);
        if (matchesMore(*built.rule) && destination && source &&
            destination->address.v6 != source->address.v6) {
            findings.add(rowOf(*built.rule), rule::colSrcIp,
                         "source and destination are of different IP versions: no packet matches both",
                         "Make one rule for IPv4 and another for IPv6.");
        }
    }
}

void ports(const LintInput& input, Findings& findings) {
    for (const BuiltRule& built : input.built.rules) {
        const Rule& row = *built.rule;
        for (const auto& [criterion, column] : {std::pair(&row.destinationPort, rule::colDstPort),
                                                std::pair(&row.sourcePort, rule::colSrcPort)}) {
            if (!matchesMore(row) || criterion->empty()) {
                continue;
            }
            if (row.protocol == "igmp") {
                findings.add(rowOf(row), column, std::string("igmp has no ports") + refused,
                             "Empty the port range.");
            } else if (!parsePorts(criterion->text)) {
                findings.add(rowOf(row), column, "'" + criterion->text + "' is no port range" + refused,
                             "Write a port from 0 to 65535, or two as FIRST:LAST.");
            }
        }
    }
}

bool sameKind(const Prefix& first, const Prefix& second) {
    return first.address.v6 == second.address.v6;
}

bool sameKind(const PortRange& /*first*/, const PortRange& /*second*/) {
    return true;
}

// Whether every value that the second criterion lets through is let through by the first one, too. An
// address, excluded or not, lets through packets of its own IP version only.
template <typename Range>
bool covers(const Criterion& first, const Criterion& second,
            std::optional<Range> (*parse)(const std::string&)) {
    if (first.empty()) {
        return true;
    }
    const auto outer = parse(first.text);
    const auto inner = parse(second.text);
    if (second.empty() || !outer || !inner || !sameKind(*outer, *inner)) {
        return false;
    }
    if (first.exclude == 1) {
        return second.exclude == 1 ? inner->contains(*outer) : !inner->overlaps(*outer);
    }
    return second.exclude != 1 && outer->contains(*inner);
}

bool coversMatch(const Rule& first, const Rule& second) {
    if (first.protocol != second.protocol) {
        return false;
    }
    if (first.tcpAck == 1) {
        return second.tcpAck == 1;
    }
    if (second.tcpAck == 1) { // its other criteria do not count
        return first.destination.empty() && first.source.empty() && first.destinationPort.empty() &&
               first.sourcePort.empty() && !first.dscp;
    }
    return covers(first.destination, second.destination, parsePrefix) &&
           covers(first.source, second.source, parsePrefix) &&
           covers(first.destinationPort, second.destinationPort, parsePorts) &&
           covers(first.sourcePort, second.sourcePort, parsePorts) &&
           (!first.dscp || first.dscp == second.dscp);
}

bool shadows(const BuiltRule& first, const BuiltRule& second) {
    return first.interface == second.interface && first.ingress == second.ingress &&
           first.rule->hasCommand() && second.rule->hasCommand() &&
           (first.leaving.empty() || first.leaving == second.leaving) &&
           coversMatch(*first.rule, *second.rule);
}

void shadowed(const LintInput& input, Findings& findings) {
    const auto& rules = input.built.rules;
    for (std::size_t i = 0; i < rules.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (rules[i].rule != rules[j].rule && shadows(rules[j], rules[i])) {
                findings.add(rowOf(*rules[i].rule), "",
                             "every packet that it matches is matched by '" + rules[j].rule->name + "' (Id " +
                                 std::to_string(rules[j].rule->id) + ") before it: it never gets one",
                             "Give it a smaller Id than the wider rule, or delete it.");
                break;
            }
        }
    }
}

constexpr LintCheck checksOfMatches[] = {
    {"rule-address", Severity::error, "A rule's address cannot be read", addresses},
    {"rule-ip-versions", Severity::error, "A rule mixes IPv4 and IPv6", families},
    {"rule-ports", Severity::error, "A rule's port range cannot be used", ports},
    {"rule-shadowed", Severity::warning, "A rule stands behind a wider one", shadowed},
};

} // namespace

std::span<const LintCheck> matchChecks() {
    return checksOfMatches;
}

} // namespace pacerctl
