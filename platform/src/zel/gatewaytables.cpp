#include "zel/gatewaytables.h"

#include <algorithm>
#include <array>

namespace zel::cfg {

namespace {

using enum ColumnClass;

// A parent only leads to the row of that interface, whose own name enters the command.
constexpr GatewayColumn networkSetupNode[] = {
    {"Id", number},     {"Enable", number}, {"InterfaceName", interfaceName}, {"ParentInterface", freeText},
    {"Type", freeText},
};

constexpr GatewayColumn statusDsl[] = {
    {"Id", number},
    {"Status", number},
    {"StatusString", freeText},
};

constexpr GatewayColumn statusNetifWatchLogical[] = {
    {"Id", number}, {"Name", freeText}, {"Interface", interfaceName}, {"IsUp", number}, {"Addr", freeText},
};

constexpr GatewayColumn qosShaper[] = {
    {"Id", number},          {"Enable", number},       {"InterfaceName", interfaceName},
    {"ShapeEgress", number}, {"ShapeIngress", number}, {"ShapingRate", number},
};

// A queue's own name and its logical interface only appear in logs.
constexpr GatewayColumn qosQueues[] = {
    {"Id", number},          {"Enable", number},    {"Name", freeText},           {"InterfaceName", freeText},
    {"Ingress", number},     {"Egress", number},    {"TrafficClasses", freeText}, {"BufferLen", number},
    {"Scheduler", freeText}, {"WFQWeight", number}, {"Precedence", number},       {"DropAlgorithm", freeText},
};

constexpr GatewayColumn qosClassificationAction[] = {
    {"Id", number},           {"Name", freeText},           {"DSCPMark", number}, {"EthPriorityMark", number},
    {"TrafficClass", number}, {"QueueInterface", freeText},
};

// A DSCP is written as the number it reads as; protocols other than three known words yield no command.
constexpr GatewayColumn qosClassification[] = {
    {"Id", number},
    {"Name", word},
    {"Enable", number},
    {"QoSClassificationActionId", number},
    {"ClassifyInterface", freeText},
    {"DestIP", word},
    {"DestIPExclude", number},
    {"SourceIP", word},
    {"SourceIPExclude", number},
    {"Protocol", freeText},
    {"DestPortRange", word},
    {"DestPortRangeExclude", number},
    {"SourcePortRange", word},
    {"SourcePortRangeExclude", number},
    {"TCPACK", number},
    {"DSCPMatch", number},
    {"DSCPMatchExclude", number},
};

constexpr std::array<GatewayTable, 7> allTables = {{
    {"NetworkSetupNode", networkSetupNode},
    {"StatusDsl", statusDsl},
    {"StatusNetifWatchLogical", statusNetifWatchLogical},
    {"QoSShaper", qosShaper},
    {"QoSQueues", qosQueues},
    {"QoSClassificationAction", qosClassificationAction},
    {"QoSClassification", qosClassification},
}};

} // namespace

std::span<const GatewayTable> gatewayTables() {
    return allTables;
}

const GatewayTable* findGatewayTable(std::string_view table) {
    const auto found = std::find_if(allTables.begin(), allTables.end(),
                                    [&](const GatewayTable& each) { return each.name == table; });
    return found == allTables.end() ? nullptr : &*found;
}

const GatewayColumn* findGatewayColumn(std::string_view table, std::string_view column) {
    const GatewayTable* known = findGatewayTable(table);
    if (known == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(known->columns.begin(), known->columns.end(),
                                    [&](const GatewayColumn& each) { return each.name == column; });
    return found == known->columns.end() ? nullptr : &*found;
}

} // namespace zel::cfg
