// Traps in single values, whatever they mean.
#include "pacerctl/lint/lint.h"
#include "zel/gatewaytables.h"
#include "zel/wordrule.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

namespace pacerctl {

namespace {

using zel::cfg::ColumnClass;
using zel::cfg::GatewayColumn;
using zel::cfg::GatewayTable;
using zel::cfg::gatewayTables;

constexpr std::size_t longestRuleName = 63; // what the classifier tool takes

Findings::Row rowOf(const char* table, const basalt::ValueList& row) {
    const std::string name = row.getValue("Name").getText();
    return {table, row.getValue("Id").getInteger(),
            name.empty() ? row.getValue("InterfaceName").getText() : name};
}

template <typename Check>
void forEachValue(const LintInput& input, Check check) {
    for (const GatewayTable& table : gatewayTables()) {
        for (const basalt::ValueList& row : input.snapshot.rows(table.name)) {
            for (const GatewayColumn& column : table.columns) {
                if (row.hasValue(column.name)) {
                    check(table, row, column, row.getValue(column.name).getText());
                }
            }
        }
    }
}

// What the daemon's platform keeps from it, by the platform's own rule.
template <typename Check>
void forEachRefusedWord(const LintInput& input, Check check) {
    forEachValue(input, [&](const GatewayTable& table, const basalt::ValueList& row,
                            const GatewayColumn& column, const std::string& text) {
        const std::string why = zel::cfg::whyNoWord(column.kind, text);
        if (!why.empty()) {
            const bool isTooLong = zel::cfg::characterFault(text).empty();
            check(rowOf(table.name, row), column, isTooLong,
                  why + ", and becomes part of a command line: for the daemon this row does not exist");
        }
    });
}

void shellText(const LintInput& input, Findings& findings) {
    forEachRefusedWord(input, [&](const Findings::Row& row, const GatewayColumn& column, bool isTooLong,
                                  const std::string& why) {
        if (!isTooLong) {
            findings.add(row, column.name, why,
                         "Use letters, digits and . _ : / , + @ % = - only, and no - in front.");
        }
    });
}

void emptyName(const LintInput& input, Findings& findings) {
    for (const Service& service : input.gateway.services) {
        if (service.interface.empty()) {
            findings.add(pacerctl::rowOf(service), "Interface",
                         "is empty: commands that need an interface are refused, and the daemon ends",
                         "Name the interface, or write off for a provider that has none.");
        }
    }
    for (const BuiltRule& built : input.built.rules) {
        if (built.rule->name.empty()) {
            findings.add(pacerctl::rowOf(*built.rule), "Name",
                         "is empty: the classifier tool refuses a rule without a name, and the daemon ends",
                         "Give the rule a name.");
        }
    }
}

void longInterfaceName(const LintInput& input, Findings& findings) {
    forEachRefusedWord(input, [&](const Findings::Row& row, const GatewayColumn& column, bool isTooLong,
                                  const std::string& why) {
        if (isTooLong && column.kind == ColumnClass::interfaceName) {
            findings.add(row, column.name, why, "Write the interface's name as `ip link` shows it.");
        }
    });
}

void longName(const LintInput& input, Findings& findings) {
    forEachRefusedWord(input, [&](const Findings::Row& row, const GatewayColumn& column, bool isTooLong,
                                  const std::string& why) {
        if (isTooLong && column.kind == ColumnClass::word) {
            findings.add(row, column.name, why, "Shorten it.");
        }
    });
    for (const BuiltRule& built : input.built.rules) {
        const std::string& name = built.rule->name;
        if (name.size() > longestRuleName && zel::cfg::whyNoWord(ColumnClass::word, name).empty()) {
            findings.add(pacerctl::rowOf(*built.rule), "Name",
                         "has " + std::to_string(name.size()) +
                             " characters: the classifier tool takes no more than 63, refuses the command, "
                             "and the daemon ends",
                         "Shorten it.");
        }
    }
}

// The daemon's own rule for words lets it through, for addresses with a prefix length.
void slashInName(const LintInput& input, Findings& findings) {
    const auto check = [&](const Findings::Row& row, const char* column, const std::string& name) {
        if (name.find('/') != std::string::npos) {
            findings.add(row, column,
                         "'" + name +
                             "' contains a /: the tools refuse the commands with it, and the daemon ends",
                         "Write another character in its place.");
        }
    };
    for (const Service& service : input.gateway.services) {
        check(pacerctl::rowOf(service), "Interface", service.interface);
    }
    if (const Node* port = input.gateway.wanPort()) { // the base of every interface map
        check(pacerctl::rowOf(*port), "InterfaceName", port->interface);
    }
    for (const BuiltRule& built : input.built.rules) {
        check(pacerctl::rowOf(*built.rule), "Name", built.rule->name);
    }
}

// The undo replaces the first "-A" of a command, and only if there is none the first "-M". In a command with
// "-M" (the object existed already) an "-A" inside a name is taken for the flag.
void derailsUndo(const LintInput& input, Findings& findings) {
    forEachValue(input, [&](const GatewayTable& table, const basalt::ValueList& row,
                            const GatewayColumn& column, const std::string& text) {
        if (isWord(column.kind) && text.find("-A") != std::string::npos) {
            findings.add(rowOf(table.name, row), column.name,
                         "'" + text +
                             "' contains -A: where the object exists already when the WAN comes up, the "
                             "removal replaces this -A instead of the command's flag, and removes nothing",
                         "Rename it without -A.");
        }
    });
}

void flagInName(const LintInput& input, Findings& findings) {
    forEachValue(input, [&](const GatewayTable& table, const basalt::ValueList& row,
                            const GatewayColumn& column, const std::string& text) {
        for (const char* flag : {"-M", "-D"}) {
            if (isWord(column.kind) && text.find(flag) != std::string::npos) {
                findings.add(
                    rowOf(table.name, row), column.name,
                    "'" + text + "' contains " + flag +
                        ", a flag of the tools: the removal is safe as long as the flag stands before the "
                        "name, but a reader of the log may be misled",
                    std::string("Rename it without ") + flag + ".");
            }
        }
    });
}

void badFlag(const LintInput& input, Findings& findings) {
    static constexpr std::array<const char*, 12> flags = {"Enable",
                                                          "IsUp",
                                                          "ShapeEgress",
                                                          "ShapeIngress",
                                                          "Egress",
                                                          "Ingress",
                                                          "DestIPExclude",
                                                          "SourceIPExclude",
                                                          "DestPortRangeExclude",
                                                          "SourcePortRangeExclude",
                                                          "TCPACK",
                                                          "DSCPMatchExclude"};
    forEachValue(input, [&](const GatewayTable& table, const basalt::ValueList& row,
                            const GatewayColumn& column, const std::string& text) {
        const bool isFlag = std::any_of(flags.begin(), flags.end(), [&](const char* flag) {
            return std::strcmp(flag, column.name) == 0;
        });
        if (isFlag && text != "0" && text != "1") {
            findings.add(rowOf(table.name, row), column.name,
                         "is '" + text + "': some readers take only 1 for yes, others everything but 0",
                         "Write 1 for yes and 0 for no.");
        }
    });
}

void badId(const LintInput& input, Findings& findings) {
    for (const GatewayTable& table : gatewayTables()) {
        std::map<long long, int> count;
        for (const basalt::ValueList& row : input.snapshot.rows(table.name)) {
            if (!row.hasValue("Id")) {
                findings.add(rowOf(table.name, row), "Id",
                             "the row has no Id: the daemon does not find it by a key",
                             "Give each row of the table its own Id.");
            } else if (++count[row.getValue("Id").getInteger()] == 2) {
                findings.add(rowOf(table.name, row), "Id",
                             "two rows have this Id: only the first is found by it",
                             "Give each row of the table its own Id.");
            }
        }
    }
}

void unknownName(const LintInput& input, Findings& findings) {
    for (const UnknownName& name : input.snapshot.unknownNames) {
        findings.add({name.table, 0, ""}, name.column,
                     name.column.empty() ? "the daemon reads no such table"
                                         : "the daemon reads no such column",
                     "Check the spelling; capitals matter.");
    }
}

constexpr LintCheck checksOfValues[] = {
    {"shell-text", Severity::error, "A shell or tool would interpret a value", shellText},
    {"empty-name", Severity::error, "A rule or an interface has no name", emptyName},
    {"interface-name-length", Severity::error, "An interface name is too long", longInterfaceName},
    {"name-length", Severity::error, "A text is too long for the daemon or the tools", longName},
    {"slash-in-name", Severity::error, "A rule's or an interface's name contains a /", slashInName},
    {"undo-derailed", Severity::error, "A name contains -A", derailsUndo},
    {"flag-in-name", Severity::note, "A name contains -M or -D", flagInName},
    {"flag-value", Severity::warning, "A flag is neither 0 nor 1", badFlag},
    {"id", Severity::error, "An Id is missing or used twice", badId},
    {"unknown-name", Severity::warning, "A table or column that nothing reads", unknownName},
};

} // namespace

std::span<const LintCheck> valueChecks() {
    return checksOfValues;
}

} // namespace pacerctl
