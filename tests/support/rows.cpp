#include "rows.h"

#include <vector>

namespace zel::pacerd::test {

void Row::drop(const std::string& column) {
    std::vector<basalt::ValueList::Entry> rest;
    for (const auto& entry : values_) {
        if (entry.first != column) {
            rest.push_back(entry);
        }
    }
    values_ = basalt::ValueList(rest);
}

QueueRow::QueueRow() : RowBuilder("QoSQueues") {
    named("queue").on("ProviderInternet").serving("5").length(64).sp(3).enabled(1).egress(1).ingress(0);
    with("WFQWeight", 0).with("DropAlgorithm", "DT");
}

RuleRow::RuleRow() : RowBuilder("QoSClassification") {
    named("rule").on("LocalLAN").action(1).protocol("udp").enabled(1).tcpAck(0).dscp(-1);
    to("").from("").toPort("").fromPort("");
    with("DestIPExclude", 0).with("SourceIPExclude", 0).with("DSCPMatchExclude", 0);
    with("DestPortRangeExclude", 0).with("SourcePortRangeExclude", 0);
}

ActionRow::ActionRow() : RowBuilder("QoSClassificationAction") {
    id(1).named("action").into("ProviderInternet").trafficClass(5).dscp(0).pcp(0);
}

ShaperRow::ShaperRow(const std::string& interface) : RowBuilder("QoSShaper") {
    enabled(1).with("InterfaceName", interface).egress(1).ingress(0).rate(50000);
}

NodeRow::NodeRow(const std::string& interface, const std::string& type) : RowBuilder("NetworkSetupNode") {
    enabled(1).with("InterfaceName", interface).with("Type", type).above("root");
}

LogicalInterfaceRow::LogicalInterfaceRow(const std::string& name, const std::string& interface)
    : RowBuilder("StatusNetifWatchLogical") {
    with("Name", name).with("Interface", interface).isUp(1).address("192.0.2.1");
}

DslRow::DslRow(long long status, const std::string& text) : RowBuilder("StatusDsl") {
    with("Status", status).with("StatusString", text);
}

} // namespace zel::pacerd::test
