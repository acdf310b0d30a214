#include "zel/gatewaytables.h"

#include <array>

namespace zel::cfg {

namespace {

using enum ColumnClass;

constexpr GatewayColumn networkSetupNode[] = {
    {"Id", number},
    {"Enable", number},
    {"InterfaceName", interfaceName},
    {"ParentInterface", interfaceName},
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
    {"DSCPMatch", word},
    {"DSCPMatchExclude", number},
};

constexpr std::array<GatewayTable, 7> tables = {{
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
    return tables;
}

} // namespace zel::cfg
