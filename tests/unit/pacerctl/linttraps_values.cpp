#include "linttraps.h"

namespace pacerctl::test {

namespace {

// The WAN port, wherever it is named.
void callPort(Json& gateway, const char* name) {
    node(gateway, 0)["InterfaceName"] = name;
    node(gateway, 1)["ParentInterface"] = name;
    node(gateway, 3)["ParentInterface"] = name;
    shaper(gateway, 0)["InterfaceName"] = name;
}

} // namespace

std::vector<Trap> actionTraps() {
    return {
        {{"action-no-interface QoSClassificationAction/2/QueueInterface"},
         [](Json& g) { action(g, 1)["QueueInterface"] = "ProviderIPTV"; },
         [](Json& g) {
             action(g, 2)["QueueInterface"] = "ProviderIPTV";
         }}, // for what comes in there is no -o
        {{"action-interface-off QoSClassificationAction/2/QueueInterface",
          "queue-unreached QoSQueues/2/Precedence"},
         [](Json& g) {
             addService(g, 9, "ProviderIPTV", "off");
             action(g, 1)["QueueInterface"] = "ProviderIPTV";
         },
         [](Json& g) {
             addService(g, 9, "ProviderIPTV", "off");
             action(g, 2)["QueueInterface"] = "ProviderIPTV";
         }},
        {{"mark-without-queue QoSClassificationAction/2/TrafficClass",
          "queue-unreached QoSQueues/2/Precedence"},
         [](Json& g) { action(g, 1)["TrafficClass"] = 5; },
         [](Json& g) { action(g, 1)["TrafficClass"] = 8; }},
        {{"mark-without-queue QoSClassificationAction/3/TrafficClass"},
         [](Json& g) { action(g, 2)["TrafficClass"] = 4; },
         [](Json& g) { // the interface where it comes in has a queue of its own for it
             action(g, 2)["TrafficClass"] = 4;
             queue(g, 1)["Ingress"] = 1;
         }},
        {{"pcp-conflict QoSClassificationAction/9/EthPriorityMark"},
         [](Json& g) {
             Json other = action(g, 0);
             other["Id"] = 9;
             other["EthPriorityMark"] = 5;
             g["QoSClassificationAction"].push_back(other);
             rule(g, 3)["QoSClassificationActionId"] = 9;
         },
         [](Json& g) {
             Json other = action(g, 0);
             other["Id"] = 9;
             other["EthPriorityMark"] = 5;
             other["TrafficClass"] = 2;
             g["QoSClassificationAction"].push_back(other);
         }},
        {{"pcp-without-vlan QoSClassificationAction/1/EthPriorityMark"},
         [](Json& g) { node(g, 3)["Type"] = "Ethernet"; },
         [](Json& g) { action(g, 1)["EthPriorityMark"] = 3; }},
        {{"action-mark-range QoSClassificationAction/2/DSCPMark"},
         [](Json& g) { action(g, 1)["DSCPMark"] = 64; },
         [](Json& g) { action(g, 1)["DSCPMark"] = 63; }},
        {{"action-mark-range QoSClassificationAction/2/EthPriorityMark"},
         [](Json& g) { action(g, 1)["EthPriorityMark"] = 8; },
         [](Json& g) { action(g, 1)["EthPriorityMark"] = 7; }},
        {{"action-traffic-class QoSClassificationAction/2/TrafficClass",
          "mark-without-queue QoSClassificationAction/2/TrafficClass",
          "queue-unreached QoSQueues/2/Precedence"},
         [](Json& g) { action(g, 1)["TrafficClass"] = -1; },
         [](Json& g) { action(g, 1)["TrafficClass"] = 0; }},
        {{"action-unused QoSClassificationAction/9/Id"},
         [](Json& g) {
             Json other = action(g, 1);
             other["Id"] = 9;
             g["QoSClassificationAction"].push_back(other);
         },
         nothing},
    };
}

std::vector<Trap> valueTraps() {
    return {
        {{"shell-text QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = "ssh;reboot"; },
         [](Json& g) { queue(g, 2)["Name"] = "rest;reboot"; }}, // never part of a command
        {{"shell-text QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = "-ssh"; },
         [](Json& g) { rule(g, 2)["Name"] = "s-sh"; }},
        {{"shell-text StatusNetifWatchLogical/3/Interface"},
         [](Json& g) { service(g, 2)["Interface"] = "br0\n"; },
         [](Json& g) { service(g, 2)["Interface"] = "br0:1"; }},
        {{"empty-name StatusNetifWatchLogical/3/Interface"},
         [](Json& g) {
             service(g, 2)["Interface"] = "";
             g["QoSQueues"].erase(3);
             rule(g, 4)["QoSClassificationActionId"] = 2;
             g["QoSClassificationAction"].erase(2);
         },
         [](Json& g) { service(g, 1)["Interface"] = "off"; }},
        {{"empty-name QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = ""; },
         [](Json& g) { queue(g, 2)["Name"] = ""; }},
        {{"interface-name-length StatusNetifWatchLogical/3/Interface"},
         [](Json& g) { service(g, 2)["Interface"] = "bridge-of-sighs0"; },
         [](Json& g) { service(g, 2)["Interface"] = "bridge-of-sighs"; }},
        {{"name-length QoSClassification/3/Name"}, // passes the daemon's own rule, but not the tool's
         [](Json& g) { rule(g, 2)["Name"] = std::string(64, 'n'); },
         [](Json& g) { rule(g, 2)["Name"] = std::string(63, 'n'); }},
        {{"name-length QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = std::string(65, 'n'); },
         [](Json& g) { queue(g, 2)["Name"] = std::string(65, 'n'); }},
        {{"name-length QoSClassification/3/DestPortRange"},
         [](Json& g) { rule(g, 2)["DestPortRange"] = std::string(63, '0') + "22"; },
         [](Json& g) { rule(g, 2)["DestPortRange"] = std::string(62, '0') + "22"; }},
        {{"slash-in-name QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = "ssh/scp"; },
         [](Json& g) { queue(g, 2)["Name"] = "ssh/scp"; }},
        {{"slash-in-name StatusNetifWatchLogical/3/Interface"},
         [](Json& g) { service(g, 2)["Interface"] = "br0/1"; },
         [](Json& g) { service(g, 2)["Interface"] = "br0.1"; }},
        {{"slash-in-name NetworkSetupNode/1/InterfaceName"},
         [](Json& g) { callPort(g, "ptm/0"); },
         [](Json& g) { callPort(g, "ptm.0"); }},
        {{"undo-derailed QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = "tier-A"; },
         [](Json& g) { rule(g, 2)["Name"] = "tier-a"; }},
        {{"undo-derailed StatusNetifWatchLogical/3/Interface"},
         [](Json& g) { service(g, 2)["Interface"] = "br-A"; },
         [](Json& g) { service(g, 2)["Interface"] = "br-B"; }},
        {{"flag-in-name QoSClassification/3/Name"},
         [](Json& g) { rule(g, 2)["Name"] = "tier-M"; },
         [](Json& g) { rule(g, 2)["Name"] = "tier-m"; }},
        {{"flag-in-name StatusNetifWatchLogical/3/Interface"},
         [](Json& g) { service(g, 2)["Interface"] = "br-D"; },
         [](Json& g) { service(g, 2)["Interface"] = "brD"; }},
        {{"flag-value QoSClassification/3/SourceIPExclude"},
         [](Json& g) { rule(g, 2)["SourceIPExclude"] = 2; },
         [](Json& g) { rule(g, 2)["SourceIPExclude"] = 1; }},
        {{"id QoSQueues/3/Id"},
         [](Json& g) { queue(g, 3)["Id"] = 3; },
         [](Json& g) { queue(g, 3)["Id"] = 33; }},
        {{"id QoSShaper/0/Id"}, [](Json& g) { shaper(g, 0).erase("Id"); }, nothing},
        {{"unknown-name QoSQueues/0/Weight"}, [](Json& g) { queue(g, 3)["Weight"] = 3; }, nothing},
        {{"unknown-name QosQueues/0/"}, [](Json& g) { g["QosQueues"] = Json::array(); }, nothing},
    };
}

} // namespace pacerctl::test
