#include "import/qosrows.h"

namespace importers {

namespace {

using gateway::FileRow;

int nextId(const gateway::FileTable& table) {
    return static_cast<int>(table.rows.size()) + 1;
}

int flag(bool value) {
    return value ? 1 : 0;
}

void addCriterion(FileRow& row, const std::string& column, const Criterion& criterion) {
    if (!criterion.value.empty()) {
        row.emplace_back(column, criterion.value);
        if (criterion.exclude) {
            row.emplace_back(column + "Exclude", 1);
        }
    }
}

} // namespace

bool QosRows::addShaper(bool enable, const std::string& port, bool ingress, long long kbits) {
    if (enable && !shaped_.emplace(port, ingress).second) {
        return false;
    }
    shapers_.rows.push_back({{"Id", nextId(shapers_)},
                             {"Enable", flag(enable)},
                             {"InterfaceName", port},
                             {ingress ? "ShapeIngress" : "ShapeEgress", 1},
                             {"ShapingRate", kbits}});
    return true;
}

void QosRows::addQueue(const Queue& queue) {
    FileRow row = {{"Id", nextId(queues_)},
                   {"Enable", flag(queue.enable)},
                   {"Name", queue.name},
                   {"InterfaceName", queue.interface},
                   {queue.ingress ? "Ingress" : "Egress", 1},
                   {"TrafficClasses", queue.trafficClasses},
                   {"BufferLen", queue.bufferLen},
                   {"Scheduler", queue.scheduler}};
    if (queue.scheduler == "WFQ") {
        row.emplace_back("WFQWeight", queue.weight);
    }
    row.emplace_back("Precedence", queue.precedence);
    row.emplace_back("DropAlgorithm", queue.dropAlgorithm);
    queues_.rows.push_back(std::move(row));
}

int QosRows::addAction(const Action& action) {
    const std::string content = std::to_string(action.dscpMark) + " " + std::to_string(action.pcpMark) + " " +
                                std::to_string(action.trafficClass) + " " + action.queueInterface;
    const auto [known, isNew] = actionIds_.emplace(content, nextId(actions_));
    if (isNew) {
        FileRow row = {{"Id", known->second}, {"Name", action.name}};
        if (action.dscpMark != 0) {
            row.emplace_back("DSCPMark", action.dscpMark);
        }
        if (action.pcpMark != 0) {
            row.emplace_back("EthPriorityMark", action.pcpMark);
        }
        row.emplace_back("TrafficClass", action.trafficClass);
        row.emplace_back("QueueInterface", action.queueInterface);
        actions_.rows.push_back(std::move(row));
    }
    return known->second;
}

void QosRows::addRule(const std::string& name, const std::string& interface, const Match& match,
                      int actionId) {
    std::string own = name;
    for (int number = 2; !ruleNames_.insert(own).second; ++number) {
        own = name + "_" + std::to_string(number);
    }
    FileRow row = {{"Id", nextId(rules_)},
                   {"Name", own},
                   {"Enable", 1},
                   {"QoSClassificationActionId", actionId},
                   {"ClassifyInterface", interface}};
    addCriterion(row, "DestIP", match.destIp);
    addCriterion(row, "SourceIP", match.sourceIp);
    row.emplace_back("Protocol", match.protocol);
    addCriterion(row, "DestPortRange", match.destPort);
    addCriterion(row, "SourcePortRange", match.sourcePort);
    if (match.tcpAck) {
        row.emplace_back("TCPACK", 1);
    }
    if (match.dscp) {
        row.emplace_back("DSCPMatch", *match.dscp);
    }
    rules_.rows.push_back(std::move(row));
}

gateway::GatewayFile QosRows::file() const {
    return {shapers_, queues_, actions_, rules_};
}

} // namespace importers
