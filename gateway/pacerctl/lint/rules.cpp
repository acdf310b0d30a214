// Traps in single classification rules.
#include "config/tables.h"
#include "pacerctl/lint/lint.h"

#include <algorithm>
#include <cctype>

namespace pacerctl {

namespace {

namespace rule = zel::pacerd::dbm::qosClassRule;

constexpr const char* groupStays = ": its command is empty, which cannot be turned into a removal, and so no "
                                   "rule at all is removed when the WAN "
                                   "goes down";

bool isBuilt(const LintInput& input, const Rule& row) {
    return std::any_of(input.built.rules.begin(), input.built.rules.end(),
                       [&](const BuiltRule& built) { return built.rule == &row; });
}

bool knownProtocol(const Rule& row) {
    return row.protocol == "udp" || row.protocol == "tcp" || row.protocol == "igmp";
}

template <typename Check>
void forEachBuilt(const LintInput& input, Check check) {
    for (const Rule& row : input.gateway.rules) {
        if (isBuilt(input, row)) {
            check(row);
        }
    }
}

void disabled(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        if (row.enable == 0) {
            findings.add(rowOf(row), rule::colEn, std::string("the rule is disabled") + groupStays,
                         "Delete the rule instead of disabling it.");
        }
    });
}

void protocol(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        if (!knownProtocol(row)) {
            findings.add(rowOf(row), rule::colProto,
                         "'" + row.protocol + "' is no protocol that can be classified" + groupStays,
                         "Write udp, tcp or igmp, in small letters.");
        }
    });
}

void ackWithoutTcp(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        if (row.tcpAck == 1 && knownProtocol(row) && row.protocol != "tcp") {
            findings.add(rowOf(row), rule::colTcpAck,
                         "acknowledgements exist in tcp only, not in " + row.protocol + groupStays,
                         "Set Protocol to tcp, or TCPACK to 0.");
        }
    });
}

void ackWithMore(const LintInput& input, Findings& findings) {
    for (const Rule& row : input.gateway.rules) {
        const bool more = !row.destination.empty() || !row.source.empty() || !row.destinationPort.empty() ||
                          !row.sourcePort.empty() || row.dscp;
        if (row.tcpAck == 1 && row.protocol == "tcp" && more) {
            findings.add(
                rowOf(row), rule::colTcpAck,
                "an acknowledgement rule leaves all other criteria of its row aside: it matches every "
                "acknowledgement that comes in there",
                "Empty the addresses, ports and DSCP of the row, so that it says what it does.");
        }
    }
}

void dscpExclude(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        if (row.tcpAck != 1 && row.dscp && row.dscpExclude == 1) {
            findings.add(rowOf(row), rule::colDSCPExcl, std::string("a DSCP cannot be excluded") + groupStays,
                         "Set DSCPMatchExclude to 0, and match what is wanted instead.");
        }
    });
}

void dscpText(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        const bool readable = row.dscp || !row.hasDscp || !row.dscpIsText || row.dscpText == "-1";
        if (row.tcpAck != 1 && knownProtocol(row) && !readable) {
            findings.add(rowOf(row), rule::colDSCP,
                         "'" + row.dscpText + "' is no number: the WAN coming up ends the daemon",
                         "Write a number from 0 to 63, -1 for any, or leave the column out.");
        }
    });
}

void dscpRange(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        if (row.hasCommand() && row.tcpAck != 1 && row.dscp && (*row.dscp < 0 || *row.dscp > 63)) {
            findings.add(rowOf(row), rule::colDSCP,
                         std::to_string(*row.dscp) +
                             " is no DSCP: the classifier tool refuses the command, and the daemon ends",
                         "Write a number from 0 to 63, or -1 for any.");
        }
    });
}

void noAction(const LintInput& input, Findings& findings) {
    forEachBuilt(input, [&](const Rule& row) {
        if (input.gateway.findAction(row.actionId) == nullptr) {
            findings.add(rowOf(row), rule::colClActionId,
                         "there is no action with the Id " + std::to_string(row.actionId) +
                             ": the WAN coming up ends the daemon, even if the rule is disabled",
                         "Name an existing action, or delete the rule.");
        }
    });
}

