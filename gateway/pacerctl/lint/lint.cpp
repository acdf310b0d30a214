#include "pacerctl/lint/lint.h"

#include "config/tables.h"
#include "pacerctl/plan.h"

#include <algorithm>

namespace pacerctl {

namespace dbm = zel::pacerd::dbm;

const char* nameOf(Severity severity) {
    static constexpr const char* names[] = {"error", "warning", "note"};
    return names[static_cast<int>(severity)];
}

bool LintInput::isNowhere(const std::string& service) const {
    const std::string interface = gateway.interfaceOf(service);
    return (interface.empty() || interface == "off") && !built.hasPath(interface);
}

void Findings::begin(const char* check, Severity severity) {
    check_ = check;
    severity_ = severity;
}

void Findings::add(const Row& row, const std::string& column, const std::string& why,
                   const std::string& advice) {
    Finding finding{check_, severity_, row.table, row.id, row.name, column, why, advice};
    // What stands on two paths is found twice.
    if (std::find(findings_.begin(), findings_.end(), finding) == findings_.end()) {
        findings_.push_back(std::move(finding));
    }
}

std::vector<LintCheck> lintChecks() {
    std::vector<LintCheck> all;
    for (const auto& group : {pathChecks(), queueChecks(), shaperChecks(), ruleChecks(), matchChecks(),
                              actionChecks(), valueChecks()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

std::vector<Finding> lint(const Snapshot& snapshot) {
    std::vector<std::string> takenAsUp;
    const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
    const Gateway gateway(assumed);
    const Built built(gateway);
    const LintInput input{assumed, gateway, built};
    Findings findings;
    for (const LintCheck& check : lintChecks()) {
        findings.begin(check.id, check.severity);
        check.run(input, findings);
    }
    std::vector<Finding> found = findings.take();
    std::stable_sort(found.begin(), found.end(), [](const Finding& left, const Finding& right) {
        return left.severity < right.severity;
    });
    return found;
}

Findings::Row rowOf(const Node& node) {
    return {dbm::nsn::tblName, node.id, node.interface};
}

Findings::Row rowOf(const Service& service) {
    return {dbm::statusNifWLogic::tblName, service.id, service.name};
}

Findings::Row rowOf(const Shaper& shaper) {
    return {dbm::qosShaper::tblName, shaper.id, shaper.interface};
}

Findings::Row rowOf(const Queue& queue) {
    return {dbm::qosQueue::tblName, queue.id, queue.name};
}

Findings::Row rowOf(const Action& action) {
    return {dbm::qosClassAction::tblName, action.id, action.name};
}

Findings::Row rowOf(const Rule& rule) {
    return {dbm::qosClassRule::tblName, rule.id, rule.name};
}

} // namespace pacerctl
