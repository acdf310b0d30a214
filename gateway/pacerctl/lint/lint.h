// Traps in the tables: what is allowed there, and yet does not do what it seems to do.
#pragma once

#include "pacerctl/built.h"
#include "pacerctl/gatewayview.h"
#include "pacerctl/snapshot.h"

#include <span>
#include <string>
#include <vector>

namespace pacerctl {

enum class Severity {
    error,   // the daemon hangs, ends, or cannot take back what it applied; or a row has no effect
    warning, // something works otherwise than the row suggests
    note     // worth knowing
};

const char* nameOf(Severity severity);

struct Finding {
    std::string check;
    Severity severity = Severity::error;
    std::string table;
    long long rowId = 0; // 0: the table as a whole
    std::string rowName; // empty: the row has none
    std::string column;  // empty: the row as a whole
    std::string why;
    std::string advice;

    bool operator==(const Finding&) const = default;
};

// What the checks read. Every provider that has an interface counts as up.
struct LintInput {
    const Snapshot& snapshot;
    const Gateway& gateway;
    const Built& built;

    // Whether a logical interface has no Linux interface to be applied on. One with an interface that is on
    // no path is what the path checks report.
    bool isNowhere(const std::string& service) const;
};

// Where a check puts what it finds.
class Findings {
  public:
    struct Row {
        std::string table;
        long long id = 0;
        std::string name;
    };

    void begin(const char* check, Severity severity);
    void add(const Row& row, const std::string& column, const std::string& why, const std::string& advice);
    std::vector<Finding> take() { return std::move(findings_); }

  private:
    std::string check_;
    Severity severity_ = Severity::error;
    std::vector<Finding> findings_;
};

// `id` is stable: scripts and the manual refer to it.
struct LintCheck {
    const char* id;
    Severity severity;
    const char* title;
    void (*run)(const LintInput& input, Findings& findings);
};

std::span<const LintCheck> pathChecks();
std::span<const LintCheck> queueChecks();
std::span<const LintCheck> shaperChecks();
std::span<const LintCheck> ruleChecks();
std::span<const LintCheck> matchChecks();
std::span<const LintCheck> actionChecks();
std::span<const LintCheck> valueChecks();

// All of the above, in the manual's order.
std::vector<LintCheck> lintChecks();

// Errors first; among equals in the order of the checks, tables and rows.
std::vector<Finding> lint(const Snapshot& snapshot);

Findings::Row rowOf(const Node& node);
Findings::Row rowOf(const Service& service);
Findings::Row rowOf(const Shaper& shaper);
Findings::Row rowOf(const Queue& queue);
Findings::Row rowOf(const Action& action);
Findings::Row rowOf(const Rule& rule);

} // namespace pacerctl