void ruleNotBuilt(const LintInput& input, Findings& findings) {
    for (const Rule& row : input.gateway.rules) {
        if (row.enable != 0 && input.isNowhere(row.service)) {
            const bool isOff = input.gateway.findService(row.service) != nullptr;
            findings.add(rowOf(row), rule::colLogClIf,
                         row.service + (isOff ? " is off" : " has no row in StatusNetifWatchLogical") +
                             ": the rule is not applied",
                         "Give " + row.service + " an interface, or delete the rule.");
        }
    }
}

void sameRuleName(const LintInput& input, Findings& findings) {
    const auto& rules = input.built.rules;
    for (std::size_t i = 0; i < rules.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (rules[i].rule != rules[j].rule && rules[i].rule->name == rules[j].rule->name &&
                rules[i].interface == rules[j].interface) {
                findings.add(rowOf(*rules[i].rule), rule::colName,
                             "the rule Id " + std::to_string(rules[j].rule->id) + " on " +
                                 rules[i].interface +
                                 " has the same name: adding the second fails, and the daemon ends",
                             "Use each name once.");
                break;
            }
        }
    }
}

// What `grep -w NAME` finds in a line with the other name; a dot stands for any character.
bool isFoundIn(const std::string& name, const std::string& other) {
    const auto isWordCharacter = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
    };
    for (std::size_t start = 0; start + name.size() <= other.size(); ++start) {
        const bool same =
            std::equal(name.begin(), name.end(), other.begin() + static_cast<std::ptrdiff_t>(start),
                       [](char wanted, char there) { return wanted == there || wanted == '.'; });
        const bool beginsWord = start == 0 || !isWordCharacter(other[start - 1]);
        const std::size_t end = start + name.size();
        const bool endsWord = end == other.size() || !isWordCharacter(other[end]);
        if (same && beginsWord && endsWord) {
            return true;
        }
    }
    return false;
}

void nameInOther(const LintInput& input, Findings& findings) {
    for (const BuiltRule& built : input.built.rules) {
        for (const BuiltRule& other : input.built.rules) {
            if (built.interface == other.interface && built.rule->name != other.rule->name &&
                isFoundIn(built.rule->name, other.rule->name)) {
                findings.add(
                    rowOf(*built.rule), rule::colName,
                    "is a word of the name '" + other.rule->name +
                        "': if only that rule exists when the "
                        "WAN comes up, the daemon takes this one for existing too, modifies it in vain, "
                        "and ends",
                    "Join the parts of rule names by _, which makes them one word.");
                break;
            }
        }
    }
}

// Deliberate in the daemon: the direction is never set back within one path.
void afterWanRule(const LintInput& input, Findings& findings) {
    for (const BuiltRule& built : input.built.rules) {
        Service service;
        service.name = built.rule->service;
        if (built.ingress && !service.isProvider()) {
            findings.add(rowOf(*built.rule), rule::colLogClIf,
                         "stands after a rule of a provider on the same interface " + built.interface +
                             ", and is therefore built as a rule for what comes in from the WAN",
                         "Give the rules of " + built.rule->service +
                             " smaller Ids than the provider's rules.");
        }
    }
}

constexpr LintCheck checksOfRules[] = {
    {"rule-disabled", Severity::error, "A disabled rule keeps all rules from being removed", disabled},
    {"rule-protocol", Severity::error, "A rule's protocol is unknown", protocol},
    {"rule-ack-not-tcp", Severity::error, "An acknowledgement rule is not for tcp", ackWithoutTcp},
    {"rule-ack-with-more", Severity::warning, "An acknowledgement rule has other criteria", ackWithMore},
    {"rule-dscp-exclude", Severity::error, "A rule excludes a DSCP", dscpExclude},
    {"rule-dscp-text", Severity::error, "A rule's DSCP is no number", dscpText},
    {"rule-dscp-range", Severity::error, "A rule's DSCP is out of range", dscpRange},
    {"rule-no-action", Severity::error, "A rule has no action", noAction},
    {"rule-not-built", Severity::warning, "A rule is on no path", ruleNotBuilt},
    {"rule-name-twice", Severity::error, "Two rules of an interface have one name", sameRuleName},
    {"rule-name-in-other", Severity::warning, "A rule's name is a word of another's", nameInOther},
    {"rule-after-wan-rule", Severity::error, "A rule is built for the wrong direction", afterWanRule},
};

} // namespace

std::span<const LintCheck> ruleChecks() {
    return checksOfRules;
}

} // namespace pacerctl
